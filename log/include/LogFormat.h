#pragma once
// The log formats and how a file name chooses one.

#include "LogError.h"

#include <QString>
#include <QStringList>

namespace LogFormat {

enum Format { Unknown, Csv, Asc, Blf, Trc, Candump };

// By extension, case-insensitive: .csv, .asc, .blf, .trc, .log.
Format fromPath(const QString &path);
QString name(Format format); // "CSV", "ASC", "BLF", "TRC", "candump"
QString suffix(Format format); // "csv", "asc", ...
QList<Format> all();
// Time resolution of the format's time stamps, in nanoseconds.
qint64 resolutionNs(Format format);
// File-dialog filters, one per format, e.g. "BLF Files (*.blf)".
QStringList fileFilters();

}

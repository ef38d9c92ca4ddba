#include "LogFormat.h"

#include <QFileInfo>

namespace LogFormat {

Format fromPath(const QString &path)
{
    const QString ext = QFileInfo(path).suffix().toLower();
    for (Format f : all())
        if (ext == suffix(f))
            return f;
    return Unknown;
}

QString name(Format format)
{
    switch (format) {
    case Csv:
        return QStringLiteral("CSV");
    case Asc:
        return QStringLiteral("ASC");
    case Blf:
        return QStringLiteral("BLF");
    case Trc:
        return QStringLiteral("TRC");
    case Candump:
        return QStringLiteral("candump");
    case Unknown:
        break;
    }
    return QString();
}

QString suffix(Format format)
{
    switch (format) {
    case Csv:
        return QStringLiteral("csv");
    case Asc:
        return QStringLiteral("asc");
    case Blf:
        return QStringLiteral("blf");
    case Trc:
        return QStringLiteral("trc");
    case Candump:
        return QStringLiteral("log");
    case Unknown:
        break;
    }
    return QString();
}

QList<Format> all() { return { Csv, Asc, Blf, Trc, Candump }; }

qint64 resolutionNs(Format format)
{
    switch (format) {
    case Blf:
        return 1;
    case Csv: // the time stamp column holds microseconds
    case Asc:
    case Trc:
    case Candump:
        return 1000;
    case Unknown:
        break;
    }
    return 1;
}

QStringList fileFilters()
{
    return { QStringLiteral("CSV Files (*.csv)"), QStringLiteral("Vector ASCII Files (*.asc)"),
        QStringLiteral("Vector BLF Files (*.blf)"), QStringLiteral("PEAK Trace Files (*.trc)"),
        QStringLiteral("candump Log Files (*.log)") };
}

}

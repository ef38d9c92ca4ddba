#pragma once
// The commands of ostrel-log. Each returns the process exit status; messages go
// to `out` (results) and `err` (progress and errors) in the language `lang`
// (0 Simplified Chinese, 1 Traditional Chinese, 2 English).

#include <QString>

class QTextStream;

namespace LogTool {

int convert(const QString &in, const QString &out, int lang, QTextStream &outStream, QTextStream &err);
int info(const QString &path, int lang, QTextStream &outStream, QTextStream &err);
QString usage(int lang);

}

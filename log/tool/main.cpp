// ostrel-log: converts frame logs between formats and describes them.
//   ostrel-log convert IN OUT     formats by extension (.csv .asc .blf .trc .log)
//   ostrel-log info FILE          frames, channels, time span, frames per identifier
// Messages follow the language chosen in the program (language/config.ini beside
// the executable) unless --lang says otherwise. Exit status 0 on success, 1 on a
// file error, 2 on a usage error.

#include "LogTool.h"

#include <QCoreApplication>
#include <QFile>
#include <QSettings>
#include <QTextStream>

#include <cstdio>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QTextStream out(stdout);
    QTextStream err(stderr);
    out.setCodec("UTF-8");
    err.setCodec("UTF-8");

    QStringList args = app.arguments().mid(1);
    const QString ini = QCoreApplication::applicationDirPath() + QStringLiteral("/language/config.ini");
    int lang
        = QFile::exists(ini) ? QSettings(ini, QSettings::IniFormat).value(QStringLiteral("LAST/Sel"), 0).toInt() : 0;
    const int langAt = args.indexOf(QStringLiteral("--lang"));
    if (langAt >= 0 && langAt + 1 < args.size()) {
        lang = args.at(langAt + 1).toInt();
        args.removeAt(langAt + 1);
        args.removeAt(langAt);
    }
    if (lang < 0 || lang > 2)
        lang = 0;

    if (args.size() == 3 && args.at(0) == QLatin1String("convert"))
        return LogTool::convert(args.at(1), args.at(2), lang, out, err);
    if (args.size() == 2 && args.at(0) == QLatin1String("info"))
        return LogTool::info(args.at(1), lang, out, err);
    err << LogTool::usage(lang);
    return 2;
}

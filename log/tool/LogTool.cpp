#include "LogTool.h"

#include "LogFormat.h"
#include "LogReader.h"
#include "LogWriter.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QMap>
#include <QTextStream>

namespace LogTool {

namespace {

    QString tr3(int lang, const char *zh, const char *zht, const char *en)
    {
        return LogText { QString::fromUtf8(zh), QString::fromUtf8(zht), QString::fromUtf8(en) }.pick(lang);
    }

    QString seconds(qint64 ns)
    {
        const qint64 us = (ns >= 0 ? ns + 500 : ns - 500) / 1000;
        return QStringLiteral("%1%2.%3")
            .arg(us < 0 ? QStringLiteral("-") : QString())
            .arg(qAbs(us) / 1000000)
            .arg(qAbs(us) % 1000000, 6, 10, QLatin1Char('0'));
    }

    // A progress line on stderr for files large enough to take a while; it
    // overwrites itself and is ended by done().
    class Progress {
    public:
        Progress(const LogReader &reader, int lang, QTextStream &err)
            : m_reader(reader)
            , m_lang(lang)
            , m_err(err)
            , m_enabled(reader.fileSize() >= 8 * 1024 * 1024)
        {
            m_clock.start();
        }
        void tick()
        {
            if (!m_enabled || (m_reader.framesRead() & 0xFFF) != 0 || m_clock.elapsed() - m_last < 500)
                return;
            m_last = m_clock.elapsed();
            const qint64 size = std::max<qint64>(1, m_reader.fileSize());
            m_err << '\r'
                  << tr3(m_lang, "已读取 %1 帧，%2%", "已讀取 %1 幀，%2%", "%1 frames read, %2%")
                         .arg(m_reader.framesRead())
                         .arg(m_reader.bytePosition() * 100 / size)
                  << Qt::flush;
            m_shown = true;
        }
        void done()
        {
            if (m_shown)
                m_err << '\n' << Qt::flush;
            m_shown = false;
        }

    private:
        const LogReader &m_reader;
        int m_lang;
        QTextStream &m_err;
        bool m_enabled;
        bool m_shown = false;
        QElapsedTimer m_clock;
        qint64 m_last = 0;
    };

    int report(const LogError &e, int lang, QTextStream &err)
    {
        err << e.message().pick(lang) << '\n' << Qt::flush;
        return 1;
    }

}

QString usage(int lang)
{
    return tr3(lang,
        "用法：\n  ostrel-log convert 输入文件 输出文件\n  ostrel-log info 文件\n"
        "格式由扩展名决定：.csv .asc .blf .trc .log（candump）\n"
        "选项：--lang 0|1|2（简体中文、繁體中文、English）\n",
        "用法：\n  ostrel-log convert 輸入文件 輸出文件\n  ostrel-log info 文件\n"
        "格式由擴展名決定：.csv .asc .blf .trc .log（candump）\n"
        "選項：--lang 0|1|2（简体中文、繁體中文、English）\n",
        "usage:\n  ostrel-log convert IN OUT\n  ostrel-log info FILE\n"
        "formats by extension: .csv .asc .blf .trc .log (candump)\n"
        "option: --lang 0|1|2 (简体中文, 繁體中文, English)\n");
}

int convert(const QString &in, const QString &out, int lang, QTextStream &outStream, QTextStream &err)
{
    if (QFileInfo(in).absoluteFilePath() == QFileInfo(out).absoluteFilePath()) {
        err << tr3(
            lang, "输入与输出是同一个文件：%1", "輸入與輸出是同一個文件：%1", "input and output are the same file: %1")
                   .arg(in)
            << '\n';
        return 1;
    }
    LogError error;
    const auto reader = LogReader::open(in, &error);
    if (!reader)
        return report(error, lang, err);
    LogWriterOptions options;
    options.csvLanguage = lang;
    const auto writer = LogWriter::create(out, options, &error);
    if (!writer)
        return report(error, lang, err);

    Progress progress(*reader, lang, err);
    LogFrame frame;
    while (reader->next(frame)) {
        if (!writer->write(frame)) {
            progress.done();
            return report(writer->error(), lang, err);
        }
        progress.tick();
    }
    progress.done();
    // A file that cannot be read to its end is not converted at all.
    if (reader->failed()) {
        writer->abort();
        return report(reader->error(), lang, err);
    }
    if (!writer->finish())
        return report(writer->error(), lang, err);

    const QString format = LogFormat::name(LogFormat::fromPath(out));
    outStream << tr3(lang, "已转换 %1 帧：%2 → %3", "已轉換 %1 幀：%2 → %3", "converted %1 frames: %2 -> %3")
                     .arg(writer->framesWritten())
                     .arg(in, out)
              << '\n';
    if (writer->framesSkipped() > 0)
        outStream << tr3(lang, "%1 帧无法存入 %2 格式，已略过", "%1 幀無法存入 %2 格式，已略過",
            "%1 frames cannot be held by the %2 format and were left out")
                         .arg(writer->framesSkipped())
                         .arg(format)
                  << '\n';
    outStream.flush();
    return 0;
}

int info(const QString &path, int lang, QTextStream &outStream, QTextStream &err)
{
    LogError error;
    const auto reader = LogReader::open(path, &error);
    if (!reader)
        return report(error, lang, err);

    Progress progress(*reader, lang, err);
    QMap<quint32, quint64> perChannel;
    QMap<quint64, quint64> perId; // extended flag in bit 32, so standard identifiers sort first
    quint64 errorFrames = 0;
    qint64 first = 0, last = 0;
    LogFrame f;
    while (reader->next(f)) {
        if (reader->framesRead() == 1)
            first = f.timeNs;
        last = f.timeNs;
        ++perChannel[f.channel];
        if (f.errorFrame)
            ++errorFrames;
        else
            ++perId[(quint64(f.extended) << 32) | f.id];
        progress.tick();
    }
    progress.done();
    if (reader->failed())
        return report(reader->error(), lang, err);

    QTextStream &o = outStream;
    o << tr3(lang, "文件：", "文件：", "file: ") << path << " (" << LogFormat::name(LogFormat::fromPath(path)) << ")\n";
    o << tr3(lang, "帧数：", "幀數：", "frames: ") << reader->framesRead() << '\n';
    QStringList channels;
    for (auto it = perChannel.cbegin(); it != perChannel.cend(); ++it)
        channels << tr3(lang, "%1（%2 帧）", "%1（%2 幀）", "%1 (%2 frames)").arg(it.key() + 1ull).arg(it.value());
    o << tr3(lang, "通道：", "通道：", "channels: ") << channels.join(QStringLiteral(", ")) << '\n';
    if (reader->framesRead() > 0) {
        o << tr3(lang, "第一个时间标识：%1 s", "第一個時間標識：%1 s", "first time stamp: %1 s").arg(seconds(first))
          << '\n';
        o << tr3(lang, "最后一个时间标识：%1 s", "最後一個時間標識：%1 s", "last time stamp: %1 s").arg(seconds(last))
          << '\n';
        o << tr3(lang, "时长：%1 s", "時長：%1 s", "duration: %1 s").arg(seconds(last - first)) << '\n';
    }
    if (errorFrames > 0)
        o << tr3(lang, "错误帧：", "錯誤幀：", "error frames: ") << errorFrames << '\n';
    o << tr3(lang, "各ID帧数：", "各ID幀數：", "frames per identifier:") << '\n';
    for (auto it = perId.cbegin(); it != perId.cend(); ++it) {
        const bool extended = it.key() >> 32;
        const QString id
            = QString::number(quint32(it.key()), 16).toUpper().rightJustified(extended ? 8 : 3, QLatin1Char('0'));
        o << "  0x" << id << ' ' << it.value() << '\n';
    }
    o.flush();
    return 0;
}

}

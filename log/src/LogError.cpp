#include "LogError.h"

#include "LogTexts.h"

QString LogText::pick(int lang) const
{
    switch (lang) {
    case 1:
        return zht;
    case 2:
        return en;
    default:
        return zh;
    }
}

LogText LogText::arg(const QString &a) const { return LogText { zh.arg(a), zht.arg(a), en.arg(a) }; }

LogText LogText::arg(qint64 a) const { return arg(QString::number(a)); }

LogText LogError::message() const
{
    using LogTexts::tri;
    LogText where = tri("%1", "%1", "%1").arg(path);
    if (line > 0)
        where = tri("%1：第%2行", "%1：第%2行", "%1: line %2").arg(path).arg(line);
    else if (offset >= 0 && innerOffset >= 0)
        where = tri("%1：字节偏移%2处的数据块，解压后第%3字节", "%1：字節偏移%2處的數據塊，解壓後第%3字節",
            "%1: container at byte offset %2, byte %3 of its unpacked data")
                    .arg(path)
                    .arg(offset)
                    .arg(innerOffset);
    else if (offset >= 0)
        where = tri("%1：字节偏移%2", "%1：字節偏移%2", "%1: byte offset %2").arg(path).arg(offset);

    LogText what;
    switch (code) {
    case None:
        return LogText();
    case CannotOpen:
        what = tri("无法打开", "無法打開", "cannot open");
        break;
    case CannotWrite:
        what = tri("无法写入", "無法寫入", "cannot write");
        break;
    case UnknownFormat:
        what = tri("未知的文件格式", "未知的文件格式", "unknown file format");
        break;
    case BadHeader:
        what = tri("文件头错误", "文件頭錯誤", "bad header");
        break;
    case BadRecord:
        what = tri("记录错误", "記錄錯誤", "bad record");
        break;
    case Truncated:
        what = tri("文件不完整", "文件不完整", "file is truncated");
        break;
    }
    LogText text = tri("%1：%2，应为%3", "%1：%2，應為%3", "%1: %2, expected %3");
    text = LogText { text.zh.arg(where.zh, what.zh, expected.zh), text.zht.arg(where.zht, what.zht, expected.zht),
        text.en.arg(where.en, what.en, expected.en) };
    if (!found.isEmpty()) {
        const LogText tail = tri("，实际为“%1”", "，實際為「%1」", ", found \"%1\"").arg(found);
        text = LogText { text.zh + tail.zh, text.zht + tail.zht, text.en + tail.en };
    }
    return text;
}

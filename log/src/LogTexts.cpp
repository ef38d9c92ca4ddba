#include "LogTexts.h"

namespace LogTexts {

LogText tri(const char *zh, const char *zht, const char *en)
{
    return LogText { QString::fromUtf8(zh), QString::fromUtf8(zht), QString::fromUtf8(en) };
}

LogText header(const QString &what) { return tri("文件头：%1", "文件頭：%1", "a header: %1").arg(what); }
LogText timeStamp() { return tri("时间标识（数字）", "時間標識（數字）", "a time stamp (a number)"); }
LogText channel() { return tri("通道号（从1起）", "通道號（從1起）", "a channel number (from 1)"); }
LogText identifier() { return tri("十六进制帧ID", "十六進制幀ID", "a hexadecimal identifier"); }
LogText direction() { return tri("Rx 或 Tx", "Rx 或 Tx", "Rx or Tx"); }
LogText frameKind(const QString &choices) { return tri("以下之一：%1", "以下之一：%1", "one of: %1").arg(choices); }
LogText dlc() { return tri("数据长度码 0~F", "數據長度碼 0~F", "a data length code 0..F"); }
LogText dataLength(int max) { return tri("数据长度 0~%1", "數據長度 0~%1", "a data length 0..%1").arg(qint64(max)); }
LogText dataByte() { return tri("两位十六进制数据字节", "兩位十六進制數據字節", "a data byte of two hex digits"); }
LogText dataBytes(int count) { return tri("%1个数据字节", "%1個數據字節", "%1 data bytes").arg(qint64(count)); }
LogText fieldCount(int count)
{
    return tri("%1个以逗号分隔的字段", "%1個以逗號分隔的字段", "%1 comma-separated fields").arg(qint64(count));
}
LogText systemTime()
{
    return tri("系统时间 =\"hh:mm:ss.zzz\"", "系統時間 =\"hh:mm:ss.zzz\"", "a system time =\"hh:mm:ss.zzz\"");
}
LogText objectSignature() { return tri("对象标志 LOBJ", "對象標誌 LOBJ", "an object signature LOBJ"); }
LogText wholeObject() { return tri("完整的对象", "完整的對象", "a complete object"); }
LogText compressedData() { return tri("可解压的 zlib 数据", "可解壓的 zlib 數據", "zlib data that unpacks"); }
LogText compressionMethod() { return tri("压缩方式 0 或 2", "壓縮方式 0 或 2", "compression method 0 or 2"); }
LogText shortLine(int max)
{
    return tri("不超过%1个字符的行", "不超過%1個字符的行", "a line of at most %1 characters").arg(qint64(max));
}
LogText readable() { return tri("可读取的文件", "可讀取的文件", "a readable file"); }
LogText writable() { return tri("可写入的文件", "可寫入的文件", "a writable file"); }
LogText knownExtension()
{
    return tri("扩展名 .csv .asc .blf .trc .log 之一", "擴展名 .csv .asc .blf .trc .log 之一",
        "one of the extensions .csv .asc .blf .trc .log");
}

}

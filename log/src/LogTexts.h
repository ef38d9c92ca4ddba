#pragma once
// Every text the log readers and writers put into a LogError, in one place.

#include "LogError.h"

namespace LogTexts {

LogText tri(const char *zh, const char *zht, const char *en);

// What a reader expected to find.
LogText header(const QString &what); // "a header: %1"
LogText timeStamp();
LogText channel();
LogText identifier();
LogText direction(); // Rx or Tx
LogText frameKind(const QString &choices); // one of %1
LogText dlc();
LogText dataLength(int max); // a data length 0..%1
LogText dataByte();
LogText dataBytes(int count); // %1 data bytes
LogText fieldCount(int count); // %1 comma-separated fields
LogText systemTime();
LogText objectSignature();
LogText wholeObject();
LogText compressedData();
LogText compressionMethod();
LogText shortLine(int max);
LogText readable();
LogText writable();
LogText knownExtension();

}

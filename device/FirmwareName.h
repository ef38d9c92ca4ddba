#pragma once
// The version written in a firmware image's file name: name-Vx.yz-rest.bin.

#include <QString>

namespace FirmwareName {
// The version word of a "*.bin" file name, or -1 when the name does not
// count: exactly three fields separated by "-", the middle one starting with
// "V" or "v"; that field without its "V", "v" and "." read as 16-bit hex (a
// field that does not read gives 0).
int version(const QString &fileName);
}

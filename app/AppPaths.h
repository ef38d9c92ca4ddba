#pragma once
#include <QString>

// All run-time files (config/, language/, help/, firmware/) are found relative
// to the executable's folder. Tests point this at a temporary folder.
namespace AppPaths {
QString appDir();
void setAppDirForTests(const QString &dir); // empty restores the executable's folder
}

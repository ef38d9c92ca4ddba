#include "AppPaths.h"

#include <QCoreApplication>

namespace {
QString g_override;
}

namespace AppPaths {
QString appDir()
{
    if (!g_override.isEmpty())
        return g_override;
    return QCoreApplication::applicationDirPath();
}

void setAppDirForTests(const QString &dir) { g_override = dir; }
}

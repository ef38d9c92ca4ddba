#include "KestrixLibrary.h"

#include "Interfaces.h"

#ifdef _WIN32
#include <QCoreApplication>
#include <QDir>
#include <windows.h>
#endif

namespace {
#ifdef _WIN32
bool bind(KestrixDriver &table)
{
    const QString path
        = QDir::toNativeSeparators(QCoreApplication::applicationDirPath() + QStringLiteral("/Kestrix.dll"));
    HMODULE lib = LoadLibraryW(reinterpret_cast<LPCWSTR>(path.utf16()));
    if (!lib)
        return false;
    void **slots = reinterpret_cast<void **>(&table);
    static_assert(sizeof(KestrixDriver) == 17 * sizeof(void *), "one slot per ordinal");
    for (int i = 0; i < 17; ++i) {
        FARPROC proc = GetProcAddress(lib, MAKEINTRESOURCEA(kDriverOrdinals[i]));
        if (!proc) {
            FreeLibrary(lib);
            return false;
        }
        slots[i] = reinterpret_cast<void *>(proc);
    }
    return true;
}
#endif

const KestrixDriver *load()
{
#ifdef _WIN32
    static KestrixDriver table {};
    if (bind(table))
        return &table;
#endif
    return nullptr;
}
} // namespace

const KestrixDriver *kestrixLibrary()
{
    static const KestrixDriver *const table = load();
    return table;
}

Interfaces::Backend kestrixBackend()
{
    Interfaces::Backend dll;
    dll.key = QStringLiteral("kestrix");
    dll.haldenD2 = true;
    dll.driverFor = [](Interfaces::Mapping &) { return kestrixLibrary(); };
    return dll;
}

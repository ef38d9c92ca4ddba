// Where the driver table comes from: Kestrix.dll beside the executable on
// Windows (every entry resolved by ordinal, never by name), otherwise the
// built-in simulated adapter.
#include "DeviceLayer.h"
#include "SimulatedAdapter.h"

#include <QCoreApplication>
#include <QDir>
#include <atomic>

#ifdef _WIN32
#include <windows.h>
#endif

namespace {
std::atomic<const KestrixDriver *> g_driver { nullptr };
std::atomic<bool> g_simulated { false };

#ifdef _WIN32
bool loadKestrix(KestrixDriver &table)
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

const KestrixDriver *loadDefault()
{
#ifdef _WIN32
    static KestrixDriver dll {};
    if (loadKestrix(dll))
        return &dll;
#endif
    g_simulated = true;
    return simulatedDriver();
}
} // namespace

const KestrixDriver &driver()
{
    const KestrixDriver *d = g_driver.load(std::memory_order_acquire);
    if (!d) {
        static const KestrixDriver *loaded = loadDefault();
        const KestrixDriver *expected = nullptr;
        g_driver.compare_exchange_strong(expected, loaded);
        d = g_driver.load(std::memory_order_acquire);
    }
    return *d;
}

void installDriver(const KestrixDriver *table)
{
    g_driver.store(table, std::memory_order_release);
    g_simulated = (table == simulatedDriver());
}

bool driverIsSimulated()
{
    driver();
    return g_simulated.load();
}

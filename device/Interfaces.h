#pragma once
// Which driver table serves the two channels. The executable registers the
// back-ends it links (the Halden-D2 through Kestrix.dll, the built-in
// simulated Halden-D2, the QtSerialBus interfaces); the interface dialog
// lists them and the choice is kept in the settings store. Neither this layer
// nor the windows include a back-end: they reach it through this registry.
#include "DriverApi.h"
#include "DriverExtension.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <functional>

namespace Interfaces {

// One interface a channel can use. For a Halden-D2 back-end the adapter as a
// whole serves both channels and plugin and name stay empty.
struct Interface {
    QString plugin; // QtSerialBus plugin, e.g. "socketcan"
    QString name; // interface name, e.g. "can0"
    QString description; // what the plugin says about it; may be empty
    bool operator==(const Interface &o) const { return plugin == o.plugin && name == o.name; }
};

// The back-end and what each channel is wired to. An empty plugin on
// channel 2 means "none"; a Halden-D2 back-end ignores both.
struct Mapping {
    QString backend;
    Interface channel[2];
    bool isValid() const { return !backend.isEmpty(); }
    bool operator==(const Mapping &o) const
    {
        return backend == o.backend && channel[0] == o.channel[0] && channel[1] == o.channel[1];
    }
};

struct Backend {
    QString key; // stored in the settings: "kestrix", "sim", "canbus"
    bool haldenD2 = false; // the two-channel adapter itself (firmware check offered)
    // Interface back-ends only: the plugin names, and the interfaces found now.
    std::function<QStringList()> plugins;
    std::function<QList<Interface>()> interfaces;
    // The driver table that serves the mapping (nullptr: cannot serve it); it
    // may complete the mapping (the interfaces' descriptions).
    std::function<const KestrixDriver *(Mapping &)> driverFor;
    // Installed with the table (error frames, receive overflows); may be none.
    const KestrixExtension *extension = nullptr;
};

// Registration, in the order the dialog lists them.
void add(const Backend &backend);
QList<Backend> backends();
const Backend *find(const QString &key);
void clearForTests();

// Installs the mapping's driver table and remembers the mapping. False (and
// nothing changed) when its back-end is not registered or cannot serve it.
bool use(const Mapping &mapping);
// Uses the first registered back-end with no interfaces chosen (the
// program's start before a stored choice is restored).
bool useFirst();
// The mapping in force; invalid when none was chosen through use() (a table
// installed directly, as the tests do).
Mapping current();
// True unless the mapping in force is served by an interface back-end: the
// firmware check and upgrade belong to the Halden-D2 only.
bool isHaldenD2();

// The settings keys: interfaceBackend, ch1interfacePlugin, ch1interfaceName,
// ch2interfacePlugin, ch2interfaceName.
Mapping stored();
void store(const Mapping &mapping);
// At start: uses the stored mapping when there is one and its back-end is
// registered; otherwise leaves the table in force as it is.
bool restore();

// "virtualcan can0" style text of one channel's interface, "-" for none.
QString channelText(const Interface &itf);
// What the title shows in place of serial number and versions for an
// interface back-end: "CH1 socketcan can0, CH2 socketcan can1".
QString mappingText(const Mapping &mapping);

// Interface back-ends report what they could not do (a setting the interface
// kept as configured, frames dropped on a full queue) as log lines. The main
// window installs the sink; a line posted without one goes to qWarning.
// Safe from any thread; the sink is called in the posting thread.
void setNoticeSink(std::function<void(const QString &)> sink);
void postNotice(const QString &line);

}

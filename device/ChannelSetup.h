#pragma once
// Writing a channel's stored parameters to the adapter: the one ordered
// sequence that both the open dialog and the parameter-setting action run,
// the key names it reads and the warnings of its steps.
#include <QString>
#include <cstdint>

namespace ChannelSetup {
// "ch" + channel number (1 or 2) + "param" + name, e.g. ch1paramABIT1.
QString paramKey(int channelNumber, const char *name);
QString param(int channelNumber, const char *name, const QString &defaultValue = QString());
uint32_t paramNumber(int channelNumber, const char *name); // decimal, default "0"

// clearFilter, one setFilterRange per "kind-start-end" row (start and end get
// a "0x" prefix), ackFilter; stops at the first failure.
bool writeFilterRows(unsigned ch, const QString &rowText);

enum class Step { None, Standard, BaudRate, CustomBaudRate, Init, Filter, Start };

enum class Purpose {
    // Opening a closed channel: CAN FD standard, bit rates (or the custom
    // text), initialisation with the work mode, filters, start. A ticked
    // filter without rows is skipped: the channel runs unfiltered.
    Open,
    // Re-applying to a running channel: standard, bit rates, filters only.
    // A ticked filter is always rewritten, also with no rows.
    Reapply,
};

// Runs the sequence for channel index ch and stops at the first failing step,
// which it returns (Step::None when every step succeeded). What succeeded
// before it stays applied.
Step configure(unsigned ch, Purpose purpose);

// The warning of a failed step, in the current language; empty for Step::None.
QString failureText(Step step);

// Step warnings in the current language (title: Lang::warningTitle()).
QString standardFailedText();
QString baudRateFailedText();
QString customBaudRateFailedText();
QString initFailedText();
QString filterFailedText();
QString startFailedText();
QString deviceNotOpenText();
}

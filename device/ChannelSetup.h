#pragma once
// What the open dialog and the parameter-setting action share when they write
// a channel's stored parameters to the adapter: the key names, the filter
// sequence and the step warnings.
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

// Step warnings in the current language (title: Lang::warningTitle()).
QString standardFailedText();
QString baudRateFailedText();
QString customBaudRateFailedText();
QString initFailedText();
QString filterFailedText();
QString startFailedText();
QString deviceNotOpenText();
}

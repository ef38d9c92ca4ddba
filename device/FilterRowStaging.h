#pragma once
// How a back-end takes the acceptance filter the device layer writes through
// the property interface, channel by channel: "filter_clear", then per row
// "filter_mode" (0 standard, 1 extended identifiers), "filter_start" and
// "filter_end" (hexadecimal, "0x" prefix), and last "filter_ack", which puts
// the rows written since the clear in force. Every back-end that serves a
// Halden-D2 channel keeps one of these per channel.
#include <cstddef>
#include <cstdint>
#include <vector>

class FilterRowStaging {
public:
    struct Range {
        bool extended;
        uint32_t first;
        uint32_t last;
    };

    enum class Result {
        NotFilter, // not one of the filter properties
        Accepted, // taken (answer 1)
        Refused, // a value out of order or out of range (answer 0)
        Acknowledged, // "filter_ack": staged() is the filter to put in force (answer 1)
    };

    explicit FilterRowStaging(size_t maxRows = SIZE_MAX);

    // One property write: its name without the channel digit and its value.
    Result write(const char *name, const char *value);
    // Forgets rows written and not acknowledged (the channel was reset).
    void clear();
    const std::vector<Range> &staged() const { return m_staged; }
    // Kind of the row being written (0 or 1), -1 before the first "filter_mode".
    int rowMode() const { return m_rowMode; }

    // "0x" + up to 8 hex digits (the prefix may be missing); -1 for anything else.
    static int64_t parseHex(const char *text);

private:
    size_t m_maxRows;
    std::vector<Range> m_staged;
    int m_rowMode = -1; // row being written: its kind, then its start
    int64_t m_rowStart = -1;
};

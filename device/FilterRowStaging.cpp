#include "FilterRowStaging.h"

#include <cstring>

FilterRowStaging::FilterRowStaging(size_t maxRows)
    : m_maxRows(maxRows)
{
}

int64_t FilterRowStaging::parseHex(const char *text)
{
    if (text[0] == '0' && (text[1] == 'x' || text[1] == 'X'))
        text += 2;
    const size_t n = std::strlen(text);
    if (n == 0 || n > 8)
        return -1;
    int64_t value = 0;
    for (size_t i = 0; i < n; ++i) {
        const char c = text[i];
        int digit;
        if (c >= '0' && c <= '9')
            digit = c - '0';
        else if (c >= 'a' && c <= 'f')
            digit = c - 'a' + 10;
        else if (c >= 'A' && c <= 'F')
            digit = c - 'A' + 10;
        else
            return -1;
        value = value * 16 + digit;
    }
    return value;
}

void FilterRowStaging::clear()
{
    m_staged.clear();
    m_rowMode = -1;
    m_rowStart = -1;
}

FilterRowStaging::Result FilterRowStaging::write(const char *name, const char *value)
{
    if (std::strcmp(name, "filter_clear") == 0) {
        clear();
        return Result::Accepted;
    }
    if (std::strcmp(name, "filter_mode") == 0) {
        if (std::strcmp(value, "0") != 0 && std::strcmp(value, "1") != 0)
            return Result::Refused;
        m_rowMode = value[0] - '0';
        m_rowStart = -1;
        return Result::Accepted;
    }
    const bool start = std::strcmp(name, "filter_start") == 0;
    if (start || std::strcmp(name, "filter_end") == 0) {
        const int64_t id = parseHex(value);
        const int64_t limit = m_rowMode == 1 ? 0x1FFFFFFF : 0x7FF;
        if (m_rowMode < 0 || id < 0 || id > limit)
            return Result::Refused;
        if (start) {
            m_rowStart = id;
            return Result::Accepted;
        }
        if (m_rowStart < 0 || id < m_rowStart || m_staged.size() >= m_maxRows)
            return Result::Refused;
        m_staged.push_back(Range { m_rowMode == 1, uint32_t(m_rowStart), uint32_t(id) });
        m_rowStart = -1;
        return Result::Accepted;
    }
    if (std::strcmp(name, "filter_ack") == 0)
        return Result::Acknowledged;
    return Result::NotFilter;
}

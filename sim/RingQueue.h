#pragma once
// A bounded FIFO of plain records. Storage grows by doubling up to the bound
// and is then reused, so a busy queue allocates nothing per record.

#include <algorithm>
#include <cstddef>
#include <type_traits>
#include <vector>

template <typename T> class RingQueue {
    static_assert(std::is_trivially_copyable<T>::value, "records are copied as plain bytes");

public:
    explicit RingQueue(size_t bound)
        : m_bound(bound)
    {
    }

    size_t size() const { return m_size; }
    bool empty() const { return m_size == 0; }
    size_t space() const { return m_bound - m_size; }

    bool push(const T &value)
    {
        if (m_size == m_store.size() && !grow())
            return false;
        size_t at = m_head + m_size;
        if (at >= m_store.size())
            at -= m_store.size();
        m_store[at] = value;
        ++m_size;
        return true;
    }

    // A slot at the back to fill in place; null when the queue is full.
    T *pushSlot()
    {
        if (m_size == m_store.size() && !grow())
            return nullptr;
        size_t at = m_head + m_size;
        if (at >= m_store.size())
            at -= m_store.size();
        ++m_size;
        return &m_store[at];
    }

    const T &front() const { return m_store[m_head]; }

    void pop()
    {
        if (++m_head == m_store.size())
            m_head = 0;
        if (--m_size == 0)
            m_head = 0;
    }

    // Moves up to n records from the front into out, in order.
    size_t take(T *out, size_t n)
    {
        n = std::min(n, m_size);
        const size_t first = std::min(n, m_store.size() - m_head);
        std::copy_n(m_store.data() + m_head, first, out);
        std::copy_n(m_store.data(), n - first, out + first);
        m_head += n;
        if (m_head >= m_store.size())
            m_head -= m_store.size();
        m_size -= n;
        if (m_size == 0)
            m_head = 0;
        return n;
    }

    void clear()
    {
        m_head = 0;
        m_size = 0;
    }

    // Gives the storage back, for a closed device.
    void release()
    {
        clear();
        std::vector<T>().swap(m_store);
    }

private:
    bool grow()
    {
        if (m_store.size() >= m_bound)
            return false;
        std::vector<T> bigger(std::min(m_bound, std::max<size_t>(64, m_store.size() * 2)));
        const size_t first = std::min(m_size, m_store.size() - m_head);
        std::copy_n(m_store.data() + m_head, first, bigger.data());
        std::copy_n(m_store.data(), m_size - first, bigger.data() + first);
        m_store.swap(bigger);
        m_head = 0;
        return true;
    }

    std::vector<T> m_store;
    size_t m_bound;
    size_t m_head = 0;
    size_t m_size = 0;
};

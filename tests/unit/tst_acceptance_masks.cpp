// Acceptance ranges as identifier/mask filters: each range's filters accept
// exactly its identifiers (every standard identifier, and extended ones around
// every filter's edges), and no smaller set of filters could, compared with an
// exhaustive search over every range of narrow identifiers.
#include "AcceptanceMasks.h"
#include "TestKit.h"

#include <QRandomGenerator>
#include <vector>

using AcceptanceMasks::IdMask;

namespace {
struct Range {
    bool extended;
    uint32_t first, last;
};

// The fewest identifier/mask filters lying in first..last whose union is all
// of it, by plain search: every filter that lies in the range and cannot lose
// another fixed bit (any cover can use such a filter around each of its own),
// then a depth-first search that branches on the lowest identifier not yet
// accepted over the filters holding it.
class ExhaustiveMinimum {
public:
    ExhaustiveMinimum(int bits, uint32_t first, uint32_t last)
        : m_first(first)
        , m_count(last - first + 1)
        , m_words((m_count + 63) / 64)
        , m_holding(m_count)
    {
        const uint32_t full = (1u << bits) - 1;
        auto inside = [&](uint32_t value, uint32_t free) { return value >= first && (value | free) <= last; };
        for (uint32_t free = 0; free <= full; ++free) {
            const uint32_t fixed = full & ~free;
            for (uint32_t value = fixed;; value = (value - 1) & fixed) {
                bool maximal = inside(value, free);
                for (uint32_t bit = 1; maximal && bit <= full; bit <<= 1)
                    maximal = !(fixed & bit) || !inside(value & ~bit, free | bit);
                if (maximal) {
                    std::vector<uint64_t> members(m_words);
                    for (uint32_t sub = free;; sub = (sub - 1) & free) {
                        const uint32_t at = (value | sub) - first;
                        members[at / 64] |= uint64_t(1) << (at % 64);
                        m_holding[at].push_back(int(m_cubes.size()));
                        if (!sub)
                            break;
                    }
                    m_cubes.push_back(members);
                }
                if (!value)
                    break;
            }
        }
    }
    int size()
    {
        m_best = int(m_count) + 1;
        search(std::vector<uint64_t>(m_words), 0);
        return m_best;
    }

private:
    void search(const std::vector<uint64_t> &accepted, int used)
    {
        uint32_t lowest = m_count;
        for (uint32_t w = 0; w < m_words && lowest == m_count; ++w) {
            uint64_t open = ~accepted[w];
            if (w == m_words - 1 && m_count % 64)
                open &= (uint64_t(1) << (m_count % 64)) - 1;
            if (open)
                lowest = w * 64 + uint32_t(__builtin_ctzll(open));
        }
        if (lowest == m_count) {
            m_best = std::min(m_best, used);
            return;
        }
        if (used + 1 >= m_best)
            return;
        for (int c : m_holding[lowest]) {
            std::vector<uint64_t> next = accepted;
            for (uint32_t w = 0; w < m_words; ++w)
                next[w] |= m_cubes[c][w];
            search(next, used + 1);
        }
    }

    uint32_t m_first, m_count, m_words;
    std::vector<std::vector<uint64_t>> m_cubes;
    std::vector<std::vector<int>> m_holding; // per identifier of the range: the filters holding it
    int m_best = 0;
};

bool acceptsExactly(const QVector<IdMask> &filters, int bits, uint32_t first, uint32_t last)
{
    for (uint32_t id = 0; id < (1u << bits); ++id)
        if (AcceptanceMasks::accepts(filters, false, id) != (id >= first && id <= last))
            return false;
    return true;
}
} // namespace
Q_DECLARE_METATYPE(QVector<Range>)

class AcceptanceMasksTest : public QObject {
    Q_OBJECT
private slots:
    void rangesBecomeExactFilters_data()
    {
        columns<QVector<Range>, int>({ "ranges", "filters" });
        auto row = [](const char *name, QVector<Range> r, int n) { QTest::newRow(name) << r << n; };
        row("single standard id", { { false, 0x123, 0x123 } }, 1);
        row("standard id 0", { { false, 0, 0 } }, 1);
        row("standard id 0x7FF", { { false, 0x7FF, 0x7FF } }, 1);
        row("single extended id", { { true, 0x18FF0010, 0x18FF0010 } }, 1);
        row("extended id 0x1FFFFFFF", { { true, 0x1FFFFFFF, 0x1FFFFFFF } }, 1);
        row("every standard id", { { false, 0, 0x7FF } }, 1);
        row("every extended id", { { true, 0, 0x1FFFFFFF } }, 1);
        row("1..6", { { false, 1, 6 } }, 3);
        row("from 0", { { false, 0, 0x7FE } }, 11);
        row("up to 0x7FF", { { false, 1, 0x7FF } }, 11);
        row("all but both ends", { { false, 1, 0x7FE } }, 11);
        row("all extended but both ends", { { true, 1, 0x1FFFFFFE } }, 29);
        row("top of the extended space", { { true, 0x1FFFFF00, 0x1FFFFFFF } }, 1);
        row("across 0x100", { { false, 0x0FF, 0x100 } }, 2);
        row("one aligned block", { { false, 0x100, 0x1FF } }, 1);
        row("block and one more", { { false, 0x100, 0x200 } }, 2);
        row("one short of a block", { { false, 0x100, 0x1FE } }, 8);
        row("across 0x400 both sides", { { false, 0x3FF, 0x401 } }, 2);
        row("alternating bits", { { false, 0x2AA, 0x555 } }, 10);
        row("most filters a standard range needs", { { false, 0x201, 0x5FE } }, 18);
        row("unaligned standard", { { false, 0x123, 0x456 } }, 12);
        row("unaligned extended", { { true, 0x0ABCDEF1, 0x12345678 } }, 24);
        row("alternating extended bits", { { true, 0x0AAAAAAA, 0x15555555 } }, 28);
        row("most filters an extended range needs", { { true, 0x08000001, 0x17FFFFFE } }, 54);
        row("across 0x10000000", { { true, 0x0FFFFFFF, 0x10000000 } }, 2);
        row("several ranges",
            { { false, 0x100, 0x10F }, { false, 0x7F0, 0x7FF }, { true, 0x18FF0000, 0x18FF00FF },
                { true, 0x00000123, 0x00000123 } },
            4);
        row("overlapping ranges", { { false, 0x100, 0x180 }, { false, 0x140, 0x1FF } }, 4);
        row("bounds beyond the standard width", { { false, 0x7F0, 0xFFFF } }, 1);
        row("end below start", { { false, 0x200, 0x100 } }, 0);
    }
    void rangesBecomeExactFilters()
    {
        QFETCH(QVector<Range>, ranges);
        QFETCH(int, filters);
        QVector<IdMask> list;
        for (const Range &r : ranges)
            list += AcceptanceMasks::forRange(r.extended, r.first, r.last);
        QCOMPARE(list.size(), filters);
        auto inRanges = [&](bool extended, uint32_t id) {
            for (const Range &r : ranges)
                if (r.extended == extended && id >= r.first && id <= std::min(r.last, extended ? 0x1FFFFFFFu : 0x7FFu))
                    return true;
            return false;
        };
        // Every standard identifier, and the same values as extended ones.
        for (uint32_t id = 0; id <= 0x7FF; ++id) {
            for (bool extended : { false, true })
                QVERIFY2(AcceptanceMasks::accepts(list, extended, id) == inRanges(extended, id),
                    qPrintable(QString("%1 id 0x%2").arg(extended ? "extended" : "standard").arg(id, 0, 16)));
        }
        // Extended identifiers: around every range end, every filter's smallest
        // and largest member, every power of two, and a random sample.
        QVector<uint32_t> edges;
        for (const Range &r : ranges)
            edges << r.first << r.last;
        for (const IdMask &f : qAsConst(list))
            edges << f.id << (f.id | (~f.mask & 0x1FFFFFFF));
        QVector<uint32_t> sample;
        for (uint32_t edge : qAsConst(edges))
            for (int d = -300; d <= 300; ++d)
                sample << uint32_t(qBound<qint64>(0, qint64(edge) + d, 0x1FFFFFFF));
        for (int bit = 0; bit < 29; ++bit)
            for (int d = -2; d <= 2; ++d)
                sample << uint32_t(qBound<qint64>(0, (qint64(1) << bit) + d, 0x1FFFFFFF));
        QRandomGenerator random(29);
        for (int i = 0; i < 200000; ++i)
            sample << random.bounded(0x20000000u);
        for (uint32_t id : qAsConst(sample))
            QVERIFY2(AcceptanceMasks::accepts(list, true, id) == inRanges(true, id),
                qPrintable(QString("extended id 0x%1").arg(id, 0, 16)));
        for (const IdMask &f : qAsConst(list)) {
            const uint32_t width = f.extended ? 0x1FFFFFFFu : 0x7FFu;
            // The id carries no bit outside the mask, and the whole filter lies in one range.
            QCOMPARE(f.id & ~f.mask & width, 0u);
            QVERIFY(inRanges(f.extended, f.id) && inRanges(f.extended, f.id | (~f.mask & width)));
            QVERIFY(std::any_of(ranges.begin(), ranges.end(), [&](const Range &r) {
                return r.extended == f.extended && f.id >= r.first && (f.id | (~f.mask & width)) <= r.last;
            }));
        }
    }

    // Every range of 5 and 6 bits: exactly its identifiers, in as many filters
    // as the exhaustive search needs, no more and no fewer.
    void noSmallerSetInNarrowWidths_data()
    {
        columns<int>({ "bits" });
        QTest::newRow("5 bits") << 5;
        QTest::newRow("6 bits") << 6;
    }
    void noSmallerSetInNarrowWidths()
    {
        QFETCH(int, bits);
        for (uint32_t first = 0; first < (1u << bits); ++first) {
            for (uint32_t last = first; last < (1u << bits); ++last) {
                const QVector<IdMask> filters = AcceptanceMasks::forWidth(bits, first, last);
                const QString range = QString("%1..%2").arg(first).arg(last);
                QVERIFY2(acceptsExactly(filters, bits, first, last), qPrintable(range));
                QVERIFY2(filters.size() == ExhaustiveMinimum(bits, first, last).size(), qPrintable(range));
            }
        }
    }

    // Random standard ranges against the exhaustive search.
    void noSmallerSetForStandardRanges()
    {
        QRandomGenerator random(11);
        for (int i = 0; i < 60; ++i) {
            uint32_t first = random.bounded(0x800u), last = random.bounded(0x800u);
            if (first > last)
                std::swap(first, last);
            const QVector<IdMask> filters = AcceptanceMasks::forRange(false, first, last);
            const QString range = QString("0x%1..0x%2").arg(first, 0, 16).arg(last, 0, 16);
            QVERIFY2(acceptsExactly(filters, 11, first, last), qPrintable(range));
            QVERIFY2(filters.size() == ExhaustiveMinimum(11, first, last).size(), qPrintable(range));
        }
    }
};

OSTREL_TEST_MAIN(QCoreApplication, new AcceptanceMasksTest)
#include "tst_acceptance_masks.moc"

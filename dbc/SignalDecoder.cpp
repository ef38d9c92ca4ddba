#include "SignalDecoder.h"

#include "SignalCodec.h"

QString SignalDecoder::numberText(double v)
{
    // Twelve significant digits hide the binary fractions of a decimal factor
    // (0.1 * 3 shows 0.3) and still show every step of a 32-bit signal.
    return QString::number(v, 'g', 12);
}

QString DecodedSignal::rawText() const
{
    if (signal->type != DbcSignal::Type::Integer)
        return SignalDecoder::numberText(raw);
    if (signal->isSigned)
        return QString::number(SignalCodec::rawInteger(*signal, bits));
    return QString::number(bits);
}

QString DecodedSignal::physicalText() const { return SignalDecoder::numberText(physical); }

QString DecodedSignal::description() const
{
    if (signal->values.isEmpty() || signal->type != DbcSignal::Type::Integer)
        return QString();
    return signal->values.value(SignalCodec::rawInteger(*signal, bits));
}

SignalDecoder::SignalDecoder()
    : m_standard(kStandardIds, -1)
{
}

SignalDecoder::SignalDecoder(const Databases &databases)
    : m_databases(databases)
    , m_standard(kStandardIds, -1)
{
    for (const auto &db : databases) {
        if (!db)
            continue;
        for (const DbcMessage &m : db->messages) {
            const int index = int(m_messages.size());
            if (!m.extended) {
                if (m.id >= kStandardIds || m_standard[m.id] >= 0)
                    continue;
                m_standard[m.id] = index;
            } else {
                if (m_extended.contains(m.id))
                    continue;
                m_extended.insert(m.id, index);
            }
            m_messages.push_back(&m);
        }
    }
}

int SignalDecoder::decode(quint32 id, bool extended, const uchar *data, int length, QVector<DecodedSignal> &out) const
{
    const DbcMessage *m = find(id, extended);
    return m ? decodeMessage(*m, data, length, out) : 0;
}

namespace {
bool fill(const DbcMessage &m, const DbcSignal &s, const uchar *data, int length, DecodedSignal &d)
{
    if (!SignalCodec::extract(s, data, length, d.bits))
        return false;
    d.message = &m;
    d.signal = &s;
    d.raw = SignalCodec::rawValue(s, d.bits);
    d.physical = d.raw * s.factor + s.offset;
    return true;
}

// The multiplexor's raw value, or false when the frame does not carry it.
bool muxValue(const DbcMessage &m, const uchar *data, int length, qint64 &value)
{
    const DbcSignal &mux = m.signalList.at(m.multiplexor);
    quint64 bits = 0;
    if (!SignalCodec::extract(mux, data, length, bits))
        return false;
    value = SignalCodec::rawInteger(mux, bits);
    return true;
}
} // namespace

int SignalDecoder::decodeMessage(const DbcMessage &m, const uchar *data, int length, QVector<DecodedSignal> &out)
{
    qint64 selected = 0;
    const bool multiplexed = m.multiplexor >= 0;
    const bool haveMux = multiplexed && muxValue(m, data, length, selected);
    const int before = out.size();
    DecodedSignal d;
    for (const DbcSignal &s : m.signalList) {
        if (s.mux == DbcSignal::Mux::Multiplexed && (!haveMux || s.muxValue != selected))
            continue;
        if (fill(m, s, data, length, d))
            out.append(d);
    }
    return out.size() - before;
}

bool SignalDecoder::decodeSignal(
    const DbcMessage &m, int signalIndex, const uchar *data, int length, DecodedSignal &out)
{
    const DbcSignal &s = m.signalList.at(signalIndex);
    if (s.mux == DbcSignal::Mux::Multiplexed) {
        qint64 selected = 0;
        if (!muxValue(m, data, length, selected) || selected != s.muxValue)
            return false;
    }
    return fill(m, s, data, length, out);
}

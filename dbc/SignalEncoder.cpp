#include "SignalEncoder.h"

#include "SignalCodec.h"

SignalEncoder::Result SignalEncoder::encode(const DbcMessage &m, const QMap<QString, double> &physical)
{
    Result r;
    r.data = QByteArray(m.length, '\0');
    for (auto it = physical.cbegin(); it != physical.cend(); ++it) {
        bool known = false;
        for (const DbcSignal &s : m.signalList)
            known = known || s.name == it.key();
        if (!known)
            r.unknown << it.key();
    }
    qint64 selected = 0;
    if (m.multiplexor >= 0) {
        const DbcSignal &mux = m.signalList.at(m.multiplexor);
        selected = SignalCodec::rawInteger(mux, SignalCodec::fromPhysical(mux, physical.value(mux.name, mux.offset)));
    }
    for (const DbcSignal &s : m.signalList) {
        if (s.mux == DbcSignal::Mux::Multiplexed && s.muxValue != selected)
            continue;
        if (s.lastByte() >= r.data.size())
            r.data.append(QByteArray(s.lastByte() + 1 - r.data.size(), '\0'));
        const auto it = physical.constFind(s.name);
        if (it == physical.cend())
            continue; // raw 0: the bytes start out 0
        if (!encodeSignal(s, it.value(), r.data))
            r.clamped << s.name;
    }
    return r;
}

bool SignalEncoder::encodeSignal(const DbcSignal &s, double physical, QByteArray &data)
{
    bool clamped = false;
    const quint64 bits = SignalCodec::fromPhysical(s, physical, &clamped);
    if (s.lastByte() >= data.size())
        data.append(QByteArray(s.lastByte() + 1 - data.size(), '\0'));
    SignalCodec::insert(s, bits, reinterpret_cast<uchar *>(data.data()));
    return !clamped;
}

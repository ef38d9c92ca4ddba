#include "SimNodes.h"

#include "BusTiming.h"

#include <QFile>
#include <QList>
#include <QSet>
#include <cstring>

uint32_t SimNode::idWord() const { return id | (extended ? 0x80000000u : 0u) | (remote ? 0x40000000u : 0u); }

bool SimNode::operator==(const SimNode &o) const
{
    return name == o.name && id == o.id && extended == o.extended && fd == o.fd && bitRateSwitch == o.bitRateSwitch
        && remote == o.remote && length == o.length && periodMs == o.periodMs && counterByte == o.counterByte
        && std::memcmp(data, o.data, sizeof data) == 0 && errorEvery == o.errorEvery
        && overflowEvery == o.overflowEvery;
}

namespace SimNodes {

namespace {

    SimNode makeNode(const char *name, uint32_t id, bool extended, bool fd, bool brs, bool remote, uint8_t length,
        uint32_t periodMs, std::initializer_list<uint8_t> data, int counterByte)
    {
        SimNode node;
        node.name = QString::fromLatin1(name);
        node.id = id;
        node.extended = extended;
        node.fd = fd;
        node.bitRateSwitch = brs;
        node.remote = remote;
        node.length = length;
        node.periodMs = periodMs;
        std::copy(data.begin(), data.end(), node.data);
        node.counterByte = counterByte;
        return node;
    }

    // One section of the file while it is being read: the keys seen so far.
    struct Section {
        QString name;
        int line = 0;
        QSet<QByteArray> keys;
        SimNode node;
        bool hasLength = false;
        bool hasCounter = false;
        bool hasExtended = false;
        int dataCount = 0;
    };

    bool readFlag(const QByteArray &value, bool &out)
    {
        if (value != "0" && value != "1")
            return false;
        out = value == "1";
        return true;
    }

    bool readDecimal(const QByteArray &value, long long low, long long high, long long &out)
    {
        bool ok = false;
        out = value.toLongLong(&ok, 10);
        return ok && out >= low && out <= high;
    }

    bool readIdentifier(const QByteArray &value, uint32_t &out)
    {
        bool ok = false;
        qulonglong id = 0;
        if (value.startsWith("0x") || value.startsWith("0X"))
            id = value.mid(2).toULongLong(&ok, 16);
        else
            id = value.toULongLong(&ok, 10);
        if (!ok || id > 0x1FFFFFFF)
            return false;
        out = static_cast<uint32_t>(id);
        return true;
    }

    bool readData(const QByteArray &value, SimNode &node, int &count)
    {
        count = 0;
        const QList<QByteArray> parts = value.simplified().split(' ');
        for (const QByteArray &part : parts) {
            if (part.isEmpty())
                continue;
            bool ok = false;
            const uint byte = part.toUInt(&ok, 16);
            if (!ok || part.size() > 2 || byte > 0xFF || count == 64)
                return false;
            node.data[count++] = static_cast<uint8_t>(byte);
        }
        return true;
    }

    QString lineProblem(int line, const QString &what) { return QStringLiteral("line %1: %2").arg(line).arg(what); }

    bool readKey(Section &s, int line, const QByteArray &key, const QByteArray &value, QString &problem)
    {
        SimNode &n = s.node;
        long long number = 0;
        bool ok = true;
        if (key == "id") {
            ok = readIdentifier(value, n.id);
        } else if (key == "extended") {
            ok = readFlag(value, n.extended);
            s.hasExtended = true;
        } else if (key == "fd") {
            ok = readFlag(value, n.fd);
        } else if (key == "brs") {
            ok = readFlag(value, n.bitRateSwitch);
        } else if (key == "remote") {
            ok = readFlag(value, n.remote);
        } else if (key == "length") {
            ok = readDecimal(value, 0, 64, number);
            n.length = static_cast<uint8_t>(number);
            s.hasLength = true;
        } else if (key == "period") {
            ok = readDecimal(value, 1, 60000, number);
            n.periodMs = static_cast<uint32_t>(number);
        } else if (key == "data") {
            ok = readData(value, n, s.dataCount);
        } else if (key == "counter") {
            ok = readDecimal(value, -1, 63, number);
            n.counterByte = static_cast<int>(number);
            s.hasCounter = true;
        } else if (key == "errors") {
            ok = readDecimal(value, 0, 1000000, number);
            n.errorEvery = static_cast<uint32_t>(number);
        } else if (key == "overflows") {
            ok = readDecimal(value, 0, 1000000, number);
            n.overflowEvery = static_cast<uint32_t>(number);
        } else {
            problem = lineProblem(line, QStringLiteral("unknown key \"%1\"").arg(QString::fromLatin1(key)));
            return false;
        }
        if (!ok)
            problem = lineProblem(line,
                QStringLiteral("bad value \"%1\" for %2").arg(QString::fromLatin1(value), QString::fromLatin1(key)));
        return ok;
    }

    // Checks one finished section and fills in the defaults that depend on other keys.
    bool finishSection(Section &s, QString &problem)
    {
        SimNode &n = s.node;
        auto fail = [&](const QString &what) {
            problem = QStringLiteral("node [%1] (line %2): %3").arg(s.name).arg(s.line).arg(what);
            return false;
        };
        if (!s.keys.contains("id"))
            return fail(QStringLiteral("no id"));
        if (!s.keys.contains("period"))
            return fail(QStringLiteral("no period"));
        if (!s.hasExtended)
            n.extended = n.id > 0x7FF;
        if (!n.extended && n.id > 0x7FF)
            return fail(QStringLiteral("a standard identifier is at most 0x7FF"));
        if (n.bitRateSwitch && !n.fd)
            return fail(QStringLiteral("brs needs fd = 1"));
        if (n.remote && n.fd)
            return fail(QStringLiteral("CAN FD has no remote frames"));
        if (!s.hasLength)
            n.length = static_cast<uint8_t>(s.dataCount);
        if (n.fd ? BusTiming::fdPayloadLength(n.length) != n.length : n.length > 8)
            return fail(
                QStringLiteral("length %1 is not a valid %2 length").arg(n.length).arg(n.fd ? "CAN FD" : "CAN"));
        if (s.dataCount > n.length)
            return fail(QStringLiteral("more data bytes than length"));
        if (!s.hasCounter)
            n.counterByte = (n.length > 0 && !n.remote) ? 0 : -1;
        if (n.counterByte >= n.length || (n.remote && n.counterByte >= 0))
            return fail(QStringLiteral("counter byte %1 is not a data byte").arg(n.counterByte));
        if (n.errorEvery == 1)
            return fail(QStringLiteral("errors = 1 would never let a frame through"));
        return true;
    }

} // namespace

std::vector<SimNode> defaults()
{
    return {
        makeNode("engine", 0x100, false, false, false, false, 8, 10, { 0x00, 0x10, 0x27, 0x64 }, 0),
        makeNode("body", 0x18FF0010, true, false, false, false, 8, 100, { 1, 2, 3, 4, 5, 6, 7, 8 }, 7),
        makeNode("camera", 0x200, false, true, true, false, 16, 50, { 0xAA, 0x55 }, 2),
        makeNode("radar", 0x300, false, true, false, false, 12, 200, {}, 0),
        makeNode("diagnostic", 0x7DF, false, false, false, true, 8, 1000, {}, -1),
        makeNode("gateway", 0x1CEBA55, true, true, true, false, 64, 500, { 0x47, 0x57 }, 63),
    };
}

bool parse(const QByteArray &text, std::vector<SimNode> &nodes, QString &problem)
{
    nodes.clear();
    Section section;
    bool inSection = false;
    const QList<QByteArray> lines = text.split('\n');
    for (int i = 0; i < lines.size(); ++i) {
        const int lineNo = i + 1;
        QByteArray line = lines[i];
        for (int k = 0; k < line.size(); ++k) {
            if (line[k] == ';' || line[k] == '#') {
                line.truncate(k);
                break;
            }
        }
        line = line.trimmed();
        if (line.isEmpty())
            continue;
        if (line.startsWith('[')) {
            if (!line.endsWith(']') || line.size() < 3) {
                problem = lineProblem(lineNo, QStringLiteral("a section header is [name]"));
                return false;
            }
            if (inSection) {
                if (!finishSection(section, problem))
                    return false;
                nodes.push_back(section.node);
            }
            if (int(nodes.size()) == kMaxNodes) {
                problem = lineProblem(lineNo, QStringLiteral("more than %1 nodes").arg(kMaxNodes));
                return false;
            }
            section = Section();
            section.name = QString::fromUtf8(line.mid(1, line.size() - 2).trimmed());
            section.node.name = section.name;
            section.line = lineNo;
            inSection = true;
            continue;
        }
        const int eq = line.indexOf('=');
        if (eq <= 0) {
            problem = lineProblem(lineNo, QStringLiteral("expected key = value"));
            return false;
        }
        if (!inSection) {
            problem = lineProblem(lineNo, QStringLiteral("key outside a [node] section"));
            return false;
        }
        const QByteArray key = line.left(eq).trimmed().toLower();
        const QByteArray value = line.mid(eq + 1).trimmed();
        if (section.keys.contains(key)) {
            problem = lineProblem(lineNo, QStringLiteral("%1 given twice").arg(QString::fromLatin1(key)));
            return false;
        }
        section.keys.insert(key);
        if (!readKey(section, lineNo, key, value, problem))
            return false;
    }
    if (inSection) {
        if (!finishSection(section, problem))
            return false;
        nodes.push_back(section.node);
    }
    return true;
}

std::vector<SimNode> load(const QString &path, QString &problem)
{
    problem.clear();
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        problem = QStringLiteral("%1: %2").arg(
            path, file.exists() ? QStringLiteral("cannot be read") : QStringLiteral("not found"));
        return defaults();
    }
    std::vector<SimNode> nodes;
    QString why;
    if (!parse(file.readAll(), nodes, why)) {
        problem = QStringLiteral("%1: %2").arg(path, why);
        return defaults();
    }
    return nodes;
}

} // namespace SimNodes

#include "DbcParser.h"

#include <QFile>
#include <QHash>
#include <QSet>
#include <QTextCodec>

#include <cmath>

namespace {

bool isNameChar(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
}

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v'; }

// A line that begins a statement starts with a keyword: capitals, digits and '_'.
bool isKeyword(const QByteArray &word)
{
    if (word.isEmpty() || !(word[0] >= 'A' && word[0] <= 'Z'))
        return false;
    for (char c : word)
        if (!((c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_'))
            return false;
    return true;
}

QByteArray firstWord(const QByteArray &line)
{
    int i = 0;
    while (i < line.size() && isSpace(line[i]))
        ++i;
    const int from = i;
    while (i < line.size() && !isSpace(line[i]) && line[i] != ':' && line[i] != ';')
        ++i;
    return line.mid(from, i - from);
}

// Reads one statement (possibly several lines long) piece by piece and knows
// on which line of the file each piece stands.
class Cursor {
public:
    Cursor(const QByteArray &text, int firstLine)
        : m_text(text)
        , m_firstLine(firstLine)
    {
    }

    void skipSpace()
    {
        while (m_pos < m_text.size() && isSpace(m_text[m_pos]))
            ++m_pos;
    }
    bool atEnd()
    {
        skipSpace();
        return m_pos >= m_text.size();
    }
    bool peek(char c)
    {
        skipSpace();
        return m_pos < m_text.size() && m_text[m_pos] == c;
    }
    bool take(char c)
    {
        if (!peek(c))
            return false;
        ++m_pos;
        return true;
    }
    bool name(QByteArray &out)
    {
        skipSpace();
        int end = m_pos;
        while (end < m_text.size() && isNameChar(m_text[end]))
            ++end;
        if (end == m_pos)
            return false;
        out = m_text.mid(m_pos, end - m_pos);
        m_pos = end;
        return true;
    }
    // Numbers as C writes them: sign, digits, point, exponent.
    bool number(double &out)
    {
        skipSpace();
        int end = m_pos;
        while (end < m_text.size()) {
            const char c = m_text[end];
            const bool sign
                = (c == '+' || c == '-') && (end == m_pos || m_text[end - 1] == 'e' || m_text[end - 1] == 'E');
            if (!((c >= '0' && c <= '9') || c == '.' || c == 'e' || c == 'E' || sign))
                break;
            ++end;
        }
        bool ok = false;
        out = m_text.mid(m_pos, end - m_pos).toDouble(&ok);
        if (!ok || !std::isfinite(out))
            return false;
        m_pos = end;
        return true;
    }
    bool integer(qint64 &out, qint64 low, qint64 high)
    {
        const int at = m_pos;
        double v = 0;
        if (!number(v) || v != std::floor(v) || v < double(low) || v > double(high)) {
            m_pos = at;
            return false;
        }
        out = qint64(v);
        return true;
    }
    // An unsigned 32-bit identifier word, written in decimal.
    bool word32(quint32 &out)
    {
        skipSpace();
        int end = m_pos;
        while (end < m_text.size() && m_text[end] >= '0' && m_text[end] <= '9')
            ++end;
        bool ok = false;
        const qulonglong v = m_text.mid(m_pos, end - m_pos).toULongLong(&ok);
        if (!ok || v > 0xFFFFFFFFull)
            return false;
        out = quint32(v);
        m_pos = end;
        return true;
    }
    // "text" with \" and \\ inside.
    bool quoted(QByteArray &out)
    {
        if (!peek('"'))
            return false;
        int i = m_pos + 1;
        QByteArray text;
        while (i < m_text.size() && m_text[i] != '"') {
            if (m_text[i] == '\\' && i + 1 < m_text.size())
                ++i;
            text += m_text[i++];
        }
        if (i >= m_text.size())
            return false;
        out = text;
        m_pos = i + 1;
        return true;
    }
    bool startsWithDigit()
    {
        skipSpace();
        return m_pos < m_text.size() && m_text[m_pos] >= '0' && m_text[m_pos] <= '9';
    }
    int line() const { return m_firstLine + int(m_text.left(m_pos).count('\n')); }
    // What stands at the cursor, for an error: up to the next blank, at most 24 characters.
    QByteArray found()
    {
        skipSpace();
        int end = m_pos;
        while (end < m_text.size() && !isSpace(m_text[end]) && end - m_pos < 24)
            ++end;
        return m_text.mid(m_pos, end - m_pos);
    }

private:
    QByteArray m_text;
    int m_firstLine;
    int m_pos = 0;
};

class Reader {
public:
    Reader(DbcDatabase &db, DbcError &error)
        : m_db(db)
        , m_error(error)
    {
    }

    bool run(const QByteArray &text)
    {
        QTextCodec::ConverterState state;
        QTextCodec *utf8 = QTextCodec::codecForName("UTF-8");
        utf8->toUnicode(text.constData(), text.size(), &state);
        // DBC files come from tools that write UTF-8 or a Windows code page.
        m_utf8 = state.invalidChars == 0;

        m_lines = text.split('\n');
        for (QByteArray &l : m_lines)
            if (l.endsWith('\r'))
                l.chop(1);
        bool inNamespace = false;
        for (int i = 0; i < m_lines.size(); ++i) {
            const QByteArray &line = m_lines.at(i);
            const QByteArray trimmed = line.trimmed();
            if (trimmed.isEmpty())
                continue;
            const QByteArray kw = firstWord(line);
            if (inNamespace) {
                // NS_ : lists the keyword names the file may use, one per indented line.
                if (isSpace(line[0]) || trimmed.indexOf(' ') < 0)
                    continue;
                inNamespace = false;
            }
            if (kw != "SG_")
                m_message = -1;
            if (kw == "SG_") {
                if (!signal(Cursor(line, i + 1)))
                    return false;
            } else if (kw == "BO_") {
                if (!message(Cursor(line, i + 1)))
                    return false;
            } else if (kw == "BU_") {
                Cursor c(line, i + 1);
                QByteArray w;
                c.name(w);
                c.take(':');
                while (c.name(w))
                    m_db.nodes << text8(w);
            } else if (kw == "NS_") {
                inNamespace = true;
            } else if (kw == "VERSION" || kw == "BS_") {
                continue;
            } else if (isKeyword(kw)) {
                const bool used = kw == "CM_" || kw == "VAL_" || kw == "VAL_TABLE_" || kw == "SIG_VALTYPE_";
                QByteArray statement;
                const int first = i;
                if (!gather(i, used, statement))
                    return false;
                if (used && !statementOf(kw, Cursor(statement, first + 1)))
                    return false;
            } else {
                return fail(i + 1, QStringLiteral("a keyword (BO_, SG_, CM_, VAL_, ...)"), firstWord(line));
            }
        }
        return finish();
    }

private:
    QString text8(const QByteArray &b) const { return m_utf8 ? QString::fromUtf8(b) : QString::fromLatin1(b); }

    bool fail(int line, const QString &expected, const QByteArray &found)
    {
        m_error.line = line;
        m_error.expected = expected;
        m_error.found = text8(found);
        return false;
    }
    bool fail(Cursor &c, const QString &expected) { return fail(c.line(), expected, c.found()); }

    // Collects a statement that ends with ';', over several lines when a
    // quoted text or a long list goes on. A statement the reader uses must
    // end with ';'; one it ignores may also end at its line's end.
    bool gather(int &i, bool used, QByteArray &out)
    {
        const int first = i;
        bool inQuote = false;
        for (;;) {
            const QByteArray &line = m_lines.at(i);
            for (int k = 0; k < line.size(); ++k) {
                const char c = line[k];
                if (inQuote && c == '\\') {
                    ++k;
                } else if (c == '"') {
                    inQuote = !inQuote;
                } else if (c == ';' && !inQuote) {
                    out += line.left(k + 1);
                    if (!line.mid(k + 1).trimmed().isEmpty())
                        return fail(i + 1, QStringLiteral("the end of the line after ';'"), line.mid(k + 1).trimmed());
                    return true;
                }
            }
            out += line;
            out += '\n';
            const bool more = i + 1 < m_lines.size();
            if (!inQuote && (!more || isKeyword(firstWord(m_lines.at(i + 1))))) {
                if (!used)
                    return true;
                return fail(i + 1,
                    QStringLiteral("';' ending the %1 begun on line %2")
                        .arg(QString::fromLatin1(firstWord(m_lines.at(first))))
                        .arg(first + 1),
                    QByteArray());
            }
            if (!more)
                return fail(first + 1, QStringLiteral("a closing '\"'"), QByteArray());
            ++i;
        }
    }

    // BO_ <id> <name>: <length> <sender>
    bool message(Cursor c)
    {
        QByteArray w;
        c.name(w); // BO_
        const int line = c.line();
        quint32 word = 0;
        if (!c.word32(word))
            return fail(c, QStringLiteral("<id>"));
        DbcMessage m;
        m.extended = word & 0x80000000u;
        m.id = word & 0x7FFFFFFFu;
        // Signals not in any message are kept by some tools in a pseudo
        // message with this identifier; it describes no frame.
        const bool pseudo = word == 0xC0000000u;
        if (!pseudo && (m.extended ? m.id > 0x1FFFFFFF : m.id > 0x7FF))
            return fail(line, QStringLiteral("<id> up to 2047, or 0x80000000 + up to 0x1FFFFFFF (extended)"),
                QByteArray::number(word));
        if (!c.name(w))
            return fail(c, QStringLiteral("<name>"));
        m.name = text8(w);
        if (!c.take(':'))
            return fail(c, QStringLiteral("':'"));
        qint64 length = 0;
        if (!c.integer(length, 0, 64))
            return fail(c, QStringLiteral("<length> 0..64"));
        m.length = int(length);
        if (c.name(w))
            m.sender = text8(w);
        if (!c.atEnd())
            return fail(c, QStringLiteral("the end of the line"));
        const quint64 key = pseudo ? ~0ull : (quint64(m.extended) << 32 | m.id);
        if (!pseudo && m_byId.contains(key))
            return fail(line, QStringLiteral("an identifier not used by an earlier BO_"), QByteArray::number(word));
        m_db.messages.append(m);
        m_message = m_db.messages.size() - 1;
        m_byId.insert(key, m_message);
        m_pseudo.append(pseudo);
        m_messageLine.append(line);
        return true;
    }

    // SG_ <name> [M|m<n>] : <start>|<length>@<0|1><+|-> (<factor>,<offset>) [<min>|<max>] "<unit>" <receivers>
    bool signal(Cursor c)
    {
        QByteArray w;
        c.name(w); // SG_
        if (m_message < 0)
            return fail(c.line(), QStringLiteral("BO_ <id> <name>: <length> <sender> before its SG_ lines"), "SG_");
        DbcMessage &m = m_db.messages[m_message];
        DbcSignal s;
        if (!c.name(w))
            return fail(c, QStringLiteral("<signal name>"));
        s.name = text8(w);
        for (const DbcSignal &other : qAsConst(m.signalList))
            if (other.name == s.name)
                return fail(c.line(), QStringLiteral("a signal name not used before in %1").arg(m.name), w);
        if (!c.peek(':')) {
            QByteArray mux;
            if (!c.name(mux))
                return fail(c, QStringLiteral("':'"));
            bool isValue = false;
            const qint64 value = mux.mid(1).toLongLong(&isValue);
            if (mux == "M") {
                if (m.multiplexor >= 0)
                    return fail(c.line(), QStringLiteral("one M signal per message"), mux);
                s.mux = DbcSignal::Mux::Multiplexor;
            } else if (mux.size() > 1 && mux[0] == 'm' && isValue && value >= 0) {
                s.mux = DbcSignal::Mux::Multiplexed;
                s.muxValue = value;
            } else {
                return fail(c.line(), QStringLiteral("':', M or m<n> (simple multiplexing)"), mux);
            }
        }
        if (!c.take(':'))
            return fail(c, QStringLiteral("':'"));
        qint64 v = 0;
        if (!c.integer(v, 0, 511))
            return fail(c, QStringLiteral("<start bit> 0..511"));
        s.startBit = int(v);
        if (!c.take('|'))
            return fail(c, QStringLiteral("'|' after the start bit"));
        if (!c.integer(v, 1, 64))
            return fail(c, QStringLiteral("<length> 1..64 bits"));
        s.length = int(v);
        if (!c.take('@'))
            return fail(c, QStringLiteral("'@' after the length"));
        if (c.take('1'))
            s.littleEndian = true;
        else if (c.take('0'))
            s.littleEndian = false;
        else
            return fail(c, QStringLiteral("@1 (little-endian) or @0 (big-endian)"));
        if (c.take('-'))
            s.isSigned = true;
        else if (!c.take('+'))
            return fail(c, QStringLiteral("+ (unsigned) or - (signed)"));
        if (!c.take('('))
            return fail(c, QStringLiteral("(<factor>,<offset>)"));
        if (!c.number(s.factor))
            return fail(c, QStringLiteral("<factor>"));
        if (!c.take(','))
            return fail(c, QStringLiteral("',' between factor and offset"));
        if (!c.number(s.offset))
            return fail(c, QStringLiteral("<offset>"));
        if (!c.take(')'))
            return fail(c, QStringLiteral("')'"));
        if (!c.take('['))
            return fail(c, QStringLiteral("[<minimum>|<maximum>]"));
        if (!c.number(s.minimum))
            return fail(c, QStringLiteral("<minimum>"));
        if (!c.take('|'))
            return fail(c, QStringLiteral("'|' between minimum and maximum"));
        if (!c.number(s.maximum))
            return fail(c, QStringLiteral("<maximum>"));
        if (!c.take(']'))
            return fail(c, QStringLiteral("']'"));
        QByteArray unit;
        if (!c.quoted(unit))
            return fail(c, QStringLiteral("\"<unit>\""));
        s.unit = text8(unit);
        while (!c.atEnd()) {
            if (c.take(','))
                continue;
            if (!c.name(w))
                return fail(c, QStringLiteral("<receiver>, ..."));
            s.receivers << text8(w);
        }
        if (s.lastByte() > 63)
            return fail(c.line(), QStringLiteral("a signal inside 64 bytes"),
                QByteArray::number(s.startBit) + '|' + QByteArray::number(s.length) + '@'
                    + (s.littleEndian ? '1' : '0'));
        if (s.mux == DbcSignal::Mux::Multiplexor)
            m.multiplexor = m.signalList.size();
        m.signalList.append(s);
        return true;
    }

    DbcMessage *messageFor(Cursor &c)
    {
        quint32 word = 0;
        if (!c.word32(word)) {
            fail(c, QStringLiteral("<message id>"));
            return nullptr;
        }
        const quint64 key
            = word == 0xC0000000u ? ~0ull : (quint64(bool(word & 0x80000000u)) << 32 | (word & 0x7FFFFFFFu));
        const auto it = m_byId.constFind(key);
        if (it == m_byId.cend()) {
            fail(c.line(), QStringLiteral("the id of a BO_ in the file"), QByteArray::number(word));
            return nullptr;
        }
        return &m_db.messages[it.value()];
    }

    DbcSignal *signalFor(Cursor &c, DbcMessage &m)
    {
        QByteArray w;
        if (!c.name(w)) {
            fail(c, QStringLiteral("<signal name>"));
            return nullptr;
        }
        const QString name = text8(w);
        for (DbcSignal &s : m.signalList)
            if (s.name == name)
                return &s;
        fail(c.line(), QStringLiteral("a signal of %1").arg(m.name), w);
        return nullptr;
    }

    // <value> "<text>" pairs up to ';'.
    bool valuePairs(Cursor &c, QMap<qint64, QString> &out)
    {
        while (!c.take(';')) {
            qint64 v = 0;
            if (!c.integer(v, -(qint64(1) << 53), qint64(1) << 53))
                return fail(c, QStringLiteral("<value> \"<description>\" or ';'"));
            QByteArray text;
            if (!c.quoted(text))
                return fail(c, QStringLiteral("\"<description>\""));
            out.insert(v, text8(text));
        }
        return true;
    }

    bool statementOf(const QByteArray &kw, Cursor c)
    {
        QByteArray w;
        c.name(w); // the keyword
        if (kw == "VAL_TABLE_") {
            if (!c.name(w))
                return fail(c, QStringLiteral("<table name>"));
            QMap<qint64, QString> values;
            if (!valuePairs(c, values))
                return false;
            m_db.valueTables.insert(text8(w), values);
            return true;
        }
        if (kw == "VAL_") {
            // VAL_ <name> ... without a message id describes an environment variable.
            if (!c.startsWithDigit()) {
                if (!c.name(w))
                    return fail(c, QStringLiteral("<message id> <signal name>"));
                QMap<qint64, QString> ignored;
                return valuePairs(c, ignored);
            }
            DbcMessage *m = messageFor(c);
            if (!m)
                return false;
            DbcSignal *s = signalFor(c, *m);
            if (!s)
                return false;
            // A table by name instead of the pairs.
            if (!c.startsWithDigit() && !c.peek('-') && c.name(w)) {
                const auto table = m_db.valueTables.constFind(text8(w));
                if (table == m_db.valueTables.cend())
                    return fail(c.line(), QStringLiteral("the name of a VAL_TABLE_ above"), w);
                s->values = table.value();
                if (!c.take(';'))
                    return fail(c, QStringLiteral("';'"));
                return true;
            }
            s->values.clear();
            return valuePairs(c, s->values);
        }
        if (kw == "SIG_VALTYPE_") {
            DbcMessage *m = messageFor(c);
            if (!m)
                return false;
            DbcSignal *s = signalFor(c, *m);
            if (!s)
                return false;
            c.take(':');
            qint64 type = 0;
            if (!c.integer(type, 0, 2))
                return fail(c, QStringLiteral("0 (integer), 1 (float) or 2 (double)"));
            const int bits = type == 1 ? 32 : type == 2 ? 64 : s->length;
            if (s->length != bits)
                return fail(c.line(), QStringLiteral("a %1-bit signal for SIG_VALTYPE_ %2").arg(bits).arg(type),
                    QByteArray::number(s->length) + " bits");
            s->type = type == 1 ? DbcSignal::Type::Float32
                : type == 2     ? DbcSignal::Type::Float64
                                : DbcSignal::Type::Integer;
            if (!c.take(';'))
                return fail(c, QStringLiteral("';'"));
            return true;
        }
        // CM_ [BU_ <node> | BO_ <id> | SG_ <id> <signal> | EV_ <name>] "<text>";
        QString *target = &m_db.comment;
        QString ignored;
        if (!c.peek('"')) {
            if (!c.name(w))
                return fail(c, QStringLiteral("\"<comment>\", BU_, BO_, SG_ or EV_"));
            if (w == "BO_" || w == "SG_") {
                DbcMessage *m = messageFor(c);
                if (!m)
                    return false;
                target = &m->comment;
                if (w == "SG_") {
                    DbcSignal *s = signalFor(c, *m);
                    if (!s)
                        return false;
                    target = &s->comment;
                }
            } else if (w == "BU_" || w == "EV_") {
                if (!c.name(w))
                    return fail(c, QStringLiteral("<name>"));
                target = &ignored;
            } else {
                return fail(c.line(), QStringLiteral("\"<comment>\", BU_, BO_, SG_ or EV_"), w);
            }
        }
        QByteArray text;
        if (!c.quoted(text))
            return fail(c, QStringLiteral("\"<comment>\""));
        *target = text8(text);
        if (!c.take(';'))
            return fail(c, QStringLiteral("';'"));
        return true;
    }

    // Checks what only the whole file shows, then drops the pseudo message.
    bool finish()
    {
        for (int i = 0; i < m_db.messages.size(); ++i) {
            const DbcMessage &m = m_db.messages.at(i);
            if (m.multiplexor >= 0)
                continue;
            for (const DbcSignal &s : m.signalList)
                if (s.mux == DbcSignal::Mux::Multiplexed)
                    return fail(m_messageLine.at(i),
                        QStringLiteral("an M signal in %1, which has m<n> signals").arg(m.name), QByteArray());
        }
        for (int i = m_db.messages.size() - 1; i >= 0; --i)
            if (m_pseudo.at(i))
                m_db.messages.remove(i);
        return true;
    }

    DbcDatabase &m_db;
    DbcError &m_error;
    QList<QByteArray> m_lines;
    bool m_utf8 = true;
    int m_message = -1; // the BO_ whose SG_ lines may follow
    QHash<quint64, int> m_byId;
    QVector<bool> m_pseudo;
    QVector<int> m_messageLine;
};

} // namespace

int DbcSignal::lastByte() const
{
    if (littleEndian)
        return (startBit + length - 1) / 8;
    // Big-endian: from the most significant bit downwards within a byte, then
    // on to bit 7 of the next byte.
    const int inFirst = startBit % 8 + 1;
    if (length <= inFirst)
        return startBit / 8;
    return startBit / 8 + (length - inFirst + 7) / 8;
}

const DbcMessage *DbcDatabase::message(quint32 id, bool extended) const
{
    for (const DbcMessage &m : messages)
        if (m.id == id && m.extended == extended)
            return &m;
    return nullptr;
}

bool DbcParser::parse(const QByteArray &text, DbcDatabase &db, DbcError &error)
{
    DbcDatabase read;
    read.path = db.path;
    error.line = 0;
    error.expected.clear();
    error.found.clear();
    Reader reader(read, error);
    if (!reader.run(text)) {
        error.path = db.path;
        db = DbcDatabase();
        db.path = read.path;
        return false;
    }
    db = read;
    return true;
}

bool DbcParser::load(const QString &path, DbcDatabase &db, DbcError &error)
{
    db = DbcDatabase();
    db.path = path;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        error.path = path;
        error.line = 0;
        error.expected = QStringLiteral("a readable file");
        error.found = file.exists() ? QStringLiteral("no permission") : QStringLiteral("no such file");
        return false;
    }
    return parse(file.readAll(), db, error);
}

QString DbcParser::describe(const DbcError &error)
{
    QString text = error.path.isEmpty() ? QString() : error.path + QStringLiteral(": ");
    if (error.line > 0)
        text += QStringLiteral("line %1: ").arg(error.line);
    text += QStringLiteral("expected %1").arg(error.expected);
    text += error.found.isEmpty() ? QStringLiteral(", found the end of the line")
                                  : QStringLiteral(", found \"%1\"").arg(error.found);
    return text;
}

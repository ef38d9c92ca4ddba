#include "ListSendFile.h"

#include "Lang.h"
#include "SendRules.h"

#include <QFile>
#include <QRegularExpression>
#include <QSaveFile>
#include <QStringList>
#include <limits>

namespace ListSendFile {

namespace {
    const char *const kFieldNames[] = { "on", "channel", "id", "format", "type", "protocol", "length", "data", "period",
        "count", "idinc", "datainc", "name" };
    constexpr int kFieldCount = 13;
    const char *const kProtocols[] = { "CAN", "CANFD", "CANFD-BRS" };

    // Reads one line into `row`; on a problem fills the result's field, expected
    // and found and returns false.
    class LineReader {
    public:
        LineReader(const QStringList &fields, Result &result)
            : m_fields(fields)
            , m_result(result)
        {
        }

        bool fail(int field, const QString &expected)
        {
            m_result.ok = false;
            m_result.field = QLatin1String(kFieldNames[field]);
            m_result.expected = expected;
            m_result.found = m_fields.value(field);
            return false;
        }

        bool flag(int field, bool &out)
        {
            const QString &t = m_fields.at(field);
            if (t != QLatin1String("0") && t != QLatin1String("1"))
                return fail(field, QStringLiteral("1 / 0"));
            out = t == QLatin1String("1");
            return true;
        }

        bool choice(int field, const QStringList &words, int &out)
        {
            out = int(words.indexOf(m_fields.at(field)));
            return out >= 0 || fail(field, words.join(QStringLiteral(" / ")));
        }

        bool number(int field, qint64 low, qint64 high, qint64 &out, const QString &expected)
        {
            bool ok = false;
            out = m_fields.at(field).toLongLong(&ok);
            return (ok && out >= low && out <= high) || fail(field, expected);
        }

        bool row(ListSendRow &row)
        {
            int channel = 0, format = 0, type = 0;
            qint64 n = 0;
            if (!flag(0, row.enabled) || !choice(1, { QStringLiteral("1"), QStringLiteral("2") }, channel)
                || !choice(3, { QStringLiteral("std"), QStringLiteral("ext") }, format)
                || !choice(4, { QStringLiteral("data"), QStringLiteral("remote") }, type))
                return false;
            row.channel = unsigned(channel);
            row.extended = format == 1;
            row.remote = type == 1;

            static const QRegularExpression hexId(QStringLiteral("^(0[xX])?[0-9a-fA-F]{1,8}$"));
            const QString idText = m_fields.at(2);
            const QString idRange = row.extended ? QStringLiteral("0-1FFFFFFF") : QStringLiteral("0-7FF");
            if (!hexId.match(idText).hasMatch())
                return fail(2, idRange);
            const qint64 id = idText.toLongLong(nullptr, 16);
            if (!SendRules::idInRange(id, row.extended))
                return fail(2, idRange);
            row.id = uint32_t(id);

            const QStringList protocols { QLatin1String(kProtocols[0]), QLatin1String(kProtocols[1]),
                QLatin1String(kProtocols[2]) };
            if (!choice(5, protocols, row.protocol))
                return false;
            if (row.remote && row.canFd())
                return fail(5, QStringLiteral("CAN (remote)"));

            QStringList allowed;
            for (int len : SendRules::lengths())
                if (SendRules::isValidLength(len, row.canFd()))
                    allowed << QString::number(len);
            bool ok = false;
            row.length = m_fields.at(6).toInt(&ok);
            if (!ok || !SendRules::isValidLength(row.length, row.canFd()))
                return fail(6, allowed.join(QLatin1Char(',')));

            const QString bytesExpected = QStringLiteral("<= %1 x 00-FF").arg(row.length);
            const QStringList pieces = m_fields.at(7).split(QLatin1Char(' '), Qt::SkipEmptyParts);
            if (pieces.size() > row.length)
                return fail(7, bytesExpected);
            row.data = QByteArray(row.length, '\0');
            static const QRegularExpression hexByte(QStringLiteral("^[0-9a-fA-F]{1,2}$"));
            for (int i = 0; i < pieces.size(); ++i) {
                if (!hexByte.match(pieces.at(i)).hasMatch())
                    return fail(7, bytesExpected);
                row.data[i] = char(pieces.at(i).toUInt(nullptr, 16));
            }

            if (!number(8, ListSendRow::kMinPeriodMs, ListSendRow::kMaxPeriodMs, n, QStringLiteral("1-60000")))
                return false;
            row.periodMs = int(n);
            if (!number(9, 0, std::numeric_limits<qint64>::max(), row.count, QStringLiteral(">= 0")))
                return false;
            if (!flag(10, row.idIncrement) || !flag(11, row.dataIncrement))
                return false;
            row.name = m_fields.at(12);
            return true;
        }

    private:
        const QStringList &m_fields;
        Result &m_result;
    };
} // namespace

Result parse(const QByteArray &text)
{
    Result result;
    const QStringList lines = QString::fromUtf8(text).split(QLatin1Char('\n'));
    for (int i = 0; i < lines.size(); ++i) {
        QString line = lines.at(i);
        if (line.endsWith(QLatin1Char('\r')))
            line.chop(1);
        if (line.trimmed().isEmpty() || line.trimmed().startsWith(QLatin1Char('#')))
            continue;
        result.line = i + 1;
        // The name is the rest of the line, ";" included.
        QStringList fields = line.split(QLatin1Char(';'));
        if (fields.size() < kFieldCount) {
            result.ok = false;
            result.field = QStringLiteral("name");
            result.expected = QStringLiteral("%1 fields").arg(kFieldCount);
            result.found = line;
            result.rows.clear();
            return result;
        }
        const QString name = fields.mid(kFieldCount - 1).join(QLatin1Char(';'));
        fields = fields.mid(0, kFieldCount - 1);
        for (QString &f : fields)
            f = f.trimmed();
        fields << name;
        ListSendRow row;
        if (!LineReader(fields, result).row(row)) {
            result.rows.clear();
            return result;
        }
        result.rows.append(row);
    }
    result.line = 0;
    return result;
}

Result read(const QString &path)
{
    QFile file(path);
    if (!file.exists()) {
        Result result;
        result.missing = true;
        return result;
    }
    if (!file.open(QIODevice::ReadOnly)) {
        Result result;
        result.ok = false;
        result.expected = QStringLiteral("a readable file");
        return result;
    }
    return parse(file.readAll());
}

QByteArray format(const QList<ListSendRow> &rows)
{
    QString out = QStringLiteral("# Ostrel list send: one message per line, fields separated by \";\".\n"
                                 "# on: 1/0; channel: 1/2; id: hex; format: std/ext; type: data/remote;\n"
                                 "# protocol: CAN/CANFD/CANFD-BRS; length: 0-8 (CAN FD also 12-64); data: hex bytes;\n"
                                 "# period: 1-60000 ms; count: frames, then off (0 = until stopped);\n"
                                 "# idinc, datainc: 1/0; name: the rest of the line.\n"
                                 "# on;channel;id;format;type;protocol;length;data;period;count;idinc;datainc;name\n");
    auto flag = [](bool on) { return on ? QStringLiteral("1") : QStringLiteral("0"); };
    for (const ListSendRow &r : rows) {
        QStringList f;
        f << flag(r.enabled) << QString::number(r.channel + 1) << QString::number(r.id, 16).toUpper()
          << (r.extended ? QStringLiteral("ext") : QStringLiteral("std"))
          << (r.remote ? QStringLiteral("remote") : QStringLiteral("data"))
          << QLatin1String(kProtocols[qBound(0, r.protocol, 2)]) << QString::number(r.length) << r.dataText()
          << QString::number(r.periodMs) << QString::number(r.count) << flag(r.idIncrement) << flag(r.dataIncrement)
          << QString(r.name).replace(QLatin1Char('\n'), QLatin1Char(' ')).remove(QLatin1Char('\r'));
        out += f.join(QLatin1Char(';'));
        out += QLatin1Char('\n');
    }
    return out.toUtf8();
}

bool write(const QString &path, const QList<ListSendRow> &rows)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    const QByteArray bytes = format(rows);
    if (file.write(bytes) != bytes.size()) {
        file.cancelWriting();
        return false;
    }
    return file.commit();
}

QString problemText(const Result &result, const QString &path, bool kept)
{
    QString text;
    if (result.line == 0)
        text = Lang::pick(QStringLiteral("无法读取列表文件“%1”。"), QStringLiteral("無法讀取列表文件“%1”。"),
            QStringLiteral("Cannot read the list file \"%1\"."))
                   .arg(path);
    else
        text = Lang::pick(QStringLiteral("列表文件“%1”第%2行的字段“%3”有误：应为 %4，实为“%5”。"),
            QStringLiteral("列表文件“%1”第%2行的字段“%3”有誤：應為 %4，實為“%5”。"),
            QStringLiteral("List file \"%1\", line %2, field \"%3\": expected %4, found \"%5\"."))
                   .arg(path, QString::number(result.line), result.field, result.expected, result.found);
    text += kept ? Lang::pick(QStringLiteral("列表未改变。"), QStringLiteral("列表未改變。"),
                QStringLiteral(" The list is unchanged."))
                 : Lang::pick(QStringLiteral("列表已清空。"), QStringLiteral("列表已清空。"),
                     QStringLiteral(" The list is empty."));
    return text;
}

}

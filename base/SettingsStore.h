#pragma once
// The program-wide key/value store kept in applicationDir/config/setdb.txt:
// one line of "key,value" entries joined by ";", in key order. Safe to read
// from the worker threads (they look up "timeHex" and "recvIDAdd" per frame).

#include <QMap>
#include <QString>

namespace SettingsStore {
// Fills the store from the file; a malformed entry anywhere empties it.
void load(const QString &path);
// The stored value; an absent key gets the default inserted in memory.
// "Language" falls back to the choice in language/config.ini.
QString value(const QString &key, const QString &defaultValue = QString());
// Stores the value; with writeNow the whole store is written afterwards.
void setValue(const QString &key, const QString &value, bool writeNow = false);
void save();

// The file's one line, read and written: parseLine() fills the map from it
// and gives false (and an empty map) for a malformed entry; formatLine() is
// what save() writes.
bool parseLine(const QString &line, QMap<QString, QString> &map);
QString formatLine(const QMap<QString, QString> &map);

QString path();
QMap<QString, QString> snapshot();

// Counts the changes of the store (load, a new or changed value); readers
// that keep a parsed value compare it to know whether theirs still holds.
quint64 generation();

// A number setting that a worker thread reads for every frame: each read
// gives what value(key, default).toUInt() gives at that moment, but a read
// that finds the store unchanged since the previous one takes neither the
// lock nor a copy. One reader belongs to one thread.
class NumberReader {
public:
    NumberReader(const QString &key, const QString &defaultValue);
    uint read();

private:
    QString m_key;
    QString m_default;
    quint64 m_seen = 0; // no generation is 0: the first read always looks
    uint m_value = 0;
};
}

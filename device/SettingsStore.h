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

QString path();
QMap<QString, QString> snapshot();
}

#pragma once
// A temporary run-time folder (config/, language/ with the compiled
// catalogues, help/, firmware/) that the program treats as its own folder.
#include "AppPaths.h"
#include "TestKit.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

class RuntimeFolder {
public:
    explicit RuntimeFolder(bool withCatalogues = true)
    {
        QDir root(m_dir.path());
        for (const char *sub : { "config", "language", "help/Chinese", "help/English", "firmware" })
            root.mkpath(QString::fromLatin1(sub));
        const QString built = QCoreApplication::applicationDirPath();
        if (withCatalogues) {
            for (const char *qm : { "CN.qm", "CNF.qm", "EN.qm" })
                QFile::copy(built + QStringLiteral("/language/") + QLatin1String(qm),
                    path(QStringLiteral("language/") + QLatin1String(qm)));
        }
        QFile::copy(built + QStringLiteral("/config/company.txt"), path(QStringLiteral("config/company.txt")));
        AppPaths::setAppDirForTests(m_dir.path());
    }
    ~RuntimeFolder() { AppPaths::setAppDirForTests(QString()); }

    QString path(const QString &relative = QString()) const
    {
        return relative.isEmpty() ? m_dir.path() : m_dir.path() + QLatin1Char('/') + relative;
    }

    void write(const QString &relative, const QByteArray &bytes) const { writeFile(path(relative), bytes); }
    QByteArray read(const QString &relative) const { return readFile(path(relative)); }

private:
    QTemporaryDir m_dir;
};

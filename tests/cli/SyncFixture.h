#pragma once

#include <QDir>
#include <QDirIterator>
#include <QProcessEnvironment>

#include <gmock/gmock.h>

#include "cli/CliRunner.h"
#include "common/FtpTestServer.h"
#include "common/TestFiles.h"

// A sync against servers that misbehave and local trees that are odd: whatever happens, nothing the user
// keeps may be lost.
class SyncSafety : public testing::Test
{
protected:
    void SetUp() override
    {
        m_strLocal = MakeTestFolder(QStringLiteral("safety-local"));
        m_strCache = MakeTestFolder(QStringLiteral("safety-cache"));
        m_environment = QProcessEnvironment::systemEnvironment();
        m_environment.insert(QStringLiteral("QUORVEL_PASSWORD"), QString::fromLatin1(CFtpTestServer::kPassword));
        m_environment.insert(QStringLiteral("XDG_CACHE_HOME"), m_strCache);
    }

    // Starts the server with its /site folder; a canned listing, when given, answers every LIST.
    void Start(const QStringList& arguments = {}, const QByteArray& cannedListing = {})
    {
        QStringList all = arguments;
        if (!cannedListing.isEmpty()) {
            const QString strCanned = MakeTestFolder(QStringLiteral("safety-canned")) + QStringLiteral("/list.txt");
            WriteFileBytes(strCanned, cannedListing);
            all << QStringLiteral("--canned-list") << strCanned;
        }
        ASSERT_TRUE(m_server.Start(CFtpTestServer::Kind::Pyftpdlib, all)) << m_server.Error().toStdString();
        QDir().mkpath(Remote(QString()));
    }

    QString Remote(const QString& strRelative) const { return m_server.Root() + QStringLiteral("/site") + strRelative; }
    QString Local(const QString& strRelative) const { return m_strLocal + strRelative; }

    QString Url(const QString& strUser = QString::fromLatin1(CFtpTestServer::kUser)) const
    {
        return QStringLiteral("ftp://") + strUser + QStringLiteral("@127.0.0.1:") + QString::number(m_server.Port())
            + QStringLiteral("/site");
    }

    CliRun Run(const QString& strCommand, const QStringList& options) const
    {
        return RunCli(QStringList { strCommand } + options + QStringList { m_strLocal, Url() }, m_environment);
    }

    QStringList WorkingFilesInMirror() const
    {
        QStringList found;
        QDirIterator files(m_strCache, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
        while (files.hasNext()) {
            const QString strPath = files.next();
            if (strPath.contains(QStringLiteral("$quorveldownload-"))) {
                found.append(strPath);
            }
        }
        return found;
    }

    CFtpTestServer m_server;
    QString m_strLocal;
    QString m_strCache;
    QProcessEnvironment m_environment;
};

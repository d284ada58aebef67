#pragma once

#include <QDir>

#include "common/FtpTestServer.h"
#include "ftp/FtpSession.h"
#include "ftp/TraceBuffer.h"
#include "support/LogFixture.h"

// A session against a real server on loopback, with the diagnostic log on so that every test can also
// check what reached the log.
class FtpSessionFixture : public LogFixture
{
protected:
    void SetUp() override
    {
        LogFixture::SetUp();
        m_strLog = NewLog(true);
    }

    bool StartServer(const QStringList& arguments = {}, CFtpTestServer::Kind kind = CFtpTestServer::Kind::Pyftpdlib)
    {
        if (!m_server.Start(kind, arguments)) {
            ADD_FAILURE() << m_server.Error().toStdString();
            return false;
        }
        QDir().mkpath(m_server.Root() + QStringLiteral("/pub"));
        WriteFileBytes(m_server.Root() + QStringLiteral("/pub/file.txt"), "remote contents\n");
        return true;
    }

    FtpSite Site(const QString& strFolder = QStringLiteral("/pub")) const
    {
        FtpSite site;
        site.strUrl = m_server.Url(strFolder);
        site.strUser = QString::fromLatin1(CFtpTestServer::kUser);
        site.strPassword = QString::fromLatin1(CFtpTestServer::kPassword);
        site.bPassive = true;
        site.nRetries = 3;
        site.nRetryDelaySeconds = 1;
        return site;
    }

    QStringList TraceTexts() const
    {
        QStringList texts;
        for (const TraceLine& line : m_trace.Lines()) {
            texts.append(line.strText);
        }
        return texts;
    }

    // Whether some trace line holds the text after its prefix and thread id.
    bool Traced(int nKind, const QString& strText) const
    {
        for (const TraceLine& line : m_trace.Lines()) {
            const qsizetype nIdEnd = line.strText.indexOf(QStringLiteral("] "));
            if (line.nKind == nKind && nIdEnd >= 0 && line.strText.mid(nIdEnd + 2) == strText) {
                return true;
            }
        }
        return false;
    }

    // The password must not be in anything the program wrote.
    void ExpectPasswordNowhere(const QStringList& moreTexts = {}) const
    {
        const QString strPassword = QString::fromLatin1(CFtpTestServer::kPassword);
        for (const QString& strText : TraceTexts() + moreTexts) {
            EXPECT_FALSE(strText.contains(strPassword)) << strText.toStdString();
        }
        EXPECT_FALSE(QString::fromLocal8Bit(ReadFileBytes(m_strLog)).contains(strPassword));
    }

    CFtpTestServer m_server;
    CTraceBuffer m_trace;
    QString m_strLog;
};

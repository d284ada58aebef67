#pragma once

#include <memory>

#include "app/QuorvelView.h"
#include "ftp/FtpSessionFixture.h"
#include "ftp/RemoteListing.h"
#include "support/SettingsStore.h"
#include "transfer/TransferList.h"
#include "tree/TreeOperations.h"

// Answers every question the same way and remembers what was asked.
class CFixedPrompt : public IConflictPrompt
{
public:
    explicit CFixedPrompt(ConflictAnswer answer)
        : m_answer(answer)
    { }
    ConflictAnswer AskReplace(const QString& strTarget, int) override
    {
        asked.append(strTarget);
        return m_answer;
    }
    QStringList asked;

private:
    ConflictAnswer m_answer;
};

// A comparison view over a local folder and the server's "/pub", with its session, mirror and tree.
class ViewFixture : public FtpSessionFixture
{
protected:
    // The server, the session and an empty local folder; files may be put on both sides before Compare().
    bool Start(const QStringList& arguments = {}, int nMaxConnections = 4)
    {
        CSettingsStore store;
        store.WriteInt("Settings", "MaxFtpConnections", nMaxConnections);
        store.WriteInt("Settings", "DeleteRowOfGoodXfer", 0);
        if (!store.Sync() || !StartServer(arguments)) {
            return false;
        }
        m_strLocal = MakeTestFolder(QStringLiteral("view-local"));
        m_pSession = std::make_unique<CFtpSession>(m_trace);
        return m_pSession->OpenFtpSite(Site(QStringLiteral("/pub")));
    }

    // Lists "/pub" into the mirror and compares it with the local folder (again).
    bool Compare()
    {
        CRemoteListing listing(*m_pSession, m_trace);
        MirrorOptions options;
        options.bRecursive = true;
        if (!listing.RemoteScan(QStringLiteral("/pub"), options, nullptr)) {
            return false;
        }
        if (!m_pView) {
            MakeView(listing.MirrorPathFor(QStringLiteral("/pub")));
        }
        return m_pView->Compare(2).bOk;
    }

    void MakeView(const QString& strMirror)
    {
        m_pView = std::make_unique<CQuorvelView>(
            *m_pSession, m_trace, m_list, ViewFolders { m_strLocal, strMirror, QStringLiteral("/pub") });
    }

    // The tree's item at a path such as "tree/sub/b.txt".
    CFileItem* Item(const QString& strRelative, int nKind = KIND_FILE) const
    {
        CFileItem* pItem = m_pView->Tree().Root();
        const QStringList parts = strRelative.split(QLatin1Char('/'));
        for (qsizetype i = 0; i < parts.size() && pItem != nullptr; ++i) {
            pItem = FindSibling(i + 1 == parts.size() ? nKind : KIND_DIR, parts[i], pItem->pFirstChild);
        }
        return pItem;
    }

    QString Remote(const QString& strPath) const { return m_server.Root() + strPath; }
    QString Local(const QString& strPath) const { return m_strLocal + strPath; }

    std::vector<QString> Statuses() const
    {
        std::vector<QString> statuses;
        for (const TransferRow& row : m_list.Rows()) {
            statuses.push_back(row.columns[COL_STATUS]);
        }
        return statuses;
    }

    QString m_strLocal;
    std::unique_ptr<CFtpSession> m_pSession;
    CTransferListView m_list;
    std::unique_ptr<CQuorvelView> m_pView;
};

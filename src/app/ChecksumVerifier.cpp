#include "app/ChecksumVerifier.h"

#include <memory>
#include <optional>
#include <vector>

#include <QFileInfo>
#include <QHash>

#include "ftp/FtpSession.h"
#include "ftp/MirrorDir.h"
#include "ftp/ServerChecksums.h"
#include "ftp/TraceBuffer.h"
#include "support/DiagnosticLog.h"
#include "support/SettingsStore.h"
#include "support/TextFormat.h"
#include "support/ThreadId.h"
#include "tree/FileItem.h"
#include "tree/FileTexts.h"
#include "tree/ItemComparer.h"
#include "tree/TreeDump.h"

namespace {

// A remembered checksum is one short line; anything longer is not ours.
constexpr int kRememberedMax = 128;

bool IsCandidate(const CFileItem& item)
{
    return item.kind == KIND_FILE && item.status == FILE_UNKNOWN && !item.strPaths[SIDE_LEFT].isEmpty()
        && !item.strPaths[SIDE_RIGHT].isEmpty() && item.strSize[SIDE_LEFT] == item.strSize[SIDE_RIGHT];
}

// The markers of one mirror folder by the file they stand beside, read once for all its candidates.
class CMarkerFolder
{
public:
    void Open(const QString& strFolder)
    {
        if (strFolder == m_strFolder) {
            return;
        }
        m_strFolder = strFolder;
        m_markers.clear();
        m_folder = CMirrorDir::OpenRoot(strFolder);
        if (!m_folder) {
            return;
        }
        for (const QString& strName : m_folder->Names()) {
            const std::optional<MarkerInfo> marker = ParseMarkerName(strName);
            // The scanner takes the greatest of two markers for one file; so does this.
            if (marker && (!m_markers.contains(marker->strFileName) || m_markers[marker->strFileName] < strName)) {
                m_markers.insert(marker->strFileName, strName);
            }
        }
    }

    [[nodiscard]] std::optional<std::pair<ChecksumAlgorithm, QString>> Remembered(const QString& strFile) const
    {
        if (!m_folder || !m_markers.contains(strFile)) {
            return std::nullopt;
        }
        const std::optional<QByteArray> text = m_folder->ReadSmallFile(m_markers.value(strFile), kRememberedMax);
        return text ? ParseRememberedChecksum(*text) : std::nullopt;
    }

    void Remember(const QString& strFile, ChecksumAlgorithm algorithm, const QString& strHex) const
    {
        if (m_folder && m_markers.contains(strFile)) {
            m_folder->RewriteFile(m_markers.value(strFile), RememberedChecksumText(algorithm, strHex));
        }
    }

private:
    QString m_strFolder;
    std::optional<CMirrorDir> m_folder;
    QHash<QString, QString> m_markers;
};

// The server side of a verification: one connection, borrowed when the first file needs it.
class CChecksumAsker
{
public:
    CChecksumAsker(CFtpSession& session, CTraceBuffer& trace, const std::atomic<bool>* pCancel)
        : m_session(session)
        , m_trace(trace)
        , m_pCancel(pCancel)
    { }

    ~CChecksumAsker()
    {
        if (m_pConnection) {
            m_session.ReleaseConnection(std::move(m_pConnection));
        }
    }
    CChecksumAsker(const CChecksumAsker&) = delete;
    CChecksumAsker& operator=(const CChecksumAsker&) = delete;

    // The server's checksum of a file of nSize bytes, or nothing; Usable() says whether to go on asking.
    std::optional<std::pair<ChecksumAlgorithm, QString>> Ask(const QString& strRemotePath, long long nSize)
    {
        if (!Prepare()) {
            return std::nullopt;
        }
        ++m_nAsked;
        const CurlOutcome outcome = m_pConnection->SendCommands({ ChecksumCommandFor(*m_method, strRemotePath) }, {});
        if (!outcome.bOk) {
            // A file the server will not checksum (550) leaves that file undecided; a command it does not know,
            // or a lost connection, ends the asking.
            const bool bUnknownCommand = outcome.nReplyCode == 500 || outcome.nReplyCode == 502;
            if (!outcome.bServerRefused || bUnknownCommand || outcome.nReplyCode == 421) {
                m_bUsable = false;
                if (bUnknownCommand) {
                    m_session.SetChecksumOffer(std::nullopt);
                }
            }
            return std::nullopt;
        }
        const std::optional<QString> hex
            = ParseChecksumReply(*m_method, m_pConnection->LastReplyLines().join(QLatin1Char('\n')), nSize);
        if (!hex) {
            m_trace.AddTraceLine(TRACE_ERROR,
                "The server's checksum of \"%s\" could not be read: %s; the file stays undecided.", strRemotePath,
                m_pConnection->LastReply());
            return std::nullopt;
        }
        return std::pair { m_method->algorithm, *hex };
    }

    [[nodiscard]] bool Usable() const { return m_bUsable; }
    [[nodiscard]] int Asked() const { return m_nAsked; }

private:
    // Borrows the connection, learns what the server offers (once per session) and picks the algorithm.
    bool Prepare()
    {
        if (m_pConnection || !m_bUsable) {
            return m_bUsable;
        }
        m_bUsable = false;
        std::optional<std::optional<ChecksumMethod>> offer = m_session.ChecksumOffer();
        if (offer && !*offer) {
            return false;
        }
        m_pConnection = m_session.AcquireConnection(m_pCancel);
        if (!m_pConnection) {
            m_trace.AddTraceText(
                TRACE_ERROR, QStringLiteral("No connection to ask the server for checksums; files stay undecided."));
            return false;
        }
        if (!offer) {
            const CurlOutcome feat = m_pConnection->SendCommands({ QStringLiteral("FEAT") }, {});
            offer = feat.bOk ? ChooseChecksumMethod(m_pConnection->LastReplyLines().join(QLatin1Char('\n')))
                             : std::nullopt;
            if (!feat.bOk && !feat.bServerRefused) {
                return false;
            }
            m_session.SetChecksumOffer(*offer);
        }
        if (!*offer) {
            m_trace.AddTraceText(TRACE_STATUS,
                QStringLiteral("The server offers no checksum of its files: files not downloaded stay undecided."));
            return false;
        }
        m_method = **offer;
        if (m_method->command == ChecksumCommand::Hash) {
            const CurlOutcome chosen = m_pConnection->SendCommands(
                { QStringLiteral("OPTS HASH ") + HashAlgorithmName(m_method->algorithm) }, {});
            if (!chosen.bOk) {
                return false;
            }
        }
        m_bUsable = true;
        return true;
    }

    CFtpSession& m_session;
    CTraceBuffer& m_trace;
    const std::atomic<bool>* m_pCancel;
    std::unique_ptr<CCurlConnection> m_pConnection;
    std::optional<ChecksumMethod> m_method;
    bool m_bUsable = true;
    int m_nAsked = 0;
};

void Decide(CFileItem* pItem, bool bSame, VerificationCounts& counts)
{
    pItem->status = bSame ? FILE_SAME : FILE_DIFF;
    pItem->nBasis = VerdictBasis::ServerChecksum;
    SetIconsFromStatus(pItem);
    ++(bSame ? counts.nSame : counts.nDiff);
    Log("CompareItem::[%ld] FILE %s [%s]: server checksum", CurrentThreadId(), FullName(*pItem, SIDE_LEFT),
        StatusText(*pItem));
}

} // namespace

CChecksumVerifier::CChecksumVerifier(CFtpSession& session, CTraceBuffer& trace)
    : m_session(session)
    , m_trace(trace)
{ }

VerificationCounts CChecksumVerifier::Verify(CFileItem* pRoot, const std::atomic<bool>* pCancel)
{
    VerificationCounts counts;
    std::vector<CFileItem*> candidates;
    for (CFileItem* pItem = pRoot->pFirstChild; pItem != nullptr; pItem = NextInPreOrder(pItem, pRoot)) {
        if (IsCandidate(*pItem)) {
            candidates.push_back(pItem);
        }
    }
    counts.nCandidates = static_cast<int>(candidates.size());
    if (candidates.empty()) {
        return counts;
    }
    CMarkerFolder markers;
    CChecksumAsker asker(m_session, m_trace, pCancel);
    int nDone = 0;
    for (CFileItem* pItem : candidates) {
        if (pCancel != nullptr && pCancel->load()) {
            break;
        }
        ++nDone;
        if (m_progress) {
            m_progress(FormatText("Checking %d / %d files by checksum: %s", nDone, counts.nCandidates, pItem->strName));
        }
        const QString strLocal = FullName(*pItem, SIDE_LEFT);
        markers.Open(pItem->strPaths[SIDE_RIGHT]);
        std::optional<std::pair<ChecksumAlgorithm, QString>> remote = markers.Remembered(pItem->strName);
        if (remote) {
            ++counts.nRemembered;
        } else if (asker.Usable()) {
            remote = asker.Ask(JoinPath(pItem->strShowPaths[SIDE_RIGHT], pItem->strName), QFileInfo(strLocal).size());
            if (remote) {
                markers.Remember(pItem->strName, remote->first, remote->second);
            }
        }
        if (!remote) {
            continue;
        }
        const std::optional<QString> strLocalSum = LocalChecksum(strLocal, remote->first);
        if (strLocalSum) {
            Decide(pItem, *strLocalSum == remote->second, counts);
        }
    }
    counts.nAsked = asker.Asked();
    if (counts.nAsked > 0 || counts.nRemembered > 0) {
        m_trace.AddTraceLine(TRACE_STATUS,
            "Checksums decided %d of %d files not downloaded: %d the same, %d different (%d asked of the server).",
            counts.nSame + counts.nDiff, counts.nCandidates, counts.nSame, counts.nDiff, counts.nAsked);
    }
    return counts;
}

bool ServerChecksumsEnabled()
{
    return CSettingsStore().ReadInt("Settings", "UseServerChecksums") != 0;
}

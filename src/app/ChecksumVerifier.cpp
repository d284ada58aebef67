#include "app/ChecksumVerifier.h"

#include <memory>
#include <optional>
#include <system_error>
#include <thread>
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

// Connections beyond the first that a verification borrows, when the site has them free.
constexpr size_t kMaxHelpers = 3;

// A remembered checksum is one short line; anything longer is not ours.
constexpr int kRememberedMax = 128;

bool IsCandidate(const CFileItem& item)
{
    return item.kind == KIND_FILE && item.status == FILE_UNKNOWN && !item.strPaths[SIDE_LEFT].IsEmpty()
        && !item.strPaths[SIDE_RIGHT].IsEmpty() && item.strSize[SIDE_LEFT] == item.strSize[SIDE_RIGHT];
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
    // An asker never waits for a connection that transfers hold: the files then stay undecided, and only
    // the first asker (bFirst) says so.
    CChecksumAsker(CFtpSession& session, CTraceBuffer& trace, bool bFirst)
        : m_session(session)
        , m_trace(trace)
        , m_bFirst(bFirst)
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
    // Whether a file can be asked about now: the connection borrowed and the algorithm chosen.
    bool Ready() { return Prepare(); }
    [[nodiscard]] int Asked() const { return m_nAsked; }

private:
    void SayNoneOffered()
    {
        if (m_bFirst) {
            m_trace.AddTraceText(TRACE_STATUS,
                QStringLiteral("The server offers no checksum of its files: files not downloaded stay undecided."));
        }
    }

    // Borrows the connection, learns what the server offers (once per session) and picks the algorithm.
    bool Prepare()
    {
        if (m_pConnection || !m_bUsable) {
            return m_bUsable;
        }
        m_bUsable = false;
        std::optional<std::optional<ChecksumMethod>> offer = m_session.ChecksumOffer();
        if (offer && !*offer) {
            SayNoneOffered();
            return false;
        }
        m_pConnection = m_session.AcquireConnection(&m_bGiveUp, [this] { m_bGiveUp = true; });
        if (!m_pConnection) {
            if (m_bFirst) {
                m_trace.AddTraceText(TRACE_ERROR,
                    QStringLiteral("No connection is free to ask the server for checksums; files stay undecided."));
            }
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
            SayNoneOffered();
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
    std::atomic<bool> m_bGiveUp { false };
    bool m_bFirst;
    std::unique_ptr<CCurlConnection> m_pConnection;
    std::optional<ChecksumMethod> m_method;
    bool m_bUsable = true;
    int m_nAsked = 0;
};

// What the threads of one verification share: the files still to ask about, and the tallies.
struct SharedWork
{
    std::vector<CFileItem*> items;
    std::atomic<size_t> nNext { 0 };
    std::atomic<int> nSame { 0 };
    std::atomic<int> nDiff { 0 };
    std::atomic<int> nAsked { 0 };
};

void Decide(CFileItem* pItem, bool bSame, SharedWork& work)
{
    pItem->status = bSame ? FILE_SAME : FILE_DIFF;
    pItem->nBasis = VerdictBasis::ServerChecksum;
    SetIconsFromStatus(pItem);
    ++(bSame ? work.nSame : work.nDiff);
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
    SharedWork work;
    const auto cancelled = [pCancel] { return pCancel != nullptr && pCancel->load(); };
    // What the mirror remembers needs no server; the rest is asked for below.
    CMarkerFolder markers;
    for (CFileItem* pItem = pRoot->pFirstChild; pItem != nullptr && !cancelled();
         pItem = NextInPreOrder(pItem, pRoot)) {
        if (!IsCandidate(*pItem)) {
            continue;
        }
        ++counts.nCandidates;
        markers.Open(pItem->strPaths[SIDE_RIGHT]);
        const std::optional<std::pair<ChecksumAlgorithm, QString>> remote = markers.Remembered(pItem->strName);
        const std::optional<QString> strLocal
            = remote ? LocalChecksum(FullName(*pItem, SIDE_LEFT), remote->first) : std::nullopt;
        if (strLocal) {
            ++counts.nRemembered;
            Decide(pItem, *strLocal == remote->second, work);
        } else {
            work.items.push_back(pItem);
        }
    }

    const auto askEach = [&](CChecksumAsker& asker, bool bReport) {
        const int nAskedBefore = asker.Asked();
        CMarkerFolder folder;
        // A file is taken only by an asker that is ready, so that no file is lost to one that gives up.
        while (!cancelled() && asker.Ready()) {
            const size_t i = work.nNext++;
            if (i >= work.items.size()) {
                break;
            }
            CFileItem* pItem = work.items[i];
            if (bReport && m_progress) {
                m_progress(FormatText("Asking the server for checksums: %d / %d files...", static_cast<int>(i + 1),
                    static_cast<int>(work.items.size())));
            }
            const QString strLocal = FullName(*pItem, SIDE_LEFT);
            const std::optional<std::pair<ChecksumAlgorithm, QString>> remote
                = asker.Ask(JoinPath(pItem->strShowPaths[SIDE_RIGHT], pItem->strName), QFileInfo(strLocal).size());
            if (!remote) {
                continue;
            }
            folder.Open(pItem->strPaths[SIDE_RIGHT]);
            folder.Remember(pItem->strName, remote->first, remote->second);
            if (const std::optional<QString> strLocalSum = LocalChecksum(strLocal, remote->first)) {
                Decide(pItem, *strLocalSum == remote->second, work);
            }
        }
        work.nAsked += asker.Asked() - nAskedBefore;
    };
    if (!work.items.empty() && !cancelled()) {
        CChecksumAsker asker(m_session, m_trace, true);
        // The first file is asked alone: it learns, once for the session, what the server offers.
        const std::vector<CFileItem*> all = std::move(work.items);
        work.items.assign(all.begin(), all.begin() + 1);
        askEach(asker, true);
        work.items = all;
        work.nNext = 1;
        // Then more connections share the rest, as many as the site allows without waiting for one.
        std::vector<std::thread> helpers;
        for (size_t nHelper = 0; nHelper < kMaxHelpers && asker.Usable() && all.size() > 8 * (nHelper + 1); ++nHelper) {
            try {
                helpers.emplace_back([&] {
                    CChecksumAsker helper(m_session, m_trace, false);
                    askEach(helper, false);
                });
            } catch (const std::system_error&) {
                break; // no more threads to be had: the ones there are finish the work
            }
        }
        askEach(asker, true);
        for (std::thread& helper : helpers) {
            helper.join();
        }
    }
    counts.nSame = work.nSame;
    counts.nDiff = work.nDiff;
    counts.nAsked = work.nAsked;
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

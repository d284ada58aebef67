#pragma once

#include <atomic>
#include <functional>

#include <QString>

struct CFileItem;
class CFtpSession;
class CTraceBuffer;

// What one verification did.
struct VerificationCounts
{
    int nCandidates = 0; // undecided files on both sides whose sizes agree
    int nRemembered = 0; // decided by a checksum the mirror kept from an earlier run
    int nAsked = 0; // checksums asked of the server
    int nSame = 0;
    int nDiff = 0;
    [[nodiscard]] int Undecided() const { return nCandidates - nSame - nDiff; }
};

// Decides, after a comparison, the files it left undecided (on both sides with the same size, the FTP copy
// not downloaded) by the server's checksum of its file against the same checksum of the local one. The
// server is asked only where the mirror does not remember the checksum for the file's size and date; what
// it answers is kept in the file's marker. Any doubt leaves a file undecided.
class CChecksumVerifier
{
public:
    CChecksumVerifier(CFtpSession& session, CTraceBuffer& trace);

    void SetProgress(std::function<void(const QString&)> progress) { m_progress = std::move(progress); }

    // Works through the tree below pRoot; the caller holds whatever guards it. Stops at the next file once
    // *pCancel is set.
    VerificationCounts Verify(CFileItem* pRoot, const std::atomic<bool>* pCancel);

private:
    CFtpSession& m_session;
    CTraceBuffer& m_trace;
    std::function<void(const QString&)> m_progress;
};

// Whether server checksums are used: the "UseServerChecksums" setting.
bool ServerChecksumsEnabled();

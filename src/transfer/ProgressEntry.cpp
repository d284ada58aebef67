#include "transfer/ProgressEntry.h"

CProgressEntry::CProgressEntry(int nRowIndex, std::int64_t nTotalBytes, long nThread)
    : nRow(nRowIndex)
    , nOwnerThread(nThread)
{
    SetTotal(nTotalBytes);
}

void CProgressEntry::SetTotal(std::int64_t nTotalBytes)
{
    nTotal = nTotalBytes;
    nStep = nTotalBytes / 100 > 0 ? nTotalBytes / 100 : 1;
}

void CProgressEntry::Advance(std::int64_t nBytes)
{
    nDone += nBytes > 0 ? nBytes : nStep;
    if (nDone > nTotal) {
        nDone = nTotal;
    }
    dPercent = static_cast<double>(nDone) / static_cast<double>(nStep);
    nBarPosition = static_cast<int>(nDone / nStep);
    bBarVisible = true;
}

void CProgressEntry::SetPosition(std::int64_t nPosition)
{
    dPercent = static_cast<double>(nPosition) / static_cast<double>(nStep);
    nBarPosition = static_cast<int>(nPosition / nStep);
}

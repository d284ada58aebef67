#pragma once

#include <atomic>
#include <cstdint>

// The progress of one live job: what it expects to move, what it has moved, and whether it was asked to
// stop. The bar is data here (a position from 0 to 100 over the row's Status cell); a view draws it.
struct CProgressEntry
{
    CProgressEntry(int nRowIndex, std::int64_t nTotalBytes, long nThread);

    int nRow = -1; // the row at creation; -1 marks a record that is no longer usable
    int nBarColumn = 1; // the bar lies over the Status column
    int nBarPosition = 0; // 0..100 as a rule; a total under 100 bytes never fills the bar
    bool bBarVisible = false;
    double dPercent = 0.0;
    std::int64_t nTotal = 0;
    long nOwnerThread = 0;
    std::atomic<bool> bCancelled { false };
    std::int64_t nStep = 1; // total / 100, at least 1
    std::int64_t nDone = 0;

    // Adds bytes (one step for 0), never past the total, and moves the bar.
    void Advance(std::int64_t nBytes);
    void SetPosition(std::int64_t nPosition);
    // A new total, before any bytes have moved.
    void SetTotal(std::int64_t nTotalBytes);
};

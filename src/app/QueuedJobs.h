#pragma once

#include <functional>

class CQuorvelView;
struct DropHandOver;

// What a comparison view's queue workers run. A job of the transfer list runs its transfer, refreshes the
// tree when it completes, ends in its row, and tells whenDone its result (TRANSFER_DONE ...). A job run again
// (bAgain) counts its bytes and takes its folder plan from the tree first, and says so in the trace.
void RunListedJob(CQuorvelView& view, int nJobId, bool bAgain, const std::function<void(int)>& whenDone);
// Dropped or pasted files copied into a local folder: no connection and no row; the trace says what failed.
void CopyDroppedLocally(CQuorvelView& view, const DropHandOver& drop);

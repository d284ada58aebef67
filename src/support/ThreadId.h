#pragma once

// The operating system's id of the calling thread, as log and trace lines show it in "[%ld]".
long CurrentThreadId();

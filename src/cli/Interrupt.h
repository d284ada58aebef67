#pragma once

#include <atomic>

// Ctrl-C (SIGINT) and SIGTERM cancel the work under way instead of killing the program, so that
// working files are removed and targets are left as they were. The flag is polled by listings and jobs.
void InstallInterruptHandlers();
const std::atomic<bool>& InterruptFlag();
[[nodiscard]] bool WasInterrupted();

#include "cli/Interrupt.h"

#include <csignal>

namespace {

std::atomic<bool> g_bInterrupted { false };

void OnInterrupt(int)
{
    g_bInterrupted.store(true);
}

} // namespace

void InstallInterruptHandlers()
{
    struct sigaction action
    { };
    action.sa_handler = OnInterrupt;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

const std::atomic<bool>& InterruptFlag()
{
    return g_bInterrupted;
}

bool WasInterrupted()
{
    return g_bInterrupted.load();
}

#include "support/ThreadId.h"

#if defined(_WIN32)
#include <windows.h>
#elif defined(__APPLE__)
#include <pthread.h>
#else
#include <unistd.h>
#endif

long CurrentThreadId()
{
#if defined(_WIN32)
    return static_cast<long>(GetCurrentThreadId());
#elif defined(__APPLE__)
    uint64_t id = 0;
    pthread_threadid_np(nullptr, &id);
    return static_cast<long>(id);
#else
    // Cached per thread: the id never changes, and loggers ask for it on every line.
    thread_local const long id = static_cast<long>(gettid());
    return id;
#endif
}

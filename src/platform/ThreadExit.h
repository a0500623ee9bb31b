#ifndef KPXML_PLATFORM_THREADEXIT_H
#define KPXML_PLATFORM_THREADEXIT_H

// A call made when a thread ends, from storage the system keeps for the thread (a POSIX thread
// key, a Windows fiber-local slot) rather than from the program's thread_local variables, which
// where thread storage is emulated (mingw-w64) may already be gone by then.

namespace KpXml::detail::platform {

struct ThreadExitCall {
    void (*function)(void* argument);
    void* argument;
};

// Arranges for call->function(call->argument) to run once when the calling thread ends; call must
// stay valid until then. One call per thread (a later one replaces it). Returns false when the
// system has no room for it; nothing is arranged then. The process's main thread, ending with the
// process, may not make its call.
bool callAtThreadExit(ThreadExitCall* call);

}  // namespace KpXml::detail::platform

#endif  // KPXML_PLATFORM_THREADEXIT_H

#ifndef KPXML_PLATFORM_THREADEXIT_H
#define KPXML_PLATFORM_THREADEXIT_H

// A call made when a thread ends, kept in the system's own records of the thread (a thread key,
// and where the program's thread storage is emulated, a slot of the system's) rather than in the
// program's thread_local variables. Where thread storage is emulated (mingw-w64), the threads
// library frees a thread's thread_local variables among its first steps at the thread's end, and
// any use after that makes them again with their initial values: what a thread has set up must be
// found, and its end told, without them.

namespace KpXml::detail::platform {

// A call made when a thread ends: part of the object that it ends (a class derived from this
// one), which function finds from call.
struct ThreadExitCall {
    void (*function)(ThreadExitCall* call);
};

// Arranges for call->function(call) to run once when the calling thread ends; call must
// stay valid until then. One call per thread (a later one replaces it). The call runs among the
// threads library's own calls at the thread's end, so a thread_local variable it sets is freed
// with the rest of the thread's storage, even one made again by that use. Returns false, arranging
// nothing, when the system has no room for it or when the thread's call has already been made.
// The process's main thread, ending with the process, may not make its call.
bool callAtThreadExit(ThreadExitCall* call);

// The call arranged on the calling thread that has not been made yet; null when there is none.
ThreadExitCall* arrangedThreadExitCall();

// Whether the calling thread's end has made its call (it is ending); false before, and on a thread
// that arranged none.
bool threadExitCallMade();

}  // namespace KpXml::detail::platform

#endif  // KPXML_PLATFORM_THREADEXIT_H

#include "platform/ThreadExit.h"

#include <pthread.h>

#include "platform/win32/WindowsApi.h"

namespace KpXml::detail::platform {
namespace {

// The calls are made from a key of the threads library (winpthreads), whose destructors run with
// the one that frees the emulated thread storage: a thread_local variable set by a call and so made
// again is freed again in the library's next round. A fiber-local slot's callback would come after
// the last round on a thread the library started (leaving that storage behind), and would run when
// a fiber rather than the thread ends. That the call was made is kept in a Windows thread-local
// slot, which lasts until the thread is gone: the thread storage is no place for it.
void runCall(void* value);

struct ExitKey {
    pthread_key_t key{};
    DWORD madeSlot = TlsAlloc();
    bool made = madeSlot != TLS_OUT_OF_INDEXES && pthread_key_create(&key, &runCall) == 0;
};

// The key and the slot, made on the first use, for the life of the process.
const ExitKey& exitKey() {
    static const ExitKey key;
    return key;
}

// The value of the slot once the thread's call is made.
char callMadeMark;

void runCall(void* value) {
    TlsSetValue(exitKey().madeSlot, &callMadeMark);
    auto* const call = static_cast<ThreadExitCall*>(value);
    call->function(call);
}

}  // namespace

bool callAtThreadExit(ThreadExitCall* call) {
    const ExitKey& key = exitKey();
    return key.made && !threadExitCallMade() && pthread_setspecific(key.key, call) == 0;
}

ThreadExitCall* arrangedThreadExitCall() {
    const ExitKey& key = exitKey();
    return key.made ? static_cast<ThreadExitCall*>(pthread_getspecific(key.key)) : nullptr;
}

bool threadExitCallMade() {
    const ExitKey& key = exitKey();
    return key.made && TlsGetValue(key.madeSlot) == &callMadeMark;
}

}  // namespace KpXml::detail::platform

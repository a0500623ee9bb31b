#include "platform/ThreadExit.h"

#include <pthread.h>

namespace KpXml::detail::platform {
namespace {

// Set when the thread's call is made. Native thread storage lasts until the thread is gone, after
// its keys' destructors.
thread_local bool callMade = false;

void runCall(void* value) {
    callMade = true;
    auto* const call = static_cast<ThreadExitCall*>(value);
    call->function(call);
}

// The key whose destructor makes the calls, made on the first use, for the life of the process.
struct ExitKey {
    pthread_key_t key{};
    bool made = pthread_key_create(&key, &runCall) == 0;
};

const ExitKey& exitKey() {
    static const ExitKey key;
    return key;
}

}  // namespace

bool callAtThreadExit(ThreadExitCall* call) {
    const ExitKey& key = exitKey();
    return key.made && !callMade && pthread_setspecific(key.key, call) == 0;
}

ThreadExitCall* arrangedThreadExitCall() {
    const ExitKey& key = exitKey();
    return key.made ? static_cast<ThreadExitCall*>(pthread_getspecific(key.key)) : nullptr;
}

bool threadExitCallMade() {
    return callMade;
}

}  // namespace KpXml::detail::platform

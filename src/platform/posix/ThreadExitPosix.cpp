#include "platform/ThreadExit.h"

#include <pthread.h>

namespace KpXml::detail::platform {
namespace {

void runCall(void* value) {
    const auto* call = static_cast<const ThreadExitCall*>(value);
    call->function(call->argument);
}

}  // namespace

bool callAtThreadExit(ThreadExitCall* call) {
    struct Key {
        pthread_key_t key{};
        bool made = pthread_key_create(&key, &runCall) == 0;
    };
    static const Key key;  // for the life of the process
    return key.made && pthread_setspecific(key.key, call) == 0;
}

}  // namespace KpXml::detail::platform

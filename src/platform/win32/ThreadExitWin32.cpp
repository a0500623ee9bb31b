#include "platform/ThreadExit.h"

#include "platform/win32/WindowsApi.h"

namespace KpXml::detail::platform {
namespace {

void WINAPI runCall(void* value) {
    if (value == nullptr) return;
    const auto* call = static_cast<const ThreadExitCall*>(value);
    call->function(call->argument);
}

}  // namespace

bool callAtThreadExit(ThreadExitCall* call) {
    static const DWORD slot = FlsAlloc(&runCall);  // for the life of the process
    return slot != FLS_OUT_OF_INDEXES && FlsSetValue(slot, call) != FALSE;
}

}  // namespace KpXml::detail::platform

// The parts of the file layer that are the same on every platform: the replacement of a target
// built on each platform's move, the copy loop, and the seam through which tests make a step fail.

#include "platform/Files.h"

#include <atomic>
#include <memory>
#include <mutex>

#include "platform/FileFaults.h"

namespace KpXml::detail::platform {
namespace {

constexpr std::size_t copyChunk = 64 * 1024;

struct Recording {
    std::atomic<bool> active{false};
    std::mutex mutex;
    std::size_t failingStep = 0;
    bool otherDevice = false;
    std::string steps;
};

Recording& recording() {
    static Recording instance;
    return instance;
}

// Moves from over to, once as the test seam asks: a refused move, or one to another device.
MoveResult moveChecked(const char* from, const char* to, bool mayBeOtherDevice) {
    if (FileFaults::fails(FileStep::rename)) return MoveResult::failed;
    if (mayBeOtherDevice && FileFaults::forcesOtherDevice()) return MoveResult::otherDevice;
    return moveReplacing(from, to);
}

// Across file systems a move is a copy: into a second temporary file beside target, which the
// same atomic move then puts in place. The original stays until that has succeeded.
bool replaceAcrossDevices(const char* temporary, const char* target) {
    std::string beside;
    NativeFile copy;
    if (!createTemporaryFile(directoryOf(target), beside, copy)) return false;
    NativeFile source;
    bool copied = source.openForRead(temporary) && copyContent(source, copy) && copy.flushToDisk();
    copy.takePermissionsOf(target);
    copied = copy.close() && copied;
    if (copied && moveChecked(beside.c_str(), target, false) == MoveResult::moved) {
        syncDirectoryOf(target);
        source.close();
        deleteFile(temporary);
        return true;
    }
    deleteFile(beside.c_str());
    return false;
}

}  // namespace

void FileFaults::start(std::size_t failingStep, bool otherDevice) {
    Recording& state = recording();
    const std::lock_guard<std::mutex> lock(state.mutex);
    state.failingStep = failingStep;
    state.otherDevice = otherDevice;
    state.steps.clear();
    state.active = true;
}

std::string FileFaults::stop() {
    Recording& state = recording();
    const std::lock_guard<std::mutex> lock(state.mutex);
    state.active = false;
    return std::move(state.steps);
}

bool FileFaults::fails(FileStep step) {
    Recording& state = recording();
    if (!state.active) return false;
    const std::lock_guard<std::mutex> lock(state.mutex);
    state.steps += static_cast<char>(step);
    return state.steps.size() == state.failingStep;
}

bool FileFaults::forcesOtherDevice() {
    Recording& state = recording();
    if (!state.active) return false;
    const std::lock_guard<std::mutex> lock(state.mutex);
    return state.otherDevice;
}

NativeFile& NativeFile::operator=(NativeFile&& other) noexcept {
    if (this != &other) {
        close();
        handle = other.handle;
        forWriting = other.forWriting;
        other.handle = closedHandle;
    }
    return *this;
}

bool NativeFile::write(const char* data, std::size_t size) {
    return isOpen() && !FileFaults::fails(FileStep::write) && writeAll(data, size);
}

bool NativeFile::flushToDisk() { return isOpen() && !FileFaults::fails(FileStep::flushToDisk) && syncToDisk(); }

bool NativeFile::close() {
    if (!isOpen()) return false;
    const bool failing = forWriting && FileFaults::fails(FileStep::close);
    return closeHandle() && !failing;  // closed either way
}

bool copyContent(NativeFile& from, NativeFile& to) {
    const std::unique_ptr<char[]> chunk(new char[copyChunk]);
    for (;;) {
        if (FileFaults::fails(FileStep::copy)) return false;
        const std::ptrdiff_t count = from.read(chunk.get(), copyChunk);
        if (count == 0) return true;
        if (count < 0 || !to.write(chunk.get(), static_cast<std::size_t>(count))) return false;
    }
}

bool replaceFile(const char* temporary, const char* target) {
    // Checked first: a move would replace a read-only file (POSIX's rename, Wine's MoveFileExA).
    if (isReadOnly(target)) return false;
    switch (moveChecked(temporary, target, true)) {
        case MoveResult::moved:
            syncDirectoryOf(target);
            return true;
        case MoveResult::otherDevice:
            return replaceAcrossDevices(temporary, target);
        case MoveResult::failed:
            break;
    }
    return false;
}

}  // namespace KpXml::detail::platform

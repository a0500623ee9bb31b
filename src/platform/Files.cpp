// The parts of the file layer that are the same on every platform: one save from preparing its
// output to replacing the target, the copy loop, the library's own reasons, and the seam through
// which tests make a step fail.

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
    bool besideRefused = false;
    std::string steps;
};

Recording& recording() {
    static Recording instance;
    return instance;
}

class SaveErrorCategory : public std::error_category {
public:
    const char* name() const noexcept override { return "kpxml.save"; }
    std::string message(int value) const override {
        return static_cast<SaveError>(value) == SaveError::readOnlyFile ? "read-only file" : "unknown save error";
    }
    std::error_condition default_error_condition(int value) const noexcept override {
        if (static_cast<SaveError>(value) == SaveError::readOnlyFile) return std::errc::permission_denied;
        return std::error_condition(value, *this);
    }
};

// A refusal that every file in the directory would meet, so that a temporary file elsewhere
// could never be moved there either: a missing directory, a name too long, a read-only file system.
bool refusesEveryFile(const std::error_code& error) {
    return error == std::errc::no_such_file_or_directory || error == std::errc::not_a_directory ||
           error == std::errc::filename_too_long || error == std::errc::read_only_file_system;
}

}  // namespace

const std::error_category& saveErrorCategory() {
    static const SaveErrorCategory category;
    return category;
}

std::error_code makeErrorCode(SaveError reason) { return {static_cast<int>(reason), saveErrorCategory()}; }

void FileFaults::start(std::size_t failingStep, bool besideRefused) {
    Recording& state = recording();
    const std::lock_guard<std::mutex> lock(state.mutex);
    state.failingStep = failingStep;
    state.besideRefused = besideRefused;
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

bool FileFaults::refusesBeside() {
    Recording& state = recording();
    if (!state.active) return false;
    const std::lock_guard<std::mutex> lock(state.mutex);
    return state.besideRefused;
}

std::error_code FileFaults::errorOf(FileStep step) {
    switch (step) {
        case FileStep::write:
            return std::make_error_code(std::errc::no_space_on_device);
        case FileStep::rename:
            return std::make_error_code(std::errc::device_or_resource_busy);
        case FileStep::flushToDisk:
        case FileStep::close:
        case FileStep::copy:
            break;
    }
    return std::make_error_code(std::errc::io_error);
}

NativeFile& NativeFile::operator=(NativeFile&& other) noexcept {
    if (this != &other) {
        close();
        handle = other.handle;
        forWriting = other.forWriting;
        nameless = other.nameless;
        failure = other.failure;
        other.handle = closedHandle;
    }
    return *this;
}

bool NativeFile::adopt(std::intptr_t opened, bool writing) {
    if (opened == closedHandle) return fail(lastSystemError());
    handle = opened;
    forWriting = writing;
    nameless = false;
    failure.clear();
    return true;
}

bool NativeFile::write(const char* data, std::size_t size) {
    if (!isOpen()) return false;
    if (FileFaults::fails(FileStep::write)) return fail(FileFaults::errorOf(FileStep::write));
    return writeAll(data, size) || fail(lastSystemError());
}

bool NativeFile::flushToDisk() {
    if (!isOpen()) return false;
    if (FileFaults::fails(FileStep::flushToDisk)) return fail(FileFaults::errorOf(FileStep::flushToDisk));
    return syncToDisk() || fail(lastSystemError());
}

bool NativeFile::close() {
    if (!isOpen()) return false;
    const bool failing = forWriting && FileFaults::fails(FileStep::close);
    if (!closeHandle()) return fail(lastSystemError());  // closed either way
    return !failing || fail(FileFaults::errorOf(FileStep::close));
}

bool copyContent(NativeFile& from, NativeFile& to, std::error_code& error) {
    const std::unique_ptr<char[]> chunk(new char[copyChunk]);
    for (;;) {
        if (FileFaults::fails(FileStep::copy)) {
            error = FileFaults::errorOf(FileStep::copy);
            return false;
        }
        const std::ptrdiff_t count = from.read(chunk.get(), copyChunk);
        if (count == 0) return true;
        if (count < 0) {
            error = from.error();
            return false;
        }
        if (!to.write(chunk.get(), static_cast<std::size_t>(count))) {
            error = to.error();
            return false;
        }
    }
}

bool isPathTooLong(const std::string& path) {
    if (path.size() >= maxPathBuffer) return true;
    std::size_t name = 0;
    for (const char c : path) {
        name = isPathSeparator(c) ? 0 : name + 1;
        if (name > maxNameLength) return true;
    }
    return false;
}

bool SaveFile::open(const std::string& target, NativeFile& file, std::error_code& error) {
    discard();
    error.clear();
    if (!resolveTarget(target, resolved, kind, error)) return false;
    if (kind == TargetKind::special) {
        if (!file.openInPlace(resolved.c_str())) {
            error = file.error();
            return false;
        }
        output = resolved;
        return true;
    }
    std::string path;
    if (FileFaults::refusesBeside()) {
        error = std::make_error_code(std::errc::permission_denied);
        beside = false;
    } else {
        beside = createTemporaryFile(directoryOf(resolved), path, file, error);
    }
    if (!beside) {
        // Only a directory that exists but refuses a new file sends the output elsewhere; the
        // file is copied back beside the target at the commit. The first refusal is the reason.
        std::string temporaryDirectory;
        std::error_code elsewhere;
        if (refusesEveryFile(error) || !getTemporaryDirectory(temporaryDirectory) ||
            !createTemporaryFile(temporaryDirectory, path, file, elsewhere)) {
            return false;
        }
        error.clear();
    }
    output = path;
    if (!file.isNameless()) named = path;
    return true;
}

void SaveFile::discard() {
    if (!named.empty()) removeTemporaryFile(named);
    named.clear();
    output.clear();
}

bool SaveFile::commit(NativeFile& file, std::error_code& error) {
    bool saved;
    if (isInPlace()) {
        saved = file.close();
        if (!saved) error = file.error();
    } else if (beside) {
        saved = finish(file, directoryOf(resolved), output, named, error) && replaceTarget(named, error);
    } else {
        saved = commitCopy(file, error);
    }
    file.close();
    if (saved && beside) named.clear();  // it is the target now
    discard();
    return saved;
}

bool SaveFile::finish(NativeFile& file, const std::string& directory, const std::string& path, std::string& name,
                      std::error_code& error) {
    // On the disk before the file takes the target's name: a crash then leaves the old or the new.
    // The file stays private (0600) until this last step before the move.
    if (!file.flushToDisk() || !file.takeMetadataOf(kind == TargetKind::regular ? resolved : std::string(), directory)) {
        error = file.error();
        return false;
    }
    // Checked again: the target may have become read-only since the save began, and a move would
    // replace a read-only file (POSIX's rename, Wine's MoveFileExA). Before the naming, so that
    // as little as possible comes between the naming and the move.
    if (isReadOnly(resolved.c_str())) {
        error = makeErrorCode(SaveError::readOnlyFile);
        return false;
    }
    if (file.isNameless()) {
        std::string given = path;
        if (!nameTemporaryFile(file, directory, given, error)) return false;
        name = std::move(given);
    }
    if (!file.close()) {
        error = file.error();
        return false;
    }
    return true;
}

bool SaveFile::replaceTarget(const std::string& temporary, std::error_code& error) {
    if (FileFaults::fails(FileStep::rename)) {
        error = FileFaults::errorOf(FileStep::rename);
        return false;
    }
    if (!moveReplacing(temporary.c_str(), resolved.c_str(), kind == TargetKind::regular, error)) return false;
    syncDirectoryOf(resolved);
    return true;
}

bool SaveFile::commitCopy(NativeFile& file, std::error_code& error) {
    const std::string directory = directoryOf(resolved);
    NativeFile copy;
    std::string path;
    if (!createTemporaryFile(directory, path, copy, error)) return false;
    std::string copyName = copy.isNameless() ? std::string() : path;
    if (!file.seekToStart()) {
        error = file.error();
    } else if (copyContent(file, copy, error)) {
        // The first file has served; an error closing it counts, as every failed close does.
        if (!file.close()) {
            error = file.error();
        } else if (finish(copy, directory, path, copyName, error) && replaceTarget(copyName, error)) {
            return true;
        }
    }
    copy.close();
    if (!copyName.empty()) removeTemporaryFile(copyName);
    return false;
}

}  // namespace KpXml::detail::platform

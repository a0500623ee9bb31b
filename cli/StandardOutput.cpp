// Standard output whose every write is checked.
#include "StandardOutput.h"

#include <cerrno>
#include <cstring>
#include <iostream>

#include "Terminal.h"

namespace kpxmlcli {

namespace {

constexpr std::size_t bufferSize = 64 * 1024;

}  // namespace

StandardOutput::StandardOutput() : buffer(bufferSize) {
    setp(buffer.data(), buffer.data() + buffer.size());
}

int StandardOutput::finish() {
    flushBuffer();
    return error;
}

StandardOutput::int_type StandardOutput::overflow(int_type c) {
    if (!flushBuffer()) return traits_type::eof();
    if (!traits_type::eq_int_type(c, traits_type::eof())) {
        *pptr() = traits_type::to_char_type(c);
        pbump(1);
    }
    return traits_type::not_eof(c);
}

int StandardOutput::sync() {
    return flushBuffer() ? 0 : -1;
}

bool StandardOutput::flushBuffer() {
    const std::size_t size = static_cast<std::size_t>(pptr() - pbase());
    if (error == 0 && size > 0) error = writeStandardOutput(pbase(), size);
    setp(buffer.data(), buffer.data() + buffer.size());
    return error == 0;
}

int finishOutput(StandardOutput& output, int status) {
    std::cout.flush();
    const int error = output.finish();
    if (error == 0) return status;
    if (error != EPIPE) std::cerr << "kpxml: write error: " << std::strerror(error) << "\n";
    return 1;
}

}  // namespace kpxmlcli

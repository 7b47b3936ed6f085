#include "StandardOutput.h"

#include <hastool/base/ToolError.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <poll.h>
#include <unistd.h>

namespace hastool {
namespace {

/// Whether the reader has gone: poll() then reports an error at once.
bool isClosedPipe() {
    pollfd output{STDOUT_FILENO, POLLOUT, 0};
    return poll(&output, 1, 0) == 1 && (output.revents & POLLERR) != 0;
}

/// The errno of the first write that failed; 0 while none has.
int g_failure = 0;

void keepFailure() {
    if (g_failure == 0)
        g_failure = errno == 0 ? EIO : errno;
}

} // namespace

void print(std::string_view text) {
    errno = 0;
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size())
        keepFailure();
}

void finishStandardOutput() {
    errno = 0;
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
        keepFailure();
    if (g_failure != 0 && !isClosedPipe())
        throw ToolError("standard output",
                        std::string("cannot be written: ") + std::strerror(g_failure));
}

} // namespace hastool

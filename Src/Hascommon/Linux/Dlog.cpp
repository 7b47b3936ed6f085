#include <Hascommon/Linux/Dlog.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>

#include <sys/time.h>
#include <syslog.h>
#include <unistd.h>

namespace {

constexpr int kErrorPriority = 16;

using SinkFunction = int (*)(void*, int, int, const char*, const char*, va_list);

struct Sink {
    SinkFunction function = nullptr;
    void* user = nullptr;
};

/// Takes the colours of highlighted lines out: "ESC [ ... m".
void dropColours(std::string& text) {
    for (size_t at = text.find("\033["); at != std::string::npos; at = text.find("\033[", at)) {
        const size_t end = text.find_first_not_of("0123456789;", at + 2);
        const bool isColour = end != std::string::npos && text[end] == 'm';
        if (isColour)
            text.erase(at, end + 1 - at);
        else
            at += 2;
    }
}

__attribute__((format(printf, 1, 0))) std::string formatted(const char* format, va_list args) {
    va_list again;
    va_copy(again, args);
    const int size = vsnprintf(nullptr, 0, format, args);
    std::string text(size < 0 ? 0 : static_cast<size_t>(size) + 1, '\0');
    if (size >= 0)
        vsnprintf(text.data(), text.size(), format, again);
    va_end(again);
    if (size >= 0)
        text.pop_back();
    return text;
}

/// Writes "date time priority/tag: line" in one piece, so that lines of two threads do not mix.
__attribute__((format(printf, 5, 0))) int writeLine(FILE* file, bool colours, int priority,
                                                    const char* tag, const char* format,
                                                    va_list args) {
    timeval now{};
    gettimeofday(&now, nullptr);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    char time[32];
    const size_t used = strftime(time, sizeof time, "%Y-%m-%d %H:%M:%S", &local);
    time[used] = '\0';
    std::string text = formatted(format, args);
    if (!colours)
        dropColours(text);

    flockfile(file);
    const int written = fprintf(file, "%s.%03d %2d/%s: %s\n", time,
                                static_cast<int>(now.tv_usec / 1000), priority, tag, text.c_str());
    const bool failed = fflush(file) != 0;
    funlockfile(file);
    return failed ? -1 : written;
}

int dropLine(void*, int, int, const char*, const char*, va_list) {
    return 0;
}

/// Colours are for people: a terminal gets them, a file or a pipe does not.
__attribute__((format(printf, 5, 0))) int stderrLine(void*, int, int priority, const char* tag,
                                                     const char* format, va_list args) {
    static const bool isTerminal = isatty(STDERR_FILENO) == 1;
    return writeLine(stderr, isTerminal, priority, tag, format, args);
}

__attribute__((format(printf, 5, 0))) int
errorLine(void* user, int logId, int priority, const char* tag, const char* format, va_list args) {
    if (priority != kErrorPriority)
        return 0;
    return stderrLine(user, logId, priority, tag, format, args);
}

__attribute__((format(printf, 5, 0))) int fileLine(void* user, int, int priority, const char* tag,
                                                   const char* format, va_list args) {
    return writeLine(static_cast<FILE*>(user), false, priority, tag, format, args);
}

__attribute__((format(printf, 5, 0))) int syslogLine(void*, int, int priority, const char*,
                                                     const char* format, va_list args) {
    std::string text = formatted(format, args);
    dropColours(text);
    syslog(priority == kErrorPriority ? LOG_ERR : LOG_DEBUG, "%s", text.c_str());
    return 1;
}

/// A log file stays open for the life of the process.
Sink fileSink(const char* path) {
    if (FILE* file = fopen(path, "ae"))
        return {fileLine, file};
    fprintf(stderr, "HAS_LOG: cannot write %s: %s; there is no log\n", path, strerror(errno));
    return {dropLine, nullptr};
}

/// The sink that HAS_LOG names. Without it nobody has asked for a log: request URLs, tokens
/// included, are not to appear on the standard error of whatever links the library.
Sink environmentSink() {
    constexpr const char* kFile = "file:";
    const char* setting = getenv("HAS_LOG");
    if (setting == nullptr || strcmp(setting, "off") == 0 || *setting == '\0')
        return {dropLine, nullptr};
    if (strcmp(setting, "error") == 0)
        return {errorLine, nullptr};
    if (strcmp(setting, "stderr") == 0)
        return {stderrLine, nullptr};
    if (strcmp(setting, "syslog") == 0)
        return {syslogLine, nullptr};
    if (strncmp(setting, kFile, strlen(kFile)) == 0)
        return fileSink(setting + strlen(kFile));
    fprintf(stderr,
            "HAS_LOG: unknown mode \"%s\" (off, error, stderr, syslog, file:PATH); "
            "there is no log\n",
            setting);
    return {dropLine, nullptr};
}

/// The sink in force. Never destroyed: threads may log while the process ends.
class SinkSlot {
public:
    static SinkSlot& instance() {
        static SinkSlot* const slot = new SinkSlot;
        return *slot;
    }

    void set(Sink sink) {
        const std::unique_lock<std::shared_mutex> lock(m_mutex);
        m_sink = sink;
        m_isSet = sink.function != nullptr;
    }

    Sink get() {
        if (m_isSet) { // Most programs set no sink, and log from several threads.
            const std::shared_lock<std::shared_mutex> lock(m_mutex);
            if (m_sink.function != nullptr)
                return m_sink;
        }
        return fallback();
    }

private:
    static Sink fallback() {
        static const Sink sink = environmentSink();
        return sink;
    }

    std::shared_mutex m_mutex;
    Sink m_sink;
    std::atomic<bool> m_isSet{false};
};

} // namespace

extern "C" __attribute__((weak)) int __dlog_print(int logId, int priority, const char* tag,
                                                  const char* format, ...) {
    const Sink sink = SinkSlot::instance().get();
    va_list args;
    va_start(args, format);
    const int result = sink.function(sink.user, logId, priority, tag, format, args);
    va_end(args);
    return result;
}

void has_setLogSink(int (*sink)(void* user, int logId, int priority, const char* tag,
                                const char* format, va_list args),
                    void* user) {
    SinkSlot::instance().set({sink, user});
}

#include <Hascommon/Linux/Dlog.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <mutex>
#include <shared_mutex>

#include <sys/time.h>
#include <syslog.h>

namespace {

constexpr int kErrorPriority = 16;

using SinkFunction = int (*)(void*, int, int, const char*, const char*, va_list);

struct Sink {
    SinkFunction function = nullptr;
    void* user = nullptr;
};

/// Writes "date time priority/tag: line" in one piece, so that lines of two threads do not mix.
int writeLine(FILE* file, int priority, const char* tag, const char* format, va_list args) {
    timeval now{};
    gettimeofday(&now, nullptr);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    char time[32];
    const size_t used = strftime(time, sizeof time, "%Y-%m-%d %H:%M:%S", &local);
    time[used] = '\0';

    flockfile(file);
    const int head = fprintf(file, "%s.%03d %2d/%s: ", time, static_cast<int>(now.tv_usec / 1000),
                             priority, tag);
    const int body = vfprintf(file, format, args);
    putc_unlocked('\n', file);
    const bool failed = fflush(file) != 0;
    funlockfile(file);
    return failed || head < 0 || body < 0 ? -1 : head + body + 1;
}

int dropLine(void*, int, int, const char*, const char*, va_list) {
    return 0;
}

__attribute__((format(printf, 5, 0))) int errorLine(void*, int, int priority, const char* tag,
                                                    const char* format, va_list args) {
    if (priority != kErrorPriority)
        return 0;
    return writeLine(stderr, priority, tag, format, args);
}

__attribute__((format(printf, 5, 0))) int fileLine(void* user, int, int priority, const char* tag,
                                                   const char* format, va_list args) {
    return writeLine(static_cast<FILE*>(user), priority, tag, format, args);
}

__attribute__((format(printf, 5, 0))) int syslogLine(void*, int, int priority, const char*,
                                                     const char* format, va_list args) {
    vsyslog(priority == kErrorPriority ? LOG_ERR : LOG_DEBUG, format, args);
    return 1;
}

/// The sink that HAS_LOG names. A log file stays open for the life of the process.
Sink environmentSink() {
    const char* setting = getenv("HAS_LOG");
    if (setting == nullptr)
        return {errorLine, nullptr};
    if (strcmp(setting, "off") == 0)
        return {dropLine, nullptr};
    if (strcmp(setting, "stderr") == 0)
        return {fileLine, stderr};
    if (strcmp(setting, "syslog") == 0)
        return {syslogLine, nullptr};
    if (strncmp(setting, "file:", 5) == 0) {
        if (FILE* file = fopen(setting + 5, "ae"))
            return {fileLine, file};
    }
    return {errorLine, nullptr};
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
        if (m_isSet) { // Most programs set none, and log from several threads.
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

// Logs through the library's default sink: the arguments say what.
#include <Hascommon/Linux/Dlog.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <fcntl.h>
#include <unistd.h>

namespace {

int formatted = 0;

__attribute__((format(printf, 5, 0))) int
ownSink(void* user, int logId, int priority, const char* tag, const char* format, va_list args) {
    printf("%s|%d|%d|%s|", static_cast<const char*>(user), logId, priority, tag);
    return vprintf(format, args);
}

/// Makes standard error a terminal whose output comes out on standard output.
class Terminal {
public:
    Terminal() {
        m_master = posix_openpt(O_RDWR | O_NOCTTY);
        grantpt(m_master);
        unlockpt(m_master);
        const int slave = open(ptsname(m_master), O_RDWR | O_NOCTTY);
        dup2(slave, STDERR_FILENO);
        close(slave);
    }
    ~Terminal() {
        char text[1024];
        const ssize_t size = read(m_master, text, sizeof text);
        fwrite(text, 1, size > 0 ? static_cast<size_t>(size) : 0, stdout);
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

private:
    int m_master;
};

void logInColours(bool onTerminal) {
    std::unique_ptr<Terminal> terminal;
    if (onTerminal)
        terminal = std::make_unique<Terminal>();
    __dlog_print(0, 16, "DASH_HLS", "\033[1;31;42m red %d\033[0m ", 1);
    __dlog_print(0, 4, "DASH_HLS", "cursor \033[2J end \033[1");
}

} // namespace

int main(int argc, char** argv) {
    static char user[] = "user";
    if (argc > 1 && strcmp(argv[1], "sink") == 0) {
        has_setLogSink(ownSink, user);
        __dlog_print(0, 4, "DASH_HLS", "to %s\n", "sink");
        has_setLogSink(nullptr, nullptr);
    }
    if (argc > 1 && strcmp(argv[1], "colours") == 0)
        logInColours(argc > 2);
    // %n counts the characters before it, but only when the line is really formatted.
    __dlog_print(0, 4, "DASH_HLS", "plain %s%n", "line", &formatted);
    printf("formatted %d\n", formatted);
    __dlog_print(0, 16, "DASH_HLS", "error %d", 7);
    return 0;
}

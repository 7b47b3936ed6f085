// Logs through the library's default sink: the arguments say what.
#include <Hascommon/Linux/Dlog.h>

#include <cstdio>
#include <cstring>

namespace {

int formatted = 0;

__attribute__((format(printf, 5, 0))) int
ownSink(void* user, int logId, int priority, const char* tag, const char* format, va_list args) {
    printf("%s|%d|%d|%s|", static_cast<const char*>(user), logId, priority, tag);
    return vprintf(format, args);
}

} // namespace

int main(int argc, char** argv) {
    static char user[] = "user";
    if (argc > 1 && strcmp(argv[1], "sink") == 0) {
        has_setLogSink(ownSink, user);
        __dlog_print(0, 4, "DASH_HLS", "to %s\n", "sink");
        has_setLogSink(nullptr, nullptr);
    }
    // %n counts the characters before it, but only when the line is really formatted.
    __dlog_print(0, 4, "DASH_HLS", "plain %s%n", "line", &formatted);
    printf("formatted %d\n", formatted);
    __dlog_print(0, 16, "DASH_HLS", "error %d", 7);
    return 0;
}

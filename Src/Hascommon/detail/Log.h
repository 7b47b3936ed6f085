// The library's own log lines.
//
// Each names a file and a function, which readers of logs search for, so the names are facts of the
// line and outlive a move of the code. They are those of the source and of the function the line is
// written in, unless the source says otherwise before it includes this header:
//
//     #define HAS_LOG_FILE "Curl.cpp"
//     #define HAS_LOG_FUNCTION "Process"
//
// Either may be an expression, which is asked where the line stands: an implementation that several
// classes share names the file of the one that it works for.
//
// A single line of another function is written with HAS_LOG_OF("Process", format, arguments...).
// Arguments are cast to what the format takes; the compiler checks them.
#pragma once

#include <Hascommon/Linux/Dlog.h>

namespace hascommon::detail {

constexpr int kLogId = 0;
constexpr int kLogOrdinary = 4;
constexpr int kLogHighlighted = 16;
constexpr const char* kLogTag = "DASH_HLS";

/// The last component of a path, for compilers that do not offer it themselves.
constexpr const char* fileName(const char* path) {
    const char* name = path;
    for (const char* at = path; *at != '\0'; ++at) {
        if (*at == '/')
            name = at + 1;
    }
    return name;
}

} // namespace hascommon::detail

#ifndef HAS_LOG_FILE
#ifdef __FILE_NAME__
#define HAS_LOG_FILE __FILE_NAME__
#else
#define HAS_LOG_FILE ::hascommon::detail::fileName(__FILE__)
#endif
#endif

#ifndef HAS_LOG_FUNCTION
#define HAS_LOG_FUNCTION static_cast<const char*>(__func__)
#endif

#define HAS_LOG_PREFIX "%s: %s(%d) > "

// A variadic macro may not be called with nothing for its "...", so a line without arguments has a
// macro of its own; HAS_LOG_PICK chooses between the two. Twelve arguments are the most it counts.
#define HAS_LOG_TEXT(priority, before, after, function, format)                                    \
    __dlog_print(::hascommon::detail::kLogId, priority, ::hascommon::detail::kLogTag,              \
                 HAS_LOG_PREFIX before format after, HAS_LOG_FILE, function, __LINE__)
#define HAS_LOG_ARGS(priority, before, after, function, format, ...)                               \
    __dlog_print(::hascommon::detail::kLogId, priority, ::hascommon::detail::kLogTag,              \
                 HAS_LOG_PREFIX before format after, HAS_LOG_FILE, function, __LINE__,             \
                 __VA_ARGS__)
#define HAS_LOG_PICK(f, a1, a2, a3, a4, a5, a6, a7, a8, a9, a10, a11, a12, name, ...) name
#define HAS_LOG_LINE(...)                                                                          \
    HAS_LOG_PICK(__VA_ARGS__, HAS_LOG_ARGS, HAS_LOG_ARGS, HAS_LOG_ARGS, HAS_LOG_ARGS,              \
                 HAS_LOG_ARGS, HAS_LOG_ARGS, HAS_LOG_ARGS, HAS_LOG_ARGS, HAS_LOG_ARGS,             \
                 HAS_LOG_ARGS, HAS_LOG_ARGS, HAS_LOG_ARGS, HAS_LOG_TEXT, )

/// An ordinary line: HAS_LOG(format, arguments...).
#define HAS_LOG(...)                                                                               \
    HAS_LOG_LINE(__VA_ARGS__)                                                                      \
    (::hascommon::detail::kLogOrdinary, "", "", HAS_LOG_FUNCTION, __VA_ARGS__)

/// An ordinary line of another function: HAS_LOG_OF("function", format, arguments...).
#define HAS_LOG_OF(function, ...)                                                                  \
    HAS_LOG_LINE(__VA_ARGS__)(::hascommon::detail::kLogOrdinary, "", "", function, __VA_ARGS__)

/// A highlighted error line: bold red on green in the log, at its own priority.
#define HAS_LOG_HIGHLIGHTED(...)                                                                   \
    HAS_LOG_LINE(__VA_ARGS__)                                                                      \
    (::hascommon::detail::kLogHighlighted, "\033[1;31;42m ", "\033[0m ", HAS_LOG_FUNCTION,         \
     __VA_ARGS__)

/// A highlighted error line of another function.
#define HAS_LOG_HIGHLIGHTED_OF(function, ...)                                                      \
    HAS_LOG_LINE(__VA_ARGS__)                                                                      \
    (::hascommon::detail::kLogHighlighted, "\033[1;31;42m ", "\033[0m ", function, __VA_ARGS__)

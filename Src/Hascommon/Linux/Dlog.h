/// @file
/// The platform log, and the sink that the library's own default of it writes to.
///
/// Every diagnostic line of the library is one call of `__dlog_print()` with log id 0, the tag
/// "DASH_HLS", a priority of 4 (ordinary) or 16 (highlighted error) and a format that begins
/// "%s: %s(%d) > " (source file, function, line).
///
/// The library defines `__dlog_print()` weakly. A definition in the embedding program, in a
/// preloaded library or in the platform's log library takes its place, and the settings below then
/// have no effect.
#pragma once

#include <Hascommon/Export.h>

#include <cstdarg>

extern "C" {

/// Writes one line to the platform log.
///
/// The default hands the line to the sink set with has_setLogSink() or, when no sink is set, to the
/// sink named by the environment variable `HAS_LOG`, read once at the first line:
///
/// - unset, empty or `off`: the line is dropped, nothing is written anywhere;
/// - `error`: a line of priority 16 goes to standard error, any other is dropped;
/// - `stderr`: every line goes to standard error with time, priority and tag;
/// - `syslog`: every line goes to syslog(3), priority 16 as LOG_ERR, any other as LOG_DEBUG;
/// - `file:PATH`: every line is appended to PATH with time, priority and tag.
///
/// Highlighted lines keep their colours on a terminal only. Another value, or a file that cannot be
/// written, is told once on standard error; the lines are then dropped. The lines hold whole URLs,
/// with what passwords and tokens they carry.
///
/// A dropped line is never formatted. Any thread may call.
///
/// @param logId     log buffer of the platform; the library passes 0
/// @param priority  4 for ordinary lines, 16 for highlighted errors
/// @param tag       NUL-terminated
/// @param format    `printf` format, without a final newline
/// @return the number of characters written, 0 for a dropped line, negative on an output error
HAS_API int __dlog_print(int logId, int priority, const char* tag, const char* format, ...)
    __attribute__((format(printf, 4, 5)));
}

/// Replaces the sink of the default `__dlog_print()`.
///
/// @param sink  called for every line on the thread that logs, several threads at a time; it must
///              not keep `args`, `tag` or `format` after it returns. Null restores the sink that
///              `HAS_LOG` names.
/// @param user  handed to every call of `sink`; stays the caller's
///
/// Any thread may call. A line that another thread is just logging may still reach the old sink, so
/// `user` has to stay valid until the threads that log are known to have passed.
HAS_API void has_setLogSink(int (*sink)(void* user, int logId, int priority, const char* tag,
                                        const char* format, va_list args),
                            void* user);

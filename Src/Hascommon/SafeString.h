/// @file
/// Copying, formatting and opening under one set of names; all of it at global scope.
///
/// The names promise more than the copies do: has_strncpy_s() and has_memcpy_s() take the size of
/// the destination but never look at it, because existing callers pass sizes that are not
/// those of their buffers, and rely on exactly `count` bytes being written; a caller that wants a
/// bound passes it as `count`.
///
/// Threads: no function here has state of its own.
#pragma once

#include <Hascommon/Export.h>

#include <cstdarg>
#include <cstdio>

/// Copies at most `count` bytes of a C string and fills up to `count` with zero bytes.
///
/// Writes exactly `count` bytes, so `dst` needs room for them. Where `src` has `count` bytes or
/// more, `dst` gets no terminator.
/// @param dstSize  not looked at
/// @return `dst`
HAS_API char* has_strncpy_s(char* dst, unsigned int dstSize, const char* src, unsigned int count);

/// Copies `count` bytes; the two areas must not overlap.
/// @param dstSize  not looked at
/// @return `dst`
HAS_API void* has_memcpy_s(void* dst, unsigned int dstSize, const void* src, unsigned int count);

/// Formats into a buffer of `size` bytes, as `snprintf` does.
///
/// The text is cut to `size` - 1 bytes and always terminated, unless `size` is 0: then nothing is
/// written and `buf` may be null.
/// @return the length of the text before it was cut; negative on an encoding error
HAS_API int has_sprintf_s(char* buf, unsigned int size, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

/// has_sprintf_s() with an argument list, which is used up by the call.
HAS_API int has_vsprintf_s(char* buf, unsigned int size, const char* format, va_list args)
    __attribute__((format(printf, 3, 0)));

/// Opens a file as `fopen` does.
///
/// The caller owns the stream and closes it with `fclose`.
/// @param file  receives the stream, null where the file did not open; `errno` then says why
/// @return whether the file opened; false for a null `file`
HAS_API bool has_fopen_s(FILE** file, const char* path, const char* mode);

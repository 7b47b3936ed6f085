#include <Hascommon/SafeString.h>

#include <cstring>

char* has_strncpy_s(char* dst, unsigned int /*dstSize*/, const char* src, unsigned int count) {
    if (count == 0)
        return dst;
    return strncpy(dst, src, count);
}

void* has_memcpy_s(void* dst, unsigned int /*dstSize*/, const void* src, unsigned int count) {
    // Empty areas come as null pointers, which memcpy must not be given.
    if (count == 0)
        return dst;
    return memcpy(dst, src, count);
}

int has_sprintf_s(char* buf, unsigned int size, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int length = has_vsprintf_s(buf, size, format, args);
    va_end(args);
    return length;
}

int has_vsprintf_s(char* buf, unsigned int size, const char* format, va_list args) {
    return vsnprintf(buf, size, format, args);
}

bool has_fopen_s(FILE** file, const char* path, const char* mode) {
    if (file == nullptr)
        return false;
    *file = fopen(path, mode);
    return *file != nullptr;
}

#include <Hascommon/CHASDebug.h>

#include <cstdarg>
#include <cstdio>

CHASDebug::LogInfo CHASDebug::m_logInfo;

void CHASDebug::Create() {}

bool CHASDebug::SetLogLevel(unsigned short level) {
    constexpr unsigned short kHighestLevel = 4;
    if (level > kHighestLevel)
        return false;
    m_logInfo.level = level;
    return true;
}

bool CHASDebug::SetDebugModule(unsigned short module, bool enable) {
    if (module >= kModules)
        return false;
    m_logInfo.enabled[module] = enable ? 1 : 0;
    return true;
}

bool CHASDebug::CheckLogLevel(unsigned int module, unsigned int level) {
    if (level == 0)
        return true;
    if (module >= kModules || m_logInfo.enabled[module] == 0)
        return false;
    return level <= m_logInfo.level;
}

int CHASDebug::PrintLog(unsigned int module, unsigned int level, const char* format, ...) {
    if (!CheckLogLevel(module, level))
        return 0;
    va_list args;
    va_start(args, format);
    const int result = vfprintf(stdout, format, args);
    va_end(args);
    return result;
}

#include <Hascommon/CCDebugHAS.h>

#include <Hascommon/CHASDebug.h>

void CCDebugHAS::t_InitModule() {}

bool CCDebugHAS::t_SetDebugLevel(unsigned int level) {
    return CHASDebug::SetLogLevel(static_cast<unsigned short>(level));
}

bool CCDebugHAS::t_SetDebugModule(unsigned long module, bool enable) {
    return CHASDebug::SetDebugModule(static_cast<unsigned short>(module), enable);
}

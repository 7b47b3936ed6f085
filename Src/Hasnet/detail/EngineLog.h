// The download engine's log lines. All of them name the source of its public class, whichever of
// the engine's sources writes them; these include this header in place of the library's.
#pragma once

#define HAS_LOG_FILE "Curl.cpp"
#include <Hascommon/detail/Log.h>

/// Every operation on a unit says so itself when there is none.
#define HAS_LOG_NO_UNIT() HAS_LOG_HIGHLIGHTED(" >> hascommon::Unit == NULL ERROR")

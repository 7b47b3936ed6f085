/// @file
/// Sleeping.
#pragma once

#include <Hascommon/Export.h>

/// Sleeps for `ms` milliseconds, the product `ms * 1000` being taken in 32 bits: above
/// 4,294,967 ms it wraps, so a caller that waits longer sleeps several times.
/// @return the result of `usleep`, 0 on success
HAS_API int has_sleep_ms(unsigned int ms);

/// Sleeps for `us` microseconds.
/// @return the result of `usleep`, 0 on success
HAS_API int has_sleep_us(unsigned int us);

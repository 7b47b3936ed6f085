#include <Hascommon/Linux/Sleep.h>

#include <cstdint>

#include <unistd.h>

int has_sleep_ms(unsigned int ms) {
    const std::uint32_t us = static_cast<std::uint32_t>(ms) * 1000U;
    return usleep(us);
}

int has_sleep_us(unsigned int us) {
    return usleep(us);
}

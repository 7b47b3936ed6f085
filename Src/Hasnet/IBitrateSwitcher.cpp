#include <Hasnet/IBitrateSwitcher.h>

namespace hascommon {

IBitrateSwitcher::~IBitrateSwitcher() = default;

} // namespace hascommon

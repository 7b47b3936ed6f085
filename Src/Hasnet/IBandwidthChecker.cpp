#include <Hasnet/IBandwidthChecker.h>

namespace hascommon {

IBandwidthChecker::~IBandwidthChecker() = default;

} // namespace hascommon

#include <Hasnet/ICurl.h>

namespace hascommon {

ICurl::~ICurl() = default;

} // namespace hascommon

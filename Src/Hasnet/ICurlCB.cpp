#include <Hasnet/ICurlCB.h>

namespace hascommon {

ICurlCB::~ICurlCB() = default;

} // namespace hascommon

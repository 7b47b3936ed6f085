#include <Hasnet/ICurlEasy.h>

namespace hascommon {

ICurlEasy::~ICurlEasy() = default;

} // namespace hascommon

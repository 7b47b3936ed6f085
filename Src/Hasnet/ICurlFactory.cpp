#include <Hasnet/ICurlFactory.h>

namespace hascommon {

ICurlFactory::~ICurlFactory() = default;

} // namespace hascommon

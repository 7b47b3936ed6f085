#include <Hasnet/ICurlMulti.h>

namespace hascommon {

ICurlMulti::~ICurlMulti() = default;

} // namespace hascommon

#include <Hasnet/ConcreateCurlFactory.h>

namespace hascommon {

template class ConcreateCurlFactory<CurlEasy, CurlMulti>;

} // namespace hascommon

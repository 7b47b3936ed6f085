#include <Hasnet/IDownloadEvent.h>

namespace hascommon {

IDownloadEvent::~IDownloadEvent() = default;

} // namespace hascommon

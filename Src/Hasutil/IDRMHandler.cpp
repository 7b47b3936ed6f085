#include <Hasutil/IDRMHandler.h>

namespace hascommon {

IDRMHandler::~IDRMHandler() = default;

} // namespace hascommon

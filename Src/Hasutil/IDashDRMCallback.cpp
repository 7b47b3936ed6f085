#include <Hasutil/IDashDRMCallback.h>

IDashDRMCallback::~IDashDRMCallback() = default;

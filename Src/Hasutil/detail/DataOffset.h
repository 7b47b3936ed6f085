// Where a track fragment says where its samples begin.
#pragma once

#include <Hasutil/detail/BoxView.h>

namespace hascommon::detail {

/// CCENCMediaContent::parsingTrafBox(), inside the bytes that there are.
int parsingTrafBox(const BoxView& traf);

/// CCENCMediaContent::parsingTrunBox(), inside the bytes that there are.
int parsingTrunBox(const BoxView& trun);

} // namespace hascommon::detail

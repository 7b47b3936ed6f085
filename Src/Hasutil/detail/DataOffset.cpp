#define HAS_LOG_FILE "CCENCMediaContent.cpp"
#include <Hasutil/detail/DataOffset.h>

#include <Hascommon/detail/Log.h>
#include <Hasutil/detail/BoxTypes.h>

namespace hascommon::detail {

int parsingTrafBox(const BoxView& traf) {
    BoxView child;
    for (size_t at = kBoxHeader; at < traf.size(); at += child.size()) {
        if (!traf.child(at, child))
            return -1;
        if (child.type() != kTrun)
            continue;
        HAS_LOG("Process trun box.");
        return parsingTrunBox(child) < 0 ? -1 : static_cast<int>(at + kDataOffsetAt);
    }
    HAS_LOG("Trun box is not exist!");
    return -1;
}

int parsingTrunBox(const BoxView& trun) {
    if (trun.size() >= kDataOffsetAt + 4 && (trun.flags() & kTrunDataOffset) != 0)
        return 1;
    HAS_LOG("data_offset attribute is not exist.");
    return -1;
}

} // namespace hascommon::detail

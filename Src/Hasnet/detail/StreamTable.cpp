#include <Hasnet/detail/StreamTable.h>

#include <Hasnet/detail/BitrateLimits.h>

#include <algorithm>
#include <cmath>

namespace hascommon::detail {

void StreamTable::SetBitrates(const std::vector<int>& bitrates) {
    m_streams.resize(bitrates.size());
    std::transform(bitrates.begin(), bitrates.end(), m_streams.begin(), [](int bitrate) {
        Stream stream;
        stream.bitrate = bitrate;
        stream.utility = std::log(std::max(bitrate, 1));
        return stream;
    });
    Refresh();
}

void StreamTable::SetLimits(const std::vector<bitrateParam_t>& params, const Ranges& ranges) {
    m_params = params;
    m_ranges = ranges;
    Refresh();
}

void StreamTable::Refresh() {
    m_lowest = kNone;
    for (int index = 0; index < Size(); ++index) {
        Stream& stream = m_streams[static_cast<std::size_t>(index)];
        const bitrateParam_t* const param = findParam(m_params, stream.bitrate);
        stream.isAllowed = IsBitrateAllowed(stream.bitrate);
        stream.hasParam = param != nullptr;
        stream.param = param != nullptr ? *param : bitrateParam_t{};
        if (stream.isAllowed && (m_lowest == kNone || stream.bitrate < BitrateOf(m_lowest)))
            m_lowest = index;
    }
}

bool StreamTable::IsBitrateAllowed(int bitrate) const {
    return isBitrateAllowed(m_params, m_ranges, bitrate);
}

bool StreamTable::HaveParams(int from, int to) const {
    return IsIndex(from) && IsIndex(to) && At(from).hasParam && At(to).hasParam;
}

bool StreamTable::AreOfOneGroup(int from, int to) const {
    return !HaveParams(from, to) || At(from).param.group == At(to).param.group;
}

StreamTable::WayUp StreamTable::WayUpFrom(int from, int to) const {
    if (AreOfOneGroup(from, to))
        return WayUp::free;
    const bool isOneClass = At(from).param.upgradeClass == At(to).param.upgradeClass;
    return isOneClass ? WayUp::waiting : WayUp::closed;
}

int StreamTable::Find(int bitrate) const {
    int index = Size() - 1;
    while (index >= 0 && BitrateOf(index) != bitrate)
        --index;
    return index;
}

} // namespace hascommon::detail

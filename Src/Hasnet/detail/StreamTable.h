// The streams of a switcher, with what the limits say of each.
#pragma once

#include <Hasnet/bitrateParam_t.h>

#include <cstddef>
#include <utility>
#include <vector>

namespace hascommon::detail {

/// Looks the limits up once, when they or the streams are set, so that a decision needs no search.
class StreamTable {
public:
    using Ranges = std::vector<std::pair<int, int>>;

    static constexpr int kNone = -1;

    /// What a change from one stream to a higher one has to pass.
    enum class WayUp {
        free,    ///< nothing: of one group, or without limits
        waiting, ///< the up timer: of another group
        closed,  ///< there is none: of another class
    };

    void SetBitrates(const std::vector<int>& bitrates);
    void SetLimits(const std::vector<bitrateParam_t>& params, const Ranges& ranges);

    int Size() const { return static_cast<int>(m_streams.size()); }
    bool IsIndex(int index) const { return index >= 0 && index < Size(); }
    /// Bits per second, of an index of the table.
    int BitrateOf(int index) const { return At(index).bitrate; }
    /// The natural logarithm of its bitrate.
    double UtilityOf(int index) const { return At(index).utility; }
    /// Whether the limits allow the stream of an index of the table.
    bool IsAllowed(int index) const { return At(index).isAllowed; }
    /// The stream of the smallest bitrate that is allowed, kNone where none is.
    int Lowest() const { return m_lowest; }
    /// Any index; one that is not in the table has no limits.
    WayUp WayUpFrom(int from, int to) const;
    bool AreOfOneGroup(int from, int to) const;
    /// The highest index of a bitrate, kNone where there is none.
    int Find(int bitrate) const;

    bool HasParams() const { return !m_params.empty(); }
    bool IsBitrateAllowed(int bitrate) const;

private:
    struct Stream {
        int bitrate = 0;
        double utility = 0;
        bool isAllowed = true;
        bool hasParam = false;
        bitrateParam_t param{};
    };

    const Stream& At(int index) const { return m_streams[static_cast<std::size_t>(index)]; }
    /// Whether both are in the table and have limits.
    bool HaveParams(int from, int to) const;
    void Refresh();

    std::vector<Stream> m_streams;
    int m_lowest = kNone;
    std::vector<bitrateParam_t> m_params;
    Ranges m_ranges;
};

} // namespace hascommon::detail

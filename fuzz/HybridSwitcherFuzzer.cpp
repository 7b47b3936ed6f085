// The hybrid switcher, by arbitrary sequences of calls with arbitrary numbers: what it answers is a
// stream of the list, allowed, and no way into another class.
#include <Hasnet/HybridSegSwitcher.h>
#include <Input.h>

#include <limits>
#include <utility>

namespace {

using fuzz::Input;
using fuzz::require;
using hascommon::bitrateParam_t;
using hascommon::HybridSegSwitcher;

/// Numbers of every size, and the ends of the ranges more often than chance has them.
uint64_t number(Input& input) {
    const unsigned int size = input.byte();
    if (size >= 250)
        return std::numeric_limits<uint64_t>::max() >> (size - 250) * 7;
    uint64_t value = 0;
    for (unsigned int i = 0; i < size % 9; ++i)
        value = value << 8 | input.byte();
    return value;
}

int smallInt(Input& input) {
    return static_cast<int>(static_cast<uint32_t>(number(input)));
}

unsigned int milliseconds(Input& input) {
    return static_cast<unsigned int>(number(input));
}

class FixedChecker : public hascommon::IBandwidthChecker {
public:
    bool Start() override { return true; }
    bool Stop() override { return true; }
    bool IsMonitoring() override { return true; }
    void OnPolling(long long) override {}
    void SetMonitorInterval(unsigned int) override {}
    unsigned int GetMonitorInterval() override { return 250; }
    unsigned int GetCurrentBandwidth() override { return 0; }
    unsigned int GetBeginingBandwidth() override { return begining; }
    unsigned int GetCurrentMinBandwidth() override { return 0; }
    unsigned int GetCurrentAvgBandwidth() override { return avg; }
    unsigned int GetAverageBandwidth() override { return 0; }
    int GetVariationRateBandwidth() override { return 0; }
    unsigned int GetDownloadPerHour() override { return 0; }

    unsigned int begining = 0;
    unsigned int avg = 0;
};

/// A switcher, and what it was told.
class Play {
public:
    Play() { m_switcher.Init(&m_checker); }

    void step(Input& input) {
        switch (input.byte() % 12) {
        case 0:
            return setStreams(input);
        case 1:
            return setLimits(input);
        case 2:
            return setNumbers(input);
        case 3:
            return setSizes(input);
        case 4:
        case 5:
            return choose(input);
        case 6:
        case 7:
            return begin(input);
        case 8:
        case 9:
            return progress(input);
        case 10:
            m_transferred = -1;
            tick(input);
            return m_switcher.SegmentDone(number(input), milliseconds(input), milliseconds(input),
                                          m_now);
        default:
            return ask(input);
        }
    }

private:
    void setStreams(Input& input) {
        m_bitrates.assign(input.byte() % 24, 0);
        for (int& bitrate : m_bitrates)
            bitrate = static_cast<int>(input.word() * 1000);
        if (input.byte() % 8 == 0 && !m_bitrates.empty())
            m_bitrates.back() = smallInt(input);
        m_switcher.ResetData(m_bitrates, input.byte() % 2 == 0);
        m_transferred = -1;
    }

    int anyBitrate(Input& input) {
        const unsigned int at = input.byte();
        return m_bitrates.empty() ? smallInt(input) : m_bitrates.at(at % m_bitrates.size());
    }

    void setLimits(Input& input) {
        m_params.clear();
        for (unsigned int count = input.byte() % 12; count > 0; --count)
            m_params.push_back({anyBitrate(input), static_cast<int>(input.byte() % 3),
                                static_cast<int>(input.byte() % 3)});
        m_ranges.clear();
        for (unsigned int count = input.byte() % 3; count > 0; --count)
            m_ranges.emplace_back(anyBitrate(input), anyBitrate(input));
        m_switcher.SetBitrateLimit(m_params, m_ranges);
    }

    void setNumbers(Input& input) {
        m_switcher.SetBufferGoal(milliseconds(input));
        m_switcher.SetSegmentDuration(milliseconds(input));
        m_switcher.SetSwitchParam(smallInt(input), smallInt(input));
        m_switcher.SetAudioBitrate(smallInt(input));
        m_switcher.SetEnableSwitch(input.byte() % 8 != 0);
        m_checker.avg = milliseconds(input);
        m_checker.begining = milliseconds(input);
        if (input.byte() % 16 == 0)
            m_switcher.Init(input.byte() % 2 == 0 ? &m_checker : nullptr);
    }

    void setSizes(Input& input) {
        std::vector<unsigned long long> bytes(m_bitrates.size());
        if (input.byte() % 8 == 0)
            bytes.resize(input.byte() % 30);
        for (unsigned long long& size : bytes)
            size = number(input);
        m_switcher.SetNextSizes(bytes);
    }

    void tick(Input& input) {
        m_now = input.byte() % 8 == 0
                    ? static_cast<long long>(number(input))
                    : static_cast<long long>(static_cast<uint64_t>(m_now) + input.word());
    }

    void choose(Input& input) {
        const int current = static_cast<int>(input.byte() % 30) - 3;
        const int next = m_switcher.ProcessAdaptiveSeg(current, milliseconds(input));
        require(next == kStay || (next != current && isAllowed(next)));
        require(next == kStay || m_switcher.GetEnableSwitch());
        require(next <= current || !isOfAnotherClass(current, next));
    }

    void begin(Input& input) {
        m_transferred = static_cast<int>(input.byte() % 30) - 3;
        tick(input);
        m_switcher.SegmentBegun(m_transferred, number(input), milliseconds(input), m_now);
    }

    void progress(Input& input) {
        tick(input);
        const int instead = m_switcher.SegmentProgress(number(input), milliseconds(input), m_now);
        if (instead == kStay)
            return;
        require(instead < m_transferred && isAllowed(instead) && m_switcher.GetEnableSwitch());
        require(m_switcher.SegmentProgress(1, 0, m_now) == kStay);
        m_transferred = -1;
    }

    void ask(Input& input) {
        const int current = smallInt(input);
        const int satisfied = m_switcher.GetSatisfiedStreamIndex(smallInt(input), current);
        require(satisfied >= 0 && (satisfied == 0 || isAllowed(satisfied)));
        const int bitrate = anyBitrate(input);
        const int match = m_switcher.GetMatchingStreamIndex(bitrate);
        require(match == kStay || m_bitrates.at(static_cast<size_t>(match)) == bitrate);
        require(m_switcher.CheckBitrateLimit(bitrate) == isBitrateAllowed(bitrate));
        require(m_switcher.HasBitrateLimit() == !m_params.empty());
        m_switcher.ProcessAdaptiveSegLevel(1, milliseconds(input), false);
    }

    bool isIndex(int index) const {
        return index >= 0 && static_cast<size_t>(index) < m_bitrates.size();
    }

    bool isAllowed(int index) const {
        return isIndex(index) && isBitrateAllowed(m_bitrates.at(static_cast<size_t>(index)));
    }

    bool isBitrateAllowed(int bitrate) const {
        bool isAllowed = m_params.empty() && m_ranges.empty();
        for (const auto& range : m_ranges)
            isAllowed = isAllowed || (range.first <= bitrate && bitrate <= range.second);
        return isAllowed || param(bitrate) != nullptr;
    }

    const bitrateParam_t* param(int bitrate) const {
        for (const bitrateParam_t& entry : m_params) {
            if (entry.bitrate == bitrate)
                return &entry;
        }
        return nullptr;
    }

    bool isOfAnotherClass(int from, int to) const {
        if (!isIndex(from) || !isIndex(to))
            return false;
        const bitrateParam_t* const one = param(m_bitrates.at(static_cast<size_t>(from)));
        const bitrateParam_t* const other = param(m_bitrates.at(static_cast<size_t>(to)));
        return one != nullptr && other != nullptr && one->group != other->group &&
               one->upgradeClass != other->upgradeClass;
    }

    static constexpr int kStay = -1;

    FixedChecker m_checker;
    HybridSegSwitcher m_switcher;
    std::vector<int> m_bitrates;
    std::vector<bitrateParam_t> m_params;
    std::vector<std::pair<int, int>> m_ranges;
    long long m_now = 0;
    int m_transferred = -1; ///< what was begun and neither done nor given up
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    Play play;
    while (!input.empty())
        play.step(input);
    return 0;
}

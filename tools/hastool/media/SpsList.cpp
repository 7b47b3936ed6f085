#include "SpsList.h"

#include "AvcConfigs.h"
#include "NalFinder.h"
#include "PesPayload.h"
#include "TsScanner.h"

#include <Hasutil/H264HeaderParser.h>

#include <algorithm>
#include <map>
#include <memory>

namespace hastool {
namespace {

constexpr size_t kMaxSets = 1000; // a stream has 32 ids; more come only from damage

/// Parameter sets of these profiles begin with elements for chroma formats, which the library does
/// not know of.
bool isUnsupported(int profile) {
    constexpr int kProfiles[] = {44, 83, 86, 118, 128, 134, 135, 138, 139, 244};
    return std::find(std::begin(kProfiles), std::end(kProfiles), profile) != std::end(kProfiles);
}

/// Where the library finds the parameter set in a stream of one unit; 0 when it finds none.
int setAt(Bytes& stream) {
    hascommon::H264HeaderParser parser;
    const int found = parser.ParseHeader(stream.data(), static_cast<int>(stream.size()));
    return found == 1 ? parser.GetSpsOffet() : 0;
}

void parse(Bytes payload, SpsInfo& info) {
    hascommon::H264HeaderParser parser;
    hascommon::H264SequenceSetParse fields;
    if (!parser.ParseSPS(payload.data(), static_cast<int>(payload.size()), fields))
        return;
    info.fields = fields;
    Resolution size;
    if (parser.CalcResolution(fields, size.width, size.height))
        info.resolution = size;
}

class Collector {
public:
    void add(const Bytes& unit, int pid) {
        constexpr size_t kFixed = 4; // NAL header, profile, constraints, level
        Bytes stream = {0, 0, 1};
        stream.insert(stream.end(), unit.begin(), unit.end());
        const int at = setAt(stream);
        if (at == 0 || unit.size() < kFixed || isKnown(unit, pid) || m_sets.size() >= kMaxSets)
            return;
        SpsInfo info;
        info.unit = unit;
        info.pid = pid;
        info.profile = unit[1];
        info.constraints = unit[2];
        info.level = unit[3];
        info.isSupported = !isUnsupported(info.profile);
        if (info.isSupported)
            parse(Bytes(stream.begin() + at + 1, stream.end()), info);
        m_sets.push_back(std::move(info));
    }
    std::vector<SpsInfo>& sets() { return m_sets; }

private:
    bool isKnown(const Bytes& unit, int pid) const {
        return std::any_of(m_sets.begin(), m_sets.end(),
                           [&](const SpsInfo& it) { return it.pid == pid && it.unit == unit; });
    }

    std::vector<SpsInfo> m_sets;
};

/// Video of one PID on its way to the collector.
struct VideoPid {
    VideoPid(Collector& collector, int pid)
        : units([&collector, pid](const Bytes& unit) { collector.add(unit, pid); })
        , payload([this](const unsigned char* data, size_t size) { units.push(data, size); }) {}
    VideoPid(const VideoPid&) = delete;
    VideoPid& operator=(const VideoPid&) = delete;

    NalFinder units;
    PesPayload payload;
};

bool isTransportStream(const TsReport& report) {
    return report.packets * kTsPacketSize > report.skippedBytes;
}

bool hasPmt(const TsReport& report) {
    return std::any_of(report.programs.begin(), report.programs.end(),
                       [](const auto& it) { return it.second.hasPmt; });
}

bool isWanted(const TsReport& report, int pid) {
    const PmtStream* const stream = report.streamOf(pid);
    return stream != nullptr ? stream->type == kStreamTypeH264 : !hasPmt(report);
}

void collectFromTs(const ByteSource& source, const TsReport& report, Collector& collector) {
    std::map<int, std::unique_ptr<VideoPid>> videos;
    for (const auto& [pid, unused] : report.pids) {
        if (isWanted(report, pid))
            videos[pid] = std::make_unique<VideoPid>(collector, pid);
    }
    PacketFinder packets([&videos](const TsUnit& unit) {
        const auto found = videos.find(unit.pid());
        if (found != videos.end() && !unit.hasError())
            found->second->payload.push(unit);
    });
    source([&packets](const unsigned char* data, size_t size) { packets.push(data, size); });
    packets.finish();
    for (auto& [pid, video] : videos)
        video->units.finish();
}

/// Whether a file begins with a box: then it is MP4, and its parameter sets are in the movie. The
/// units in it follow their lengths, some of which look like start codes.
bool isBoxes(const unsigned char* data, size_t size) {
    constexpr size_t kEnd = 8; // of a box's size and type
    if (size < kEnd)
        return false;
    const std::string type(reinterpret_cast<const char*>(data) + 4, kEnd - 4);
    for (const char* const it : {"ftyp", "styp", "sidx", "moof", "moov", "mdat", "emsg", "prft",
                                 "free", "skip", "wide", "uuid", "pdin"}) {
        if (type == it)
            return true;
    }
    return false;
}

void collectFromVideo(const ByteSource& source, Collector& collector) {
    const auto add = [&collector](const Bytes& unit) { collector.add(unit, -1); };
    NalFinder units(add);
    AvcConfigs configs(add);
    bool isFirst = true;
    bool isMp4 = false;
    source([&](const unsigned char* data, size_t size) {
        isMp4 = isFirst ? isBoxes(data, size) : isMp4;
        isFirst = false;
        if (isMp4)
            configs.push(data, size);
        else
            units.push(data, size);
    });
    units.finish();
}

} // namespace

std::vector<SpsInfo> findSps(const ByteSource& source) {
    Collector collector;
    const TsReport report = scanTs(source);
    if (isTransportStream(report))
        collectFromTs(source, report, collector);
    else
        collectFromVideo(source, collector);
    return std::move(collector.sets());
}

std::optional<Resolution> findResolution(const ByteSource& source) {
    for (const SpsInfo& sps : findSps(source)) {
        if (sps.resolution)
            return sps.resolution;
    }
    return std::nullopt;
}

} // namespace hastool

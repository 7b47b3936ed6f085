#include "InfoText.h"

#include "ShownText.h"
#include "TextTable.h"
#include <hastool/base/HtmlText.h>
#include <hastool/base/Quantities.h>
#include <hastool/base/ShownUrl.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <set>
#include <utility>

namespace hastool {
namespace {

using Tracks = std::vector<const InfoTrack*>;

/// "42.0 s", "9 min 56.5 s", "1 h 0 min 3.0 s".
std::string timeText(double seconds) {
    constexpr double kMinute = 60;
    constexpr double kHour = 3600;
    const double tenths = std::round(seconds * 10) / 10;
    std::string text;
    if (tenths >= kHour)
        text += fixedText(std::floor(tenths / kHour), 0) + " h ";
    if (tenths >= kMinute)
        text += fixedText(std::floor(std::fmod(tenths, kHour) / kMinute), 0) + " min ";
    return text + fixedText(std::fmod(tenths, kMinute), 1) + " s";
}

std::string rateOf(double number) {
    char text[32];
    std::snprintf(text, sizeof text, "%.5g", number);
    return text;
}

std::string bitrateText(uint64_t bitrate) {
    if (bitrate == 0)
        return {};
    return bitrate < 1000 ? std::to_string(bitrate) + " bit/s"
                          : rateText(static_cast<double>(bitrate));
}

std::string orEmpty(int number) {
    return number > 0 ? std::to_string(number) : "";
}

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words)
        text += (text.empty() ? "" : ", ") + word;
    return text;
}

/// What a track is for, beside its kind.
std::string roleOf(const InfoTrack& track) {
    std::vector<std::string> roles = track.roles;
    if (track.isDefault && roles.empty())
        roles.emplace_back("default");
    if (track.isForced && track.roles.empty())
        roles.emplace_back("forced");
    return joined(roles);
}

/// A kind of tracks as a table.
class KindTable {
public:
    explicit KindTable(const Tracks& tracks);

    std::string text() const { return m_table.text(); }

private:
    static TextTable makeTable(bool isEven);
    void add(const InfoTrack& track, const InfoStream& stream, bool isFirst);
    std::vector<std::string> lengthsOf(const InfoStream& stream) const;

    size_t m_count;           ///< of tracks
    bool m_hasGroups = false; ///< more than one
    bool m_isEven = true;     ///< the segments of a stream are all alike
    TextTable m_table;
};

bool isEven(const InfoStream& stream) {
    constexpr double kAlike = 0.005; // not to be seen
    return !stream.segments || stream.segments->longest - stream.segments->shortest < kAlike;
}

bool areEven(const Tracks& tracks) {
    return std::all_of(tracks.begin(), tracks.end(), [](const InfoTrack* track) {
        return std::all_of(track->streams.begin(), track->streams.end(), isEven);
    });
}

bool haveGroups(const Tracks& tracks) {
    std::set<std::string> groups;
    for (const InfoTrack* const track : tracks) {
        groups.insert(track->group);
        for (const InfoStream& stream : track->streams)
            groups.insert(stream.audioGroup);
    }
    groups.erase("");
    return groups.size() > 1;
}

KindTable::KindTable(const Tracks& tracks)
    : m_count(tracks.size())
    , m_hasGroups(haveGroups(tracks))
    , m_isEven(areEven(tracks))
    , m_table(makeTable(m_isEven)) {
    for (const InfoTrack* const track : tracks) {
        for (const InfoStream& stream : track->streams)
            add(*track, stream, &stream == &track->streams.front());
    }
}

TextTable KindTable::makeTable(bool isEven) {
    std::vector<TextTable::Column> columns = {
        {"lang"},       {"name"},      {"role"},     {"audio"},    {"group"},     {"bitrate", true},
        {"size", true}, {"fps", true}, {"ch", true}, {"Hz", true}, {"segs", true}};
    if (isEven)
        columns.push_back({"s each", true});
    else
        columns.insert(columns.end(), {{"min", true}, {"mean", true}, {"max s", true}});
    columns.push_back({"codecs"});
    return TextTable(std::move(columns));
}

/// What tells the tracks apart is in the first line of each.
void KindTable::add(const InfoTrack& track, const InfoStream& stream, bool isFirst) {
    const std::string name = track.name.empty() && m_count > 1 ? track.id : track.name;
    std::vector<std::string> cells = {isFirst ? track.language : "",
                                      isFirst ? name : "",
                                      isFirst ? roleOf(track) : "",
                                      m_hasGroups ? stream.audioGroup : "",
                                      m_hasGroups && isFirst ? track.group : "",
                                      bitrateText(stream.bitrate),
                                      stream.width > 0 && stream.height > 0
                                          ? std::to_string(stream.width) + "x" +
                                                std::to_string(stream.height)
                                          : "",
                                      stream.frameRate > 0 ? rateOf(stream.frameRate) : "",
                                      orEmpty(stream.channels),
                                      orEmpty(stream.samplingRate)};
    for (std::string& cell : lengthsOf(stream))
        cells.push_back(std::move(cell));
    cells.push_back(stream.codecs.empty() ? stream.mimeType : stream.codecs);
    for (std::string& cell : cells)
        cell = shownText(cell);
    m_table.add(std::move(cells));
}

std::vector<std::string> KindTable::lengthsOf(const InfoStream& stream) const {
    std::vector<std::string> cells(m_isEven ? 2 : 4);
    if (!stream.error.empty())
        cells[0] = "?"; // told below all tables
    if (!stream.segments)
        return cells;
    const InfoLengths& lengths = *stream.segments;
    cells[0] = std::to_string(lengths.count);
    if (lengths.longest <= 0)
        return cells;
    if (m_isEven) {
        cells[1] = fixedText(lengths.mean(), 2);
        return cells;
    }
    cells[1] = fixedText(lengths.shortest, 2);
    cells[2] = fixedText(lengths.mean(), 2);
    cells[3] = fixedText(lengths.longest, 2);
    return cells;
}

/// Whether a value tells how it is encrypted; others are version numbers and such.
bool isEncryption(const std::string& value) {
    static const std::set<std::string> values = {"cenc",       "cbc1",           "cens",   "cbcs",
                                                 "SAMPLE-AES", "SAMPLE-AES-CTR", "AES-128"};
    return values.count(value) > 0;
}

/// "Widevine, mp4protection (cenc)", and the keys, a line each.
std::string protectionText(const std::vector<InfoProtection>& protections,
                           const std::string& indent, const std::string& of) {
    constexpr size_t kMostKeys = 8;
    std::vector<std::string> systems;
    std::vector<std::string> keys;
    for (const InfoProtection& it : protections) {
        const bool hasValue = isEncryption(it.value) && it.value != it.system;
        systems.push_back(it.system + (hasValue ? " (" + it.value + ")" : ""));
        for (const std::string& id : it.keyIds) {
            if (std::find(keys.begin(), keys.end(), id) == keys.end())
                keys.push_back(id);
        }
    }
    std::string text = indent + of + "protection: " + shownText(joined(systems)) + "\n";
    for (size_t i = 0; i < std::min(keys.size(), kMostKeys); ++i)
        text += indent + (i == 0 ? "key ids: " : "         ") + shownText(keys[i]) + "\n";
    if (keys.size() > kMostKeys)
        text += indent + "         and " + std::to_string(keys.size() - kMostKeys) +
                " more, which --json lists\n";
    return text;
}

/// The protection of the tracks of a kind: once where it is the same for all.
std::string protectionsOf(const Tracks& tracks) {
    const auto isSame = [&](const InfoTrack* it) {
        return it->protections == tracks.front()->protections;
    };
    std::string text;
    if (std::all_of(tracks.begin(), tracks.end(), isSame)) {
        const auto& all = tracks.front()->protections;
        return all.empty() ? text : protectionText(all, "  ", "");
    }
    for (const InfoTrack* const track : tracks) {
        const std::string name = track->name.empty() ? track->id : track->name;
        const std::string label = track->language + (name.empty() ? "" : " ") + name;
        const std::string of = label.empty() ? "" : shownText(label) + ": ";
        text += track->protections.empty() ? "  " + of + "clear\n"
                                           : protectionText(track->protections, "  ", of);
    }
    return text;
}

/// Stands for all tracks for fast forward.
constexpr char kTrick[] = "trick mode";

std::string headOf(const std::string& kind) {
    static const std::map<std::string, const char*> heads = {
        {"video", "Video"},         {"audio", "Audio"},
        {"subtitles", "Subtitles"}, {"captions", "Closed captions, in the video"},
        {kTrick, "Trick mode"},     {"image", "Images"},
        {"media", "Media"},
    };
    const auto found = heads.find(kind);
    return found != heads.end() ? found->second : "Tracks of type " + shownText(kind);
}

std::string periodText(const InfoPeriod& period) {
    std::vector<std::string> kinds = {"video", "media", "audio", "subtitles", "captions", "image"};
    std::map<std::string, Tracks> tracks;
    for (const InfoTrack& track : period.tracks) {
        const std::string kind = track.isTrick ? kTrick : track.kind;
        tracks[kind].push_back(&track);
        if (std::find(kinds.begin(), kinds.end(), kind) == kinds.end())
            kinds.push_back(kind);
    }
    std::string text;
    for (const std::string& kind : kinds) {
        if (!tracks[kind].empty())
            text += "\n" + headOf(kind) + "\n" + KindTable(tracks[kind]).text() +
                    protectionsOf(tracks[kind]);
    }
    return text.empty() ? "  nothing to play\n" : text;
}

std::string headerText(const PresentationInfo& info) {
    std::string text = shownText(withoutSecrets(info.url)) + "\n" + info.format;
    if (info.isLive)
        text += *info.isLive ? ", live" : ", recorded";
    if (info.duration)
        text += ", " + timeText(*info.duration);
    if (info.timeShift)
        text += ", the last " + timeText(*info.timeShift) + " can be had";
    if (info.periods.size() > 1)
        text += ", " + std::to_string(info.periods.size()) + " periods";
    text += "\n";
    return info.protections.empty() ? text : text + protectionText(info.protections, "", "");
}

std::string listText(const char* head, const std::vector<std::string>& lines) {
    std::string text = lines.empty() ? "" : std::string("\n") + head + "\n";
    for (const std::string& line : lines)
        text += "  " + shownText(withoutSecrets(line)) + "\n";
    return text;
}

} // namespace

std::string toText(const PresentationInfo& info) {
    std::string text = headerText(info);
    std::string before;
    std::vector<std::string> errors = info.errors;
    for (size_t i = 0; i < info.periods.size(); ++i) {
        const InfoPeriod& period = info.periods[i];
        if (info.periods.size() > 1) {
            text += "\nPeriod " + std::to_string(i + 1);
            text += period.id.empty() ? "" : " \"" + shownText(period.id) + "\"";
            text += ", from " + timeText(period.start);
            text += period.duration ? ", " + timeText(*period.duration) + " long\n" : "\n";
        }
        std::string tables = periodText(period);
        const bool isSame = i > 0 && tables == before;
        text += isSame ? "  the same as in the period before\n" : tables;
        before = std::move(tables);
        for (const InfoTrack& track : period.tracks) {
            for (const InfoStream& stream : track.streams) {
                const bool isNew =
                    std::find(errors.begin(), errors.end(), stream.error) == errors.end();
                if (!stream.error.empty() && isNew)
                    errors.push_back(stream.error);
            }
        }
    }
    return text + listText("Warnings", info.warnings) + listText("Could not be read", errors);
}

} // namespace hastool

// Every public MPD is read, walked to its end, and compared with what another program has read from
// it. Where this tool differs, a table says why.
#include <hastool/formats/OpenPresentation.h>
#include <tools/hastool/ManifestWalk.h>

#include <hastool/base/BoxBuilder.h>
#include <hastool/base/IsoTime.h>
#include <hastool/formats/dash/DashManifest.h>
#include <hastool/formats/dash/DashUrls.h>
#include <support/Samples.h>
#include <support/TempDir.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <set>
#include <sstream>

using hastool::DashAddressing;
using hastool::DashManifest;
using hastool::DashPeriod;
using hastool::DashRepresentation;
using hastool::DashSegmentList;
using nlohmann::json;

namespace {

constexpr char kUrl[] = "http://origin.test/a/b/manifest";

/// Manifests by their numbers, and why they are read in another way than expected.
struct Row {
    const char* files;
    const char* what; ///< part of the message, or the field that differs
    const char* why;
};

/// Manifests that are refused when they are parsed, in one line. Clauses are of ISO/IEC 23009-1.
const Row kRefused[] = {
    {"0616 0618", "MPD with a bad availabilityStartTime",
     "5.3.1.2: an xs:dateTime, which has seconds, and months up to 12"},
    {"0356 0365", "MPD with a bad timeShiftBufferDepth", "5.3.1.2: an xs:duration"},
    {"0364", "MPD with a bad suggestedPresentationDelay", "5.3.1.2: an xs:duration"},
    {"0366", "MPD with a bad minimumUpdatePeriod", "5.3.1.2: an xs:duration"},
    {"0400 0401 0610 0611 0617", "an MPD without a Period", "5.3.1.2: there is at least one"},
    {"0348 0397", "not a well-formed XML document", "pieces of program text, not documents"},
    {"0728", "SegmentBase with a bad indexRange", "5.3.9.2.2: two numbers"},
    {"0669 0670 0671", "S with a bad d",
     "5.3.9.6.2: d is required; patterns of durations, which newer editions know, are not read"},
};

/// Manifests that are parsed, but refused when they are opened.
const Row kNothingToPlay[] = {
    {"0318", "no period with anything to play", "a list of other presentations, none of its own"},
    {"0602 0619 0620 0621 0622 0623 0625 0626 0629 0630 0632 0635 0637 0638 0735 0737 0775 0778 "
     "0781",
     "no period with anything to play", "5.3.3: no AdaptationSet with a Representation"},
};

/// Manifests that are opened, but end with an error or without a segment.
const Row kUnplayable[] = {
    {"0296", "a data URL that is not base64", "RFC 2397: the example was shortened by dots"},
    {"0688", "a SegmentList of several segments without a duration",
     "5.3.9.2.2: without times there is one segment"},
    {"0685 0699", "", "5.3.2.1: the period begins 748 s after the presentation's end"},
    {"0456", "", "5.3.9.5.3: endNumber ends the stream 47 years before the manifest"},
};

/// Manifests of which representations are left out, with a warning.
const Row kLeftOut[] = {
    {"0240", "presentationTimeOffset", "5.3.9.2.2: an unsigned number"},
    {"0309", "$SubNumber$", "segments in parts, of the newest edition, are not read"},
};

/// Manifests that this tool reads in another way than the other program.
const Row kDifferent[] = {
    {"0685 0699", "duration", "5.3.2.1: no period lasts less than no time"},
    {"0699", "segments", "the same"},
    {"0282 0299 0445", "segments",
     "5.3.9.6.1: what lies before or behind the period by its timeline is not of the period"},
    {"0730", "segments",
     "5.3.9.1: of two ways of addressing the last one holds; there is to be one"},
    {"0309", "representations", "left out"},
    {"0240", "representations", "left out"},
    {"0296", "init", "RFC 2397: the example was shortened by dots"},
    {"0688", "segments", "refused: several segments without a duration"},
};

bool names(const char* files, const std::string& file) {
    std::istringstream text(files);
    for (std::string number; text >> number;) {
        if (file.rfind(number + "_", 0) == 0)
            return true;
    }
    return false;
}

template<size_t kRows>
const Row* rowOf(const Row (&rows)[kRows], const std::string& file, const std::string& what = "") {
    for (const Row& row : rows) {
        if (names(row.files, file) && (what.empty() || what == row.what))
            return &row;
    }
    return nullptr;
}

std::vector<std::string> namesIn(const std::string& folder) {
    std::vector<std::string> result;
    for (const auto& entry :
         std::filesystem::directory_iterator(HAS_SAMPLES_DIR "/manifests/" + folder))
        result.push_back(entry.path().filename().string());
    return result;
}

std::string textOf(const std::string& folder, const std::string& name) {
    return test::readFile(std::string(HAS_SAMPLES_DIR) + "/manifests/" + folder + "/" + name);
}

/// A period in the place of every remote one.
std::string remotePeriod(const std::string&) {
    return "<Period duration='PT4S'><AdaptationSet contentType='video'><SegmentTemplate "
           "media='remote-$Number$' duration='2'/><Representation id='r' bandwidth='1'/>"
           "</AdaptationSet></Period>";
}

/// More segments than any manifest lists; only lists without an end have more.
constexpr uint64_t kMost = 100000;

/// What this tool reads of a representation, in the fields of the expectations.
json readOf(const DashPeriod& period, const DashRepresentation& representation) {
    const hastool::DashUrls urls(representation, kUrl);
    const DashAddressing& addressing = representation.addressing;
    json result = {{"id", representation.id}, {"bandwidth", representation.bandwidth}};
    const auto init = urls.inlineInit() ? std::nullopt : urls.init();
    result["init"] = init ? json(init->url) : json();
    if (addressing.kind == DashAddressing::Kind::Base) {
        result["base"] = urls.media({}).url;
        return result;
    }
    if (!period.duration && addressing.duration) {
        result["open"] = true;
        return result;
    }
    const DashSegmentList list(addressing, period, nullptr, kUrl);
    uint64_t count = 0;
    std::optional<hastool::DashSegment> last;
    for (auto it = list.at(-1e18, {}); it && count < kMost; it = list.behind(*last, {})) {
        if (++count == 1)
            result["first"] = urls.media(*it).url;
        last = it;
    }
    result["segments"] = count;
    if (last)
        result["last"] = urls.media(*last).url;
    return result;
}

/// Whether a difference is expected for all manifests of a kind, so that no table has it.
bool isByRule(const std::string& field, const DashAddressing& addressing) {
    // The bytes before the index are the initialisation (5.3.9.2.2, 6.3.4.2): the other program
    // does not take them for one.
    if (field == "init" && addressing.kind == DashAddressing::Kind::Base && addressing.indexRange)
        return true;
    // Without times, a template stands for one segment (5.3.9.2.2): for the other program its list
    // has no end.
    const bool isTimed = addressing.duration || addressing.timeline;
    return field == "open" && addressing.kind == DashAddressing::Kind::Template && !isTimed;
}

/// Compares what was read with what is expected; each difference has to be in a table.
class Comparison {
public:
    Comparison(std::string name, std::set<std::string>& used)
        : m_name(std::move(name))
        , m_used(used) {}

    void differs(const std::string& field, const std::string& detail) {
        const Row* const row = rowOf(kDifferent, m_name, field);
        EXPECT_NE(row, nullptr) << m_name << ": " << field << " " << detail;
        m_used.insert(m_name.substr(0, m_name.find('_')) + " " + field);
    }

    void compare(const DashPeriod& period, const json& expected) {
        EXPECT_NEAR(expected["start"].get<double>(), period.start, 0.001) << m_name;
        const bool hasDuration = !expected["duration"].is_null();
        EXPECT_EQ(hasDuration, period.duration.has_value()) << m_name;
        if (hasDuration &&
            std::abs(expected["duration"].get<double>() - period.duration.value_or(-1)) > 0.001)
            differs("duration", expected["duration"].dump());
        std::vector<const DashRepresentation*> all;
        for (const auto& set : period.sets) {
            for (const auto& representation : set.representations)
                all.push_back(&representation);
        }
        const json& wanted = expected["representations"];
        if (wanted.size() != all.size()) {
            differs("representations", std::to_string(all.size()));
            return;
        }
        for (size_t i = 0; i < all.size(); ++i)
            compare(period, *all[i], wanted[i]);
    }

private:
    void compare(const DashPeriod& period, const DashRepresentation& representation,
                 const json& wanted) {
        json read;
        try {
            read = readOf(period, representation);
        } catch (const hastool::ToolError& error) {
            const Row* const row = rowOf(kUnplayable, m_name);
            const bool isKnown =
                row != nullptr && std::string(error.what()).find(row->what) != std::string::npos;
            EXPECT_TRUE(isKnown) << m_name << " " << error.what();
            differs(representation.addressing.list ? "segments" : "init", error.what());
            return;
        }
        for (const auto& [field, value] : wanted.items()) {
            if ((read.contains(field) && read[field] == value) ||
                isByRule(field, representation.addressing))
                continue;
            const bool isCount = field == "first" || field == "last";
            differs(isCount ? "segments" : field, value.dump() + " -> " + read.dump());
        }
    }

    std::string m_name;
    std::set<std::string>& m_used;
};

/// @return nothing for one that is refused as the table says
std::optional<DashManifest> parse(const std::string& name, std::set<std::string>& used) {
    try {
        const auto emptyPeriod = [](const std::string&) { return std::string("<Period/>"); };
        auto manifest = hastool::parseDashManifest(textOf("public/dash", name), kUrl, emptyPeriod);
        EXPECT_EQ(rowOf(kRefused, name), nullptr) << name << " is not refused";
        const Row* const row = rowOf(kLeftOut, name);
        EXPECT_EQ(row == nullptr, manifest.problems.empty()) << name;
        for (const std::string& problem : manifest.problems) {
            const bool isKnown = row != nullptr && problem.find(row->what) != std::string::npos;
            EXPECT_TRUE(isKnown) << name << " " << problem;
            EXPECT_EQ(problem.find('\n'), std::string::npos);
        }
        return manifest;
    } catch (const hastool::ToolError& error) {
        const std::string message = error.what();
        const Row* const row = rowOf(kRefused, name);
        const bool isKnown = row != nullptr && message.find(row->what) != std::string::npos;
        EXPECT_TRUE(isKnown) << name << " " << message;
        EXPECT_EQ(message.find('\n'), std::string::npos) << message;
        used.insert(name.substr(0, name.find('_')) + " refused");
        return std::nullopt;
    }
}

/// Whether a period is remote: the other program lists it without representations.
bool standsElsewhere(const json& period) {
    return period["representations"].empty();
}

TEST(DashPublic, IsReadAsOthersReadItButForWhatTheTableSays) {
    const json expected = test::sampleJson("dev-expected/manifests.json").at("dash");
    const auto all = namesIn("public/dash");
    EXPECT_EQ(all.size(), 245U);
    std::set<std::string> used;
    size_t compared = 0;
    for (const std::string& name : all) {
        const auto manifest = parse(name, used);
        if (!manifest || !expected.contains(name))
            continue;
        const json& periods = expected[name]["periods"];
        ASSERT_EQ(periods.size(), manifest->periods.size()) << name;
        Comparison comparison(name, used);
        for (size_t i = 0; i < periods.size(); ++i) {
            if (!standsElsewhere(periods[i]))
                comparison.compare(manifest->periods[i], periods[i]);
        }
        ++compared;
    }
    EXPECT_GT(compared, 220U);
    std::set<std::string> rows;
    const auto list = [&](const Row& row, const std::string& what) {
        std::istringstream text(row.files);
        for (std::string number; text >> number;)
            rows.insert(number + " " + what);
    };
    for (const Row& row : kRefused)
        list(row, "refused");
    for (const Row& row : kDifferent)
        list(row, row.what);
    EXPECT_EQ(json(used).dump(), json(rows).dump()) << "something in the table differs no more";
}

/// An index of two segments for every range that is asked for.
std::string segmentIndex() {
    hastool::BoxBuilder box;
    box.u32(1).u32(1000).u32(0).u32(0).u16(0).u16(2);
    box.u32(50).u32(2000).u32(0).u32(60).u32(2000).u32(0);
    return box.fullBox("sidx");
}

/// The moment at which a manifest is read: when it was published, or a minute into its last period.
double momentOf(const std::string& text) {
    constexpr char kAttribute[] = "publishTime=\"";
    try {
        const DashManifest manifest = hastool::parseDashManifest(text, kUrl, remotePeriod);
        const double begin = manifest.availabilityStart + manifest.periods.front().start;
        const size_t at = text.find(kAttribute);
        const size_t value = at + sizeof kAttribute - 1;
        const auto published =
            at == std::string::npos
                ? std::nullopt
                : hastool::parseIsoDateTime(text.substr(value, text.find('"', value) - value));
        const double last = manifest.availabilityStart + manifest.periods.back().start;
        return std::max(published.value_or(last), begin) + 60;
    } catch (const hastool::ToolError&) {
        return 0;
    }
}

hastool::Document answer(const hastool::Resource& resource, const std::string& text) {
    if (resource.range)
        return {segmentIndex(), resource.url};
    if (text.find("xlink:href=\"" + resource.url) != std::string::npos)
        return {remotePeriod(""), resource.url};
    return {text, kUrl};
}

void check(const std::string& name, const ManifestWalk& walked, bool isLive) {
    EXPECT_FALSE(walked.endless) << name;
    std::set<std::string> seen;
    int period = 0;
    for (const auto& piece : walked.pieces) {
        period += piece.discontinuity ? 1 : 0;
        const auto& resource = piece.media.resource;
        const std::string range = resource.range ? hastool::rangeText(*resource.range) : "";
        // Several periods may be made of the same segments.
        const bool isNew = seen.insert(std::to_string(period) + resource.url + range).second;
        EXPECT_TRUE(isNew) << name << " " << resource.url;
        EXPECT_TRUE(std::isfinite(piece.start) && piece.seconds >= 0) << name;
    }
    if (const Row* const row = rowOf(kUnplayable, name)) {
        EXPECT_TRUE(walked.pieces.empty()) << name;
        EXPECT_NE(walked.error.find(row->what), std::string::npos) << name << walked.error;
        return;
    }
    EXPECT_FALSE(walked.pieces.empty()) << name << " " << walked.error;
    const bool hasStopped = walked.error.find("the live stream has stopped") != std::string::npos;
    EXPECT_TRUE(walked.error.empty() || (isLive && hasStopped)) << name << " " << walked.error;
    EXPECT_TRUE(isLive || walked.ended) << name;
}

/// @return whether there is such a stream
bool walkStream(const std::string& name, const std::string& text, size_t track, size_t stream) {
    WalkClock clock(momentOf(text));
    const auto fetch = [&](const hastool::Resource& resource) { return answer(resource, text); };
    const auto presentation =
        hastool::openPresentation(kUrl, fetch, std::chrono::seconds(15), clock.source());
    const auto& tracks = presentation->tracks();
    if (track >= tracks.size() || stream >= tracks[track].streams.size())
        return false;
    check(name, walk(*presentation, track, stream, clock, 60), presentation->isLive());
    return true;
}

TEST(DashPublic, EveryTrackOfEveryStreamIsWalkedToItsEnd) {
    size_t streams = 0;
    for (const char* const folder : {"public/dash", "dash"}) {
        for (const std::string& name : namesIn(folder)) {
            const std::string text = textOf(folder, name);
            try {
                for (size_t track = 0; track < 2; ++track) {
                    for (size_t stream = 0; walkStream(name, text, track, stream); ++stream)
                        ++streams;
                }
            } catch (const hastool::ToolError& error) {
                const std::string message = error.what();
                const bool isKnown = rowOf(kRefused, name) != nullptr ||
                                     rowOf(kNothingToPlay, name) != nullptr ||
                                     name == "go-dash_invalid.mpd";
                EXPECT_TRUE(isKnown) << name << " " << message;
                EXPECT_EQ(message.find('\n'), std::string::npos);
            }
        }
    }
    EXPECT_GT(streams, 500U);
}

} // namespace

#include <hastool/check/RuleFamilies.h>
#include <hastool/check/SmoothRule.h>

#include <hastool/base/Base64.h>
#include <hastool/base/ToolError.h>
#include <hastool/info/KeyIds.h>

#include <algorithm>
#include <map>
#include <set>

namespace hastool {
namespace {

class SmoothVersion final : public SmoothRule {
public:
    static constexpr RuleCard kCard{
        "smooth-version", Severity::Error, "[MS-SSTR] 2.2.2.1", "The manifest is not of version 2",
        "Players refuse manifests of a version they do not know. MajorVersion has to be 2."};
    SmoothVersion()
        : SmoothRule(kCard) {}

private:
    void look(const Look& look) const override {
        const std::string version = look.manifest().value("MajorVersion");
        if (version != "2")
            look.add(look.manifest(),
                     version.empty() ? "no MajorVersion" : "MajorVersion is " + inQuotes(version));
    }
};

class SmoothValue final : public SmoothRule {
public:
    static constexpr RuleCard kCard{
        "smooth-value", Severity::Error, "[MS-SSTR] 2.2.2",
        "An attribute is not a number, and has to be one",
        "Players read nothing, zero or something else from it, or refuse the manifest. Write a "
        "whole number."};
    SmoothValue()
        : SmoothRule(kCard) {}

private:
    void look(const Look& look) const override {
        static const std::map<std::string, std::set<std::string>> kNumbers{
            {"SmoothStreamingMedia", {"TimeScale", "Duration", "LookaheadCount"}},
            {"StreamIndex", {"TimeScale", "Chunks", "QualityLevels", "MaxWidth", "MaxHeight"}},
            {"QualityLevel",
             {"Index", "Bitrate", "MaxWidth", "MaxHeight", "SamplingRate", "Channels"}},
            {"c", {"t", "d", "n", "r"}}};
        walkManifest(look.manifest(), [&](const ManifestElement& element) {
            const auto names = kNumbers.find(element.name);
            if (names == kNumbers.end())
                return;
            for (const auto& it : element.attributes) {
                const auto number = smoothNumber(element, it.name.c_str());
                const bool needsMore = it.name == "TimeScale" || it.name == "r";
                if (names->second.count(it.name) != 0 && (!number || (needsMore && *number == 0)))
                    look.add(element, it.name + " is " + inQuotes(it.value));
            }
        });
    }
};

class SmoothStreamType final : public SmoothRule {
public:
    static constexpr RuleCard kCard{
        "smooth-stream-type", Severity::Error, "[MS-SSTR] 2.2.2",
        "A StreamIndex that is neither video, audio nor text",
        "Players leave the stream out. Its Type has to be one of the three."};
    SmoothStreamType()
        : SmoothRule(kCard) {}

private:
    void look(const Look& look) const override {
        for (const ManifestElement* const it : look.streams()) {
            const std::string type = smoothType(*it);
            if (type != "video" && type != "audio" && type != "text")
                look.add(*it, type.empty() ? "no Type" : "Type is " + inQuotes(it->value("Type")));
        }
    }
};

class SmoothBitrate final : public SmoothRule {
public:
    static constexpr RuleCard kCard{
        "smooth-bitrate-missing", Severity::Error, "[MS-SSTR] 2.2.2",
        "A QualityLevel without a Bitrate",
        "Players cannot choose by it, nor make the URLs of its fragments. Write its bits per "
        "second."};
    SmoothBitrate()
        : SmoothRule(kCard) {}

private:
    void look(const Look& look) const override {
        for (const ManifestElement* const stream : look.streams()) {
            for (const ManifestElement* const it : stream->all("QualityLevel")) {
                const bool isMedia = smoothType(*stream) != "text";
                if (!it->has("Bitrate") || (isMedia && smoothNumber(*it, "Bitrate") == 0U))
                    look.add(*it, it->has("Bitrate") ? "Bitrate is 0" : "no Bitrate");
            }
        }
    }
};

class SmoothQualityCount final : public SmoothRule {
public:
    static constexpr RuleCard kCard{
        "smooth-quality-count", Severity::Warning, "[MS-SSTR] 2.2.2",
        "QualityLevels is not the number of QualityLevel elements",
        "Players that set up room by it leave qualities out. Write as many as there are."};
    SmoothQualityCount()
        : SmoothRule(kCard) {}

private:
    void look(const Look& look) const override {
        for (const ManifestElement* const it : look.streams()) {
            const auto stated = smoothNumber(*it, "QualityLevels");
            const size_t there = it->all("QualityLevel").size();
            if (stated && *stated != there)
                look.add(*it, "QualityLevels is " + std::to_string(*stated) + ", there are " +
                                  std::to_string(there));
        }
    }
};

class SmoothIndex final : public SmoothRule {
public:
    static constexpr RuleCard kCard{
        "smooth-index", Severity::Warning, "[MS-SSTR] 2.2.2",
        "The Index of QualityLevels does not count them from 0",
        "Players that tell qualities by it take one for another. Number them 0, 1, 2 and so on."};
    SmoothIndex()
        : SmoothRule(kCard) {}

private:
    void look(const Look& look) const override {
        for (const ManifestElement* const stream : look.streams()) {
            std::set<uint64_t> indexes;
            const auto all = stream->all("QualityLevel");
            size_t stated = 0;
            for (const ManifestElement* const it : all) {
                if (const auto index = smoothNumber(*it, "Index")) {
                    ++stated;
                    indexes.insert(*index);
                }
            }
            const bool isCounted =
                indexes.size() == stated && (indexes.empty() || *indexes.rbegin() + 1 == stated);
            if (stated == all.size() && !isCounted)
                look.add(*stream, std::to_string(stated) + " QualityLevels, the highest Index is " +
                                      std::to_string(*indexes.rbegin()) + ", and " +
                                      std::to_string(indexes.size()) + " are different");
        }
    }
};

class SmoothUrl final : public SmoothRule {
public:
    static constexpr RuleCard kCard{
        "smooth-url", Severity::Error, "[MS-SSTR] 2.2.2",
        "A StreamIndex whose Url does not name its fragments",
        "Players load the same fragment again and again, or none. The Url has to hold {bitrate} "
        "and {start time}."};
    SmoothUrl()
        : SmoothRule(kCard) {}

private:
    static std::string faultOf(const ManifestElement& stream) {
        const std::string url = lowered(stream.value("Url"));
        const bool hasMany = stream.all("QualityLevel").size() > 1;
        if (url.empty())
            return "no Url";
        if (url.find("{start time}") == std::string::npos &&
            url.find("{start_time}") == std::string::npos)
            return inQuotes(stream.value("Url")) + " without {start time}";
        if (hasMany && url.find("{bitrate}") == std::string::npos)
            return inQuotes(stream.value("Url")) + " without {bitrate}";
        return {};
    }
    void look(const Look& look) const override {
        for (const ManifestElement* const it : look.streams()) {
            const std::string fault = it->child("c") != nullptr ? faultOf(*it) : "";
            if (!fault.empty())
                look.add(*it, fault);
        }
    }
};

class SmoothCodecData final : public SmoothRule {
public:
    static constexpr RuleCard kCard{
        "smooth-codec-data", Severity::Error, "[MS-SSTR] 2.2.2",
        "A QualityLevel whose CodecPrivateData is missing or no hexadecimal text",
        "Smooth fragments have no initialisation: without this players cannot set up the decoder. "
        "For H.264 it holds the parameter sets, each behind 00000001."};
    SmoothCodecData()
        : SmoothRule(kCard) {}

private:
    static bool isHex(const std::string& text) {
        constexpr char kDigits[] = "0123456789abcdefABCDEF";
        return text.size() % 2 == 0 && text.find_first_not_of(kDigits) == std::string::npos;
    }
    void look(const Look& look) const override {
        for (const ManifestElement* const stream : look.streams()) {
            for (const ManifestElement* const it : stream->all("QualityLevel")) {
                const std::string data = it->value("CodecPrivateData");
                if (data.empty() && smoothType(*stream) == "video")
                    look.add(*it, "no CodecPrivateData");
                else if (!isHex(data))
                    look.add(*it, "CodecPrivateData is " + inQuotes(data));
            }
        }
    }
};

class SmoothFourCc final : public SmoothRule {
public:
    static constexpr RuleCard kCard{
        "smooth-fourcc", Severity::Warning, "[MS-SSTR] 2.2.2",
        "A QualityLevel whose FourCC is missing or unknown",
        "Players cannot tell the codec, and leave the quality out. H264 and AACL are the usual "
        "ones."};
    SmoothFourCc()
        : SmoothRule(kCard) {}

private:
    void look(const Look& look) const override {
        static const std::set<std::string> kKnown{
            "H264", "AVC1", "AVCB", "WVC1", "HVC1", "HEV1", "HEVC", "DVHE", "DVH1", "AACL", "AACH",
            "AACP", "WMAP", "WMA2", "EC-3", "AC-3", "MP3",  "MLPA", "DTSC", "DTSH", "DTSL"};
        for (const ManifestElement* const stream : look.streams()) {
            if (smoothType(*stream) == "text")
                continue;
            for (const ManifestElement* const it : stream->all("QualityLevel")) {
                const std::string own = it->value("FourCC");
                std::string code = own.empty() ? stream->value("FourCC") : own;
                std::transform(code.begin(), code.end(), code.begin(), [](char c) {
                    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
                });
                const bool isTagged = code.empty() && it->has("AudioTag"); // before FourCC was
                if (!isTagged && kKnown.count(code) == 0)
                    look.add(*it, code.empty() ? "no FourCC" : "FourCC is " + inQuotes(own));
            }
        }
    }
};

class SmoothResolution final : public SmoothRule {
public:
    static constexpr RuleCard kCard{
        "smooth-resolution", Severity::Warning, "[MS-SSTR] 2.2.2",
        "A QualityLevel of video without MaxWidth and MaxHeight",
        "Players cannot leave out what is too large for the screen or the device, nor make the "
        "initialisation. Write the size of the picture."};
    SmoothResolution()
        : SmoothRule(kCard) {}

private:
    void look(const Look& look) const override {
        for (const ManifestElement* const stream : look.streams()) {
            if (smoothType(*stream) != "video")
                continue;
            for (const ManifestElement* const it : stream->all("QualityLevel")) {
                const bool isStated = (it->has("MaxWidth") && it->has("MaxHeight")) ||
                                      (it->has("Width") && it->has("Height"));
                if (!isStated)
                    look.add(*it, "no MaxWidth and MaxHeight");
            }
        }
    }
};

class SmoothProtectionHeader final : public SmoothRule {
public:
    static constexpr RuleCard kCard{
        "smooth-protection", Severity::Error, "[MS-SSTR] 2.2.2",
        "A ProtectionHeader that names no system, or holds no base64",
        "Players cannot ask for a licence. SystemID has to be a UUID, and the header's data stands "
        "inside the element in base64."};
    SmoothProtectionHeader()
        : SmoothRule(kCard) {}

private:
    static std::string faultOf(const ManifestElement& header) {
        const std::string id = header.value("SystemID");
        const std::string uuid = uuidText(id);
        constexpr size_t kUuid = 36; // with hyphens
        if (uuid.size() != kUuid ||
            uuid.find_first_not_of("0123456789abcdef-") != std::string::npos)
            return id.empty() ? "no SystemID" : "SystemID is " + inQuotes(id);
        const std::string data = withoutBlanks(header.text);
        if (data.empty() || !fromBase64(data))
            return data.empty() ? "it is empty" : "its text is not base64";
        return {};
    }
    void look(const Look& look) const override {
        for (const ManifestElement* const protection : look.manifest().all("Protection")) {
            for (const ManifestElement* const it : protection->all("ProtectionHeader")) {
                const std::string fault = faultOf(*it);
                if (!fault.empty())
                    look.add(*it, fault);
            }
        }
    }
};

} // namespace

void addSmoothRules(Rules& rules) {
    rules.push_back(std::make_unique<SmoothVersion>());
    rules.push_back(std::make_unique<SmoothValue>());
    rules.push_back(std::make_unique<SmoothStreamType>());
    rules.push_back(std::make_unique<SmoothBitrate>());
    rules.push_back(std::make_unique<SmoothQualityCount>());
    rules.push_back(std::make_unique<SmoothIndex>());
    rules.push_back(std::make_unique<SmoothUrl>());
    rules.push_back(std::make_unique<SmoothCodecData>());
    rules.push_back(std::make_unique<SmoothFourCc>());
    rules.push_back(std::make_unique<SmoothResolution>());
    rules.push_back(std::make_unique<SmoothProtectionHeader>());
}

} // namespace hastool

#include <hastool/check/RuleFamilies.h>
#include <hastool/check/SegmentRule.h>
#include <hastool/info/KeyIds.h>

#include <algorithm>
#include <functional>
#include <set>
#include <vector>

namespace hastool {
namespace {

using Kind = StreamFacts::Kind;

constexpr const char* kNoKey = "00000000-0000-0000-0000-000000000000";

bool isHad(const CheckedInit& init) {
    return init.isFetched && init.answer.ok && init.decryptTrouble.empty() &&
           init.facts.trouble.empty();
}

/// The tracks of video and audio in all initialisations that were had.
std::vector<const InitTrackFacts*> tracksOf(const CheckedRendition& rendition) {
    std::vector<const InitTrackFacts*> tracks;
    for (const CheckedInit& init : rendition.inits) {
        if (!isHad(init))
            continue;
        for (const InitTrackFacts& it : init.facts.tracks) {
            if (it.hasEntry && (it.kind == Kind::Video || it.kind == Kind::Audio))
                tracks.push_back(&it);
        }
    }
    return tracks;
}

bool isAnyProtected(const std::vector<const InitTrackFacts*>& tracks) {
    return std::any_of(tracks.begin(), tracks.end(),
                       [](const auto* it) { return it->isProtected; });
}

/// Whether every initialisation was had, so that what none says is not said.
bool hasAllInits(const CheckedRendition& rendition) {
    return !rendition.inits.empty() &&
           std::all_of(rendition.inits.begin(), rendition.inits.end(), isHad);
}

bool hasFragments(const CheckedRendition& rendition) {
    return std::any_of(rendition.segments.begin(), rendition.segments.end(),
                       [](const auto& it) { return isRead(it) && it.facts.boxes.fragments > 0; });
}

bool hasEncryptedSamples(const CheckedRendition& rendition) {
    for (const CheckedSegment& segment : rendition.segments) {
        for (const auto& [id, track] : segment.facts.boxes.tracks) {
            if (track.hasEncryptionBoxes)
                return true;
        }
    }
    return false;
}

constexpr RuleCard kClear = {
    "cenc-clear-boxes", Severity::Error, "ISO/IEC 23009-1, 5.8.4.1; ISO/IEC 23001-7, 4",
    "The manifest says that samples are encrypted, and the media is clear",
    "Players ask for a licence that is not needed, and refuse to play without one. Either the "
    "packager did not encrypt, or the manifest belongs to other media."};

class ClearBoxes : public RenditionRule {
public:
    ClearBoxes()
        : RenditionRule(kClear) {}

protected:
    void look(const RenditionLook& look) const override {
        const CheckedRendition& rendition = look.rendition;
        const bool isMedia = rendition.kind == CheckedRendition::Kind::Video ||
                             rendition.kind == CheckedRendition::Kind::Audio;
        if (!rendition.isProtected || !isMedia || !hasFragments(rendition))
            return;
        if (look.evidence.format == CheckedFormat::Smooth) {
            if (!hasEncryptedSamples(rendition))
                look.add("no fragment tells how its samples are encrypted");
            return;
        }
        const auto tracks = tracksOf(rendition);
        if (hasAllInits(rendition) && !tracks.empty() && !isAnyProtected(tracks))
            look.add("no sample entry is one of encrypted samples");
    }
};

constexpr RuleCard kUndeclared = {
    "cenc-undeclared", Severity::Error,
    "ISO/IEC 23009-1, 5.8.4.1; RFC 8216, 4.3.2.4; [MS-SSTR] 2.2.2.2",
    "Samples are encrypted, and the manifest does not say so",
    "Players do not ask for a licence and show nothing. The manifest needs ContentProtection, "
    "EXT-X-KEY or Protection."};

class Undeclared : public RenditionRule {
public:
    Undeclared()
        : RenditionRule(kUndeclared) {}

protected:
    void look(const RenditionLook& look) const override {
        if (look.rendition.isProtected)
            return;
        if (isAnyProtected(tracksOf(look.rendition)))
            look.add("the sample entries are those of encrypted samples");
        else if (look.rendition.inits.empty() && hasEncryptedSamples(look.rendition))
            look.add("fragments tell how their samples are encrypted");
    }
};

constexpr RuleCard kKeyId = {
    "cenc-key-id", Severity::Error, "ISO/IEC 23009-1, 5.8.4.1; ISO/IEC 23001-7, 8.2",
    "The media is encrypted with another key than the manifest names",
    "Players get a licence for the wrong key and show nothing. The key id in the manifest has to "
    "be that of tenc."};

class KeyIdOfManifest : public RenditionRule {
public:
    KeyIdOfManifest()
        : RenditionRule(kKeyId) {}

protected:
    void look(const RenditionLook& look) const override {
        const auto& named = look.rendition.keyIds;
        if (named.empty())
            return;
        std::set<std::string> told;
        for (const InitTrackFacts* const track : tracksOf(look.rendition)) {
            const std::string id = uuidText(track->keyId);
            const bool isNamed = std::any_of(named.begin(), named.end(),
                                             [&](const auto& it) { return uuidText(it) == id; });
            if (track->isProtected && track->hasKeyId && id != kNoKey && !isNamed &&
                told.insert(id).second)
                look.add("tenc names " + id + ", the manifest " + uuidText(named.front()) +
                         (named.size() > 1 ? " and others" : ""));
        }
    }
};

constexpr RuleCard kPssh = {
    "cenc-pssh-key-id", Severity::Warning, "ISO/IEC 23001-7, 8.1",
    "A pssh box of the media does not have the key that the media needs",
    "Players that ask for licences by the media's own pssh get the wrong key. Its key ids have to "
    "contain that of tenc."};

class KeyIdOfPssh : public RenditionRule {
public:
    KeyIdOfPssh()
        : RenditionRule(kPssh) {}

protected:
    void look(const RenditionLook& look) const override {
        for (const CheckedInit& init : look.rendition.inits) {
            if (isHad(init))
                lookInto(look, init);
        }
    }

private:
    static void lookInto(const RenditionLook& look, const CheckedInit& init) {
        std::set<std::string> needed;
        for (const InitTrackFacts& it : init.facts.tracks) {
            if (it.isProtected && it.hasKeyId && uuidText(it.keyId) != kNoKey)
                needed.insert(uuidText(it.keyId));
        }
        for (const std::string& box : init.facts.protections) {
            const auto ids = keyIdsOfPssh(box);
            const bool isFit = std::any_of(ids.begin(), ids.end(), [&](const std::string& it) {
                return needed.count(it) > 0;
            });
            if (needed.empty() || ids.empty() || isFit)
                continue;
            look.findings.add(
                look.card,
                {look.rendition.name, "initialisation", placeOf(init.answer) + " moov/pssh"},
                "it is for " + ids.front() + ", tenc names " + *needed.begin());
        }
    }
};

constexpr RuleCard kTenc = {
    "cenc-tenc-missing", Severity::Error, "ISO/IEC 23001-7, 8.2",
    "An initialisation does not tell the key of its encrypted samples",
    "Players do not know which key to use and show nothing. sinf needs schm, and schi with tenc."};

class TencMissing : public RenditionRule {
public:
    TencMissing()
        : RenditionRule(kTenc) {}

protected:
    void look(const RenditionLook& look) const override {
        for (const CheckedInit& init : look.rendition.inits) {
            if (!isHad(init))
                continue;
            for (const InitTrackFacts& it : init.facts.tracks) {
                if (it.isProtected && !it.hasKeyId)
                    look.findings.add(look.card,
                                      {look.rendition.name, "initialisation",
                                       placeOf(init.answer) + " moov/trak"},
                                      "track " + std::to_string(it.id) + " has no tenc");
            }
        }
    }
};

constexpr RuleCard kSamples = {
    "cenc-samples", Severity::Error, "ISO/IEC 23001-7, 7",
    "The initialisation says that samples are encrypted, and no fragment says how",
    "Decryption needs an initialisation vector for each sample: players show nothing. Each traf "
    "needs senc, or saiz and saio."};

class SampleInformation : public RenditionRule {
public:
    SampleInformation()
        : RenditionRule(kSamples) {}

protected:
    void look(const RenditionLook& look) const override {
        const auto tracks = tracksOf(look.rendition);
        // With one vector for all samples a track may do without.
        const bool needsVectors =
            !tracks.empty() && std::all_of(tracks.begin(), tracks.end(), [](const auto* it) {
                return it->isProtected && it->scheme == "cenc";
            });
        if (needsVectors && hasFragments(look.rendition) && !hasEncryptedSamples(look.rendition))
            look.add("no traf has senc or saiz");
    }
};

constexpr RuleCard kDecrypt = {
    "hls-aes-decrypt", Severity::Error, "RFC 8216, 4.3.2.4 and 5.2",
    "A segment cannot be decrypted",
    "Players stop here. Key and initialisation vector have to be those that the packager used, and "
    "the segment has to be whole."};

class Undecryptable : public RenditionRule {
public:
    Undecryptable()
        : RenditionRule(kDecrypt) {}

protected:
    void look(const RenditionLook& look) const override {
        for (const CheckedSegment& it : look.rendition.segments) {
            if (!it.decryptTrouble.empty() && hasKey(look.evidence, it))
                SegmentLook{look, it}.add(it.decryptTrouble);
        }
    }

private:
    /// Whether its key was had: one that was not is a fault of its own.
    static bool hasKey(const Evidence& evidence, const CheckedSegment& segment) {
        return std::none_of(evidence.keys.begin(), evidence.keys.end(), [&](const Answer& it) {
            constexpr uint64_t kKeySize = 16;
            return segment.encryption && it.resource.url == segment.encryption->keyUrl &&
                   (!it.ok || it.bytes != kKeySize);
        });
    }
};

constexpr RuleCard kNonsense = {
    "hls-aes-nonsense", Severity::Error, "RFC 8216, 4.3.2.4 and 5.2",
    "A segment decrypts to nothing sensible",
    "Players fail at its first bytes. The key or the initialisation vector is another than the "
    "packager used; where EXT-X-KEY has no IV, the media sequence number is the vector."};

class Nonsense : public RenditionRule {
public:
    Nonsense()
        : RenditionRule(kNonsense) {}

protected:
    void look(const RenditionLook& look) const override {
        for (const CheckedSegment& it : look.rendition.segments) {
            if (!it.isEncrypted || !it.isFetched || !it.answer.ok || !it.decryptTrouble.empty() ||
                !it.encryption)
                continue;
            const std::string trouble = troubleOf(it.facts);
            if (!trouble.empty())
                SegmentLook{look, it}.add(trouble);
        }
    }

private:
    /// A wrong vector spoils the first sixteen bytes alone.
    static std::string troubleOf(const SegmentFacts& facts) {
        if (!facts.trouble.empty())
            return facts.trouble;
        const bool isStream = facts.kind == SegmentFacts::Kind::TransportStream;
        return isStream && facts.transport.strayBytes > 0
                   ? "its first bytes are no packet of a transport stream"
                   : "";
    }
};

constexpr RuleCard kKeySize = {
    "hls-key-size", Severity::Error, "RFC 8216, 5.1", "A key is not of 16 bytes",
    "Nothing that it encrypts can be played. The key has to come as its 16 bytes, not as text, and "
    "a page that asks to log in is none."};

class KeySize : public Rule {
public:
    const RuleCard& card() const override { return kKeySize; }

    void check(const Evidence& evidence, Findings& findings) const override {
        for (const Answer& it : evidence.keys) {
            if (it.ok && it.bytes != 16)
                findings.add(kKeySize, {"", "", placeOf(it)},
                             "it has " + std::to_string(it.bytes) + " bytes");
        }
    }
};

} // namespace

void addProtectionRules(Rules& rules) {
    rules.push_back(std::make_unique<ClearBoxes>());
    rules.push_back(std::make_unique<Undeclared>());
    rules.push_back(std::make_unique<KeyIdOfManifest>());
    rules.push_back(std::make_unique<KeyIdOfPssh>());
    rules.push_back(std::make_unique<TencMissing>());
    rules.push_back(std::make_unique<SampleInformation>());
    rules.push_back(std::make_unique<Undecryptable>());
    rules.push_back(std::make_unique<Nonsense>());
    rules.push_back(std::make_unique<KeySize>());
}

} // namespace hastool

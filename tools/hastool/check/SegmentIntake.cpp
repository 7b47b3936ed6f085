#include "SegmentIntake.h"

#include <hastool/base/ByteSink.h>
#include <hastool/net/SegmentDecryptor.h>

#include <algorithm>
#include <set>

namespace hastool {
namespace {

constexpr size_t kLiveDistance = 3; // segments before the end (RFC 8216, 6.3.3)

/// Adds a resource unless it was added before.
class Wishes {
public:
    void add(const Resource& resource) {
        const std::string range = resource.range ? rangeText(*resource.range) : "";
        if (m_seen.insert(resource.url + " " + range).second)
            m_resources.push_back(resource);
    }
    const std::vector<Resource>& resources() const { return m_resources; }

private:
    std::set<std::string> m_seen;
    std::vector<Resource> m_resources;
};

} // namespace

std::vector<size_t> sampleOf(size_t count, size_t wanted) {
    std::vector<size_t> chosen;
    if (wanted == 0 || wanted >= count) {
        for (size_t i = 0; i < count; ++i)
            chosen.push_back(i);
        return chosen;
    }
    const size_t pairs = (wanted + 1) / 2;
    for (size_t i = 0; i < pairs; ++i) {
        const size_t first = pairs == 1 ? 0 : i * (count - 2) / (pairs - 1);
        for (size_t next = first; next < first + 2 && next < count; ++next) {
            if (chosen.size() < wanted && (chosen.empty() || chosen.back() < next))
                chosen.push_back(next);
        }
    }
    return chosen;
}

void SegmentIntake::takeNew() {
    if (m_options.manifestOnly)
        return;
    const std::vector<Place> places = choose();
    expect(places);
    size_t done = 0;
    for (const Place& place : places) {
        if (const std::string trouble = m_source.troubleNow(); !trouble.empty()) {
            m_evidence.cutShort = trouble;
            return;
        }
        CheckedRendition& rendition = m_evidence.renditions[place.rendition];
        take(rendition, rendition.segments[place.segment]);
        if (m_options.progress)
            m_options.progress(++done, places.size());
    }
}

std::vector<SegmentIntake::Place> SegmentIntake::choose() {
    std::vector<Place> places;
    m_known.resize(m_evidence.renditions.size());
    for (size_t i = 0; i < m_evidence.renditions.size(); ++i) {
        const auto& segments = m_evidence.renditions[i].segments;
        // A live presentation may keep hours of which only the end is played.
        if (m_evidence.isLive && m_known[i] == 0)
            m_known[i] = segments.size() - std::min(segments.size(), kLiveDistance);
        for (const size_t next : sampleOf(segments.size() - m_known[i], m_options.sample)) {
            if (!segments[m_known[i] + next].gap)
                places.push_back({i, m_known[i] + next});
        }
        m_known[i] = segments.size();
    }
    return places;
}

/// In the order in which they will be fetched.
void SegmentIntake::expect(const std::vector<Place>& places) {
    Wishes wishes;
    for (const Place& place : places) {
        const CheckedRendition& rendition = m_evidence.renditions[place.rendition];
        const CheckedSegment& segment = rendition.segments[place.segment];
        if (segment.init && !rendition.inits[*segment.init].isFetched)
            wishes.add(rendition.inits[*segment.init].answer.resource);
        wishes.add(segment.answer.resource);
    }
    m_source.expect(wishes.resources());
}

void SegmentIntake::take(CheckedRendition& rendition, CheckedSegment& segment) {
    CheckedInit* const init = segment.init ? &rendition.inits[*segment.init] : nullptr;
    if (init != nullptr && !init->isFetched)
        takeInit(*init);
    CheckSource::Fetched fetched = m_source.fetch(segment.answer.resource);
    segment.answer = std::move(fetched.answer);
    segment.isFetched = true;
    if (!segment.answer.ok)
        return;
    if (segment.encryption)
        segment.decryptTrouble = decrypt(*segment.encryption, fetched.bytes);
    if (!segment.decryptTrouble.empty())
        return;
    if (segment.makeInit)
        segment.facts = readSegmentFacts(segment.makeInit(fetched.bytes), fetched.bytes);
    else
        segment.facts = readSegmentFacts(init != nullptr ? init->bytes : "", fetched.bytes);
}

void SegmentIntake::takeInit(CheckedInit& init) {
    CheckSource::Fetched fetched = m_source.fetch(init.answer.resource);
    init.answer = std::move(fetched.answer);
    init.isFetched = true;
    if (!init.answer.ok)
        return;
    init.bytes = std::move(fetched.bytes);
    if (init.encryption)
        init.decryptTrouble = decrypt(*init.encryption, init.bytes);
    if (init.decryptTrouble.empty())
        init.facts = readInitFacts(init.bytes);
}

std::string SegmentIntake::decrypt(const Encryption& encryption, std::string& bytes) {
    const AesBytes* const key = keyOf(encryption.keyUrl);
    if (key == nullptr)
        return "its key could not be had";
    MemorySink plain(kMaxCheckedBytes);
    SegmentDecryptor decryptor(*key, encryption.iv, true, plain);
    const bool isWhole =
        decryptor.write(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()) &&
        decryptor.finish();
    bytes = std::move(plain.bytes());
    return isWhole ? "" : decryptor.failure();
}

/// Fetched once. Null for a key that cannot be had.
const AesBytes* SegmentIntake::keyOf(const std::string& url) {
    const auto known = m_keys.find(url);
    if (known != m_keys.end())
        return known->second ? &*known->second : nullptr;
    CheckSource::Fetched fetched = m_source.fetch({url, std::nullopt});
    std::optional<AesBytes>& key = m_keys[url];
    if (fetched.answer.ok && fetched.bytes.size() == AesBytes().size()) {
        key.emplace();
        std::copy(fetched.bytes.begin(), fetched.bytes.end(), key->begin());
    }
    m_evidence.keys.push_back(std::move(fetched.answer));
    return key ? &*key : nullptr;
}

} // namespace hastool

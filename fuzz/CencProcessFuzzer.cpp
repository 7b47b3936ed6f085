// The box rewriter: a segment in chunks must come out as the same segment at once.
#include <Hasutil/CCENCMediaContent.h>
#include <Input.h>
#include <support/ExactBytes.h>

#include <algorithm>
#include <cstring>
#include <list>
#include <string>

namespace {

using fuzz::Input;
using fuzz::require;
using test::ExactBytes;
using Bytes = std::vector<unsigned char>;

struct Result {
    Bytes bytes;
    int error = 0;
};

struct Settings {
    bool avSeparated;
    bool isDescribed;
    std::string pssh;
};

void prepare(CCENCMediaContent& content, const Settings& settings) {
    content.init(eDRM_TYPE_PLAYREADY, settings.avSeparated);
    if (!settings.isDescribed)
        return;
    std::list<dashengine::ContentProtection_t> list(1);
    list.front().schemeIdUri = "urn:uuid:9A04F079-9840-4286-AB92-E65BE0885F95";
    list.front().pssh = settings.pssh;
    content.setContentProtectionInfo(0, 0, &list);
}

/// How much a segment may grow: each `moov` and `moof` by a `pssh`, with the descriptor's data or
/// with that of a `pssh` that was kept.
size_t roomFor(const Bytes& segment, const Settings& settings) {
    size_t boxes = 0;
    for (const char* type : {"moov", "moof"}) {
        auto at = segment.begin();
        while ((at = std::search(at, segment.end(), type, type + 4)) != segment.end()) {
            ++boxes;
            ++at;
        }
    }
    return boxes * (32 + std::max(settings.pssh.size(), segment.size()));
}

/// One call of process(); its output is appended to the result.
bool step(CCENCMediaContent& content, const ExactBytes& in, size_t room, Result& result) {
    const ExactBytes out(content.getUndecryptedData() + in.size() + room);
    unsigned int written = 0;
    const int returned = content.process(0, 0, in.data(), in.uintSize(), out.data(), written);
    require(written <= out.size());
    require(returned == -1 || returned == static_cast<int>(written));
    result.bytes.insert(result.bytes.end(), out.data(), out.data() + written);
    result.error = content.getLastErrorCode();
    require((returned == -1) == (result.error != 0));
    return returned >= 0;
}

void finish(CCENCMediaContent& content, size_t room, Result& result) {
    const ExactBytes out(content.getUndecryptedData() + room);
    unsigned int written = 0;
    require(content.final(0, 0, out.data(), written) == 1);
    require(written <= out.size() && content.getUndecryptedData() == 0);
    result.bytes.insert(result.bytes.end(), out.data(), out.data() + written);
    result.error = content.getLastErrorCode();
}

/// @param pieces  sizes of the chunks, over and over; empty for one chunk
Result rewrite(const Bytes& segment, const Bytes& pieces, const Settings& settings) {
    CCENCMediaContent content;
    prepare(content, settings);
    Result result;
    const size_t room = roomFor(segment, settings);
    size_t at = 0;
    for (size_t i = 0; at < segment.size(); ++i) {
        const size_t left = segment.size() - at;
        const size_t size =
            pieces.empty() ? left : std::min<size_t>(1U + pieces[i % pieces.size()], left);
        const ExactBytes in = ExactBytes::of(segment.data() + at, segment.data() + at + size);
        if (!step(content, in, room, result))
            return result;
        at += size;
    }
    finish(content, room, result);
    return result;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    const unsigned int how = input.byte();
    Settings settings{(how & 1U) != 0, (how & 2U) != 0, {}};
    const Bytes text = input.bytes(how >> 2 & 31U);
    settings.pssh.assign(text.begin(), text.end());
    const Bytes pieces = input.bytes(1 + (input.byte() & 7U));
    const Bytes segment = input.bytes(1 << 13);

    const Result whole = rewrite(segment, {}, settings);
    const Result chunked = rewrite(segment, pieces, settings);
    require(whole.bytes == chunked.bytes && whole.error == chunked.error);
    if (settings.avSeparated || settings.isDescribed)
        return 0;
    // There is nothing to insert, so the output must be what came in, as far as it goes.
    require(whole.bytes.size() <= segment.size());
    require(std::equal(whole.bytes.begin(), whole.bytes.end(), segment.begin()));
    return 0;
}

#include "MediaCheck.h"

#include <hastool/base/BoxView.h>
#include <hastool/base/ByteSource.h>
#include <hastool/media/BoxWalk.h>

#include <algorithm>
#include <optional>

namespace hastool {
namespace {

constexpr char kPlayReady[] = "9a04f07998404286ab92e65be0885f95";

std::string readAll(const std::string& path) {
    std::string bytes;
    fileSource(path)([&](const unsigned char* data, size_t size) {
        bytes.append(reinterpret_cast<const char*>(data), size);
    });
    return bytes;
}

std::string checkBytes(const std::string& output, const std::vector<std::string>& segments) {
    std::string expected;
    for (const std::string& segment : segments)
        expected += segment;
    if (output == expected)
        return {};
    const auto end = output.size() < expected.size()
                         ? output.end()
                         : output.begin() + static_cast<std::ptrdiff_t>(expected.size());
    const auto place = std::mismatch(output.begin(), end, expected.begin()).first;
    return "differs from the clear segments at byte " + std::to_string(place - output.begin());
}

/// All samples, one after the other.
std::string samplesOf(std::string_view bytes) {
    std::string samples;
    while (const auto box = takeBox(bytes)) {
        if (box->type == "mdat")
            samples += box->content;
    }
    return samples;
}

/// One movie or movie fragment.
struct Head {
    std::string type;    ///< "moov" or "moof"
    size_t pssh = 0;     ///< how many PSSH boxes of the known system
    bool isLast = false; ///< one of them is its last child
};

/// The movies and fragments of a file, and what is wrong with its boxes.
struct Boxes {
    std::vector<Head> heads;
    size_t strayPssh = 0; ///< elsewhere, or of another system
    std::string trouble;
};

Boxes readBoxes(const std::string& bytes) {
    Boxes result;
    bool isInHead = false;
    const auto trouble = walkBoxes(memoryBlocks(bytes), [&](const BoxInfo& box) {
        if (box.depth == 0) {
            isInHead = box.type == "moov" || box.type == "moof";
            if (isInHead)
                result.heads.push_back({box.type, 0, false});
        }
        const bool isPssh = box.type == "pssh";
        const bool isOwn = isPssh && box.facts.value("system_id", "") == kPlayReady;
        const bool isPlaced = isOwn && isInHead && box.depth == 1;
        if (box.depth == 1 && isInHead)
            result.heads.back().isLast = isPlaced;
        if (isPlaced)
            ++result.heads.back().pssh;
        else if (isPssh)
            ++result.strayPssh;
    });
    if (trouble)
        result.trouble = "offset " + std::to_string(trouble->offset) + ": " + trouble->what;
    return result;
}

/// Checks the number of movies or fragments, and that each has exactly so many PSSH boxes.
struct HeadCount {
    size_t count = 0;
    bool isRight = true;
};

HeadCount countHeads(const Boxes& boxes, const char* type, size_t pssh) {
    HeadCount result;
    for (const Head& head : boxes.heads) {
        if (head.type != type)
            continue;
        ++result.count;
        result.isRight = result.isRight && head.pssh == pssh &&
                         (pssh == 0 || head.type == "moof" || head.isLast);
    }
    return result;
}

std::string checkBoxes(DemoMedia media, const std::string& output,
                       const std::vector<std::string>& segments) {
    const Boxes boxes = readBoxes(output);
    if (!boxes.trouble.empty())
        return boxes.trouble;
    const auto movies = countHeads(boxes, "moov", media == DemoMedia::PsshInMovie ? 1 : 0);
    const auto fragments = countHeads(boxes, "moof", media == DemoMedia::PsshInFragments ? 1 : 0);
    if (movies.count == 0 || fragments.count != segments.size())
        return std::to_string(fragments.count) + " fragments for " +
               std::to_string(segments.size()) + " segments";
    if (boxes.strayPssh > 0 || !movies.isRight || !fragments.isRight)
        return "PSSH data is not where it belongs";
    if (media == DemoMedia::Boxes)
        return {};
    std::string samples;
    for (const std::string& segment : segments)
        samples += samplesOf(segment);
    return samplesOf(output) == samples ? "" : "the samples differ from the segments'";
}

} // namespace

std::string checkMedia(DemoMedia media, const std::string& output,
                       const std::vector<std::string>& segments) {
    const std::string bytes = readAll(output);
    return media == DemoMedia::ClearBytes ? checkBytes(bytes, segments)
                                          : checkBoxes(media, bytes, segments);
}

} // namespace hastool

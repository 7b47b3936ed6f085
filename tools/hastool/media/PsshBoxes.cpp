#include "PsshBoxes.h"

#include "BoxWalk.h"
#include <hastool/base/ToolError.h>

#include <algorithm>
#include <array>

namespace hastool {
namespace {

/// FNV-1a.
uint64_t digestOf(const BlockSource& source, uint64_t at, uint64_t size) {
    std::array<unsigned char, 4096> piece{};
    uint64_t digest = 0xCBF29CE484222325;
    while (size > 0) {
        const auto count = static_cast<size_t>(std::min<uint64_t>(size, piece.size()));
        source.read(at, piece.data(), count);
        for (size_t i = 0; i < count; ++i)
            digest = (digest ^ piece[i]) * 0x100000001B3;
        at += count;
        size -= count;
    }
    return digest;
}

bool isOfMedia(const std::string& type) {
    static constexpr std::array<std::string_view, 7> types = {"ftyp", "styp", "moov", "moof",
                                                              "sidx", "mdat", "emsg"};
    return std::find(types.begin(), types.end(), type) != types.end();
}

bool isParent(const std::string& type) {
    return type == "moov" || type == "moof";
}

class Finder {
public:
    explicit Finder(const BlockSource& source)
        : m_source(source) {}

    void take(const BoxInfo& box) {
        if (box.depth == 0) {
            if (m_trouble.empty() && !isWhole(box))
                m_trouble = "offset " + std::to_string(box.offset) + ": " + box.trouble;
            m_isMedia = m_isMedia || isOfMedia(box.type);
            m_isInParent = isParent(box.type);
            if (m_isInParent)
                m_found.parents.push_back({box.offset, box.size, {}});
        } else if (box.depth == 1 && m_isInParent) {
            takeChild(box);
        }
        if (box.type == "hdlr" && box.facts.contains("handler"))
            takeHandler(box.facts["handler"]);
    }
    /// @throws ToolError
    PsshBoxes finish(const std::string& path) {
        if (!m_isMedia)
            throw ToolError(path, "not an MP4 file");
        if (!m_trouble.empty())
            throw ToolError(path, m_trouble);
        return std::move(m_found);
    }

private:
    /// Whether the box's end is known, so that the boxes behind it can be found. What the box holds
    /// is checked by the handler.
    bool isWhole(const BoxInfo& box) const {
        return !box.type.empty() && box.size >= box.headerSize &&
               box.size <= m_source.size - box.offset;
    }
    void takeChild(const BoxInfo& box) {
        uint64_t digest = 0;
        m_found.tracks += box.type == "trak" ? 1 : 0;
        if (box.type == "pssh" && box.trouble.empty()) {
            digest = digestOf(m_source, box.offset, box.size);
            m_found.largest = std::max(m_found.largest, box.size);
        }
        m_found.parents.back().children.push_back({box.type, digest});
    }
    void takeHandler(const std::string& handler) {
        if (m_hasHandler || (handler != "vide" && handler != "soun"))
            return;
        m_hasHandler = true;
        m_found.isAudio = handler == "soun";
    }

    const BlockSource& m_source;
    PsshBoxes m_found;
    std::string m_trouble;
    bool m_isMedia = false;
    bool m_isInParent = false;
    bool m_hasHandler = false;
};

using Children = std::vector<PsshBoxes::Parent::Child>;

void addChanges(PsshChanges& changes, const Children& before, const Children& after) {
    for (size_t i = 0; i < after.size(); ++i) {
        if (i >= before.size())
            changes.inserted += after[i].type == "pssh" ? 1 : 0;
        else if (before[i].type == "pssh" && after[i].type == "free")
            ++changes.neutralised;
        else if (before[i].type == "pssh" && before[i].digest != after[i].digest)
            ++changes.replaced;
    }
}

} // namespace

size_t PsshBoxes::parentsIn(uint64_t begin, uint64_t end) const {
    const auto first = std::partition_point(parents.begin(), parents.end(), [&](const auto& it) {
        return it.offset + it.size <= begin;
    });
    const auto last =
        std::partition_point(first, parents.end(), [&](const auto& it) { return it.offset < end; });
    return static_cast<size_t>(last - first);
}

PsshBoxes findPsshBoxes(const BlockSource& source, const std::string& path) {
    Finder finder(source);
    walkBoxes(source, [&](const BoxInfo& box) { finder.take(box); });
    return finder.finish(path);
}

std::string PsshChanges::text() const {
    return std::to_string(inserted) + (inserted == 1 ? " pssh box" : " pssh boxes") +
           " inserted, " + std::to_string(replaced) + " replaced, " + std::to_string(neutralised) +
           " neutralised";
}

PsshChanges changesOf(const PsshBoxes& before, const PsshBoxes& after) {
    PsshChanges changes;
    for (size_t i = 0; i < std::min(before.parents.size(), after.parents.size()); ++i)
        addChanges(changes, before.parents[i].children, after.parents[i].children);
    return changes;
}

} // namespace hastool

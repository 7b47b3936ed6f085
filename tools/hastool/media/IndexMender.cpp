#include "IndexMender.h"

#include <hastool/base/BoxView.h>

#include <algorithm>
#include <optional>

namespace hastool {
namespace {

constexpr size_t kHeader = 8;
constexpr size_t kLongHeader = 16;
constexpr uint64_t kMaxIndex = 16u << 20; // hundreds of hours of fragments
constexpr uint64_t kMaxReference = 0x7FFFFFFF;

/// A box at the top of a file.
struct TopBox {
    std::string type;
    uint64_t offset = 0;
    uint64_t size = 0;
    uint64_t sizeAfter = 0;
    uint64_t offsetAfter = 0;

    uint64_t end() const { return offset + size; }
};

std::string bytesOf(const BlockSource& source, uint64_t at, uint64_t size) {
    std::string bytes(static_cast<size_t>(size), '\0');
    source.read(at, reinterpret_cast<unsigned char*>(bytes.data()), bytes.size());
    return bytes;
}

void put(std::string& bytes, size_t at, size_t size, uint64_t value) {
    for (size_t i = size; i-- > 0; value >>= 8)
        bytes[at + i] = static_cast<char>(value & 0xFF);
}

/// The size that a box's header gives; 0 for "to the end".
uint64_t sizeIn(std::string_view header) {
    ByteReader reader(header);
    const uint64_t size = reader.number(4).value_or(0);
    reader.skip(4);
    return size == 1 ? reader.number(8).value_or(0) : size;
}

/// The boxes of a file up to the first that is not whole; nothing has changed its size yet.
std::vector<TopBox> topBoxes(const BlockSource& source) {
    std::vector<TopBox> boxes;
    for (uint64_t at = 0; source.size - at >= kHeader;) {
        const std::string header =
            bytesOf(source, at, std::min<uint64_t>(kLongHeader, source.size - at));
        const uint64_t told = sizeIn(header);
        const uint64_t size = told == 0 ? source.size - at : told;
        if (size < kHeader || size > source.size - at)
            break;
        boxes.push_back({header.substr(4, 4), at, size, size, at});
        at += size;
    }
    return boxes;
}

class Mender {
public:
    Mender(const BlockSource& source, std::vector<TopBox> boxes)
        : m_source(source)
        , m_boxes(std::move(boxes)) {
        uint64_t at = 0;
        for (TopBox& box : m_boxes) {
            box.offsetAfter = at;
            at += box.sizeAfter;
        }
        m_end = at;
    }

    std::vector<BytePatch> run(bool hasWholeFile) {
        for (const TopBox& box : m_boxes) {
            if (box.type == "sidx")
                mend(box, &Mender::mendSegments);
            else if (box.type == "mfra" && hasWholeFile)
                mend(box, &Mender::mendFragments);
            else if (box.type == "mfra" || (box.type == "ssix" && hasChanged()))
                release(box);
        }
        return std::move(m_patches);
    }

private:
    /// Mends a box's content. @return false when it cannot be mended
    using Mend = bool (Mender::*)(const TopBox&, std::string& content) const;

    bool hasChanged() const {
        return std::any_of(m_boxes.begin(), m_boxes.end(),
                           [](const TopBox& box) { return box.size != box.sizeAfter; });
    }
    void release(const TopBox& box) { m_patches.push_back({box.offsetAfter + 4, "free"}); }
    void mend(const TopBox& box, Mend how) {
        std::string whole;
        if (box.size <= kMaxIndex)
            whole = bytesOf(m_source, box.offset, box.size);
        std::string_view rest = whole;
        const auto view = takeBox(rest);
        std::string content(view ? view->content : std::string_view());
        if (!view || !(this->*how)(box, content))
            release(box);
        else if (content != view->content)
            m_patches.push_back({box.offsetAfter + (view->whole.size() - view->content.size()),
                                 std::move(content)});
    }
    /// Where a place of the file is now; nothing for a place outside the file, and for one inside a
    /// box that has changed its size.
    std::optional<uint64_t> moved(uint64_t at) const {
        const auto box = std::partition_point(m_boxes.begin(), m_boxes.end(),
                                              [at](const TopBox& it) { return it.end() <= at; });
        if (box == m_boxes.end()) {
            const uint64_t end = m_boxes.empty() ? 0 : m_boxes.back().end();
            return at == end ? std::optional(m_end) : std::nullopt;
        }
        if (at != box->offset && box->size != box->sizeAfter)
            return std::nullopt;
        return box->offsetAfter + (at - box->offset);
    }

    bool mendSegments(const TopBox& box, std::string& content) const;
    bool mendFragments(const TopBox& box, std::string& content) const;
    bool mendTable(std::string_view table, std::string& content, size_t at) const;

    const BlockSource& m_source;
    std::vector<TopBox> m_boxes;
    uint64_t m_end = 0;
    std::vector<BytePatch> m_patches;
};

/// The references of a `sidx` are to stretches one behind the other, the first at an offset from
/// the end of the `sidx`.
bool Mender::mendSegments(const TopBox& box, std::string& content) const {
    ByteReader reader(content);
    const size_t wide = reader.number(1).value_or(0) == 0 ? 4 : 8;
    reader.skip(3 + 4 + 4 + wide); // flags, reference_ID, timescale, time
    const size_t firstAt = content.size() - reader.rest().size();
    const auto first = reader.number(wide);
    const bool hasReserved = reader.skip(2);
    const auto count = reader.number(2);
    if (!first || !hasReserved || !count || *first > m_source.size)
        return false;
    uint64_t at = box.end() + *first;
    auto now = moved(at);
    const auto anchor = moved(box.end());
    if (!now || !anchor || (wide == 4 && *now - *anchor > 0xFFFFFFFF))
        return false;
    std::string result = content;
    put(result, firstAt, wide, *now - *anchor);
    for (uint64_t i = 0; i < *count; ++i) {
        const size_t entryAt = content.size() - reader.rest().size();
        const auto reference = reader.number(4);
        if (!reference || !reader.skip(8))
            return false;
        at += *reference & kMaxReference;
        const auto next = moved(at);
        if (!next || *next - *now > kMaxReference)
            return false;
        put(result, entryAt, 4, (*reference & ~kMaxReference) | (*next - *now));
        now = next;
    }
    content = std::move(result);
    return true;
}

bool Mender::mendFragments(const TopBox&, std::string& content) const {
    const std::string before = content;
    std::string_view rest = before;
    while (const auto table = takeBox(rest)) {
        const auto at = static_cast<size_t>(table->content.data() - before.data());
        if (table->type == "tfra" && !mendTable(table->content, content, at))
            return false;
    }
    return true;
}

/// @param at  where the table's content lies in `content`
bool Mender::mendTable(std::string_view table, std::string& content, size_t at) const {
    ByteReader reader(table);
    const size_t wide = reader.number(1).value_or(0) == 0 ? 4 : 8;
    reader.skip(3 + 4); // flags, track_ID
    const auto lengths = reader.number(4);
    const auto count = reader.number(4);
    if (!lengths || !count)
        return false;
    const size_t numbers = (*lengths >> 4 & 3) + (*lengths >> 2 & 3) + (*lengths & 3) + 3;
    for (uint64_t i = 0; i < *count; ++i) {
        reader.skip(wide); // time
        const size_t entryAt = table.size() - reader.rest().size();
        const auto offset = reader.number(wide);
        const auto now = offset ? moved(*offset) : std::nullopt;
        if (!now || !reader.skip(numbers) || (wide == 4 && *now > 0xFFFFFFFF))
            return false;
        put(content, at + entryAt, wide, *now);
    }
    return true;
}

} // namespace

void BoxSizes::push(const unsigned char* data, size_t size) {
    while (size > 0) {
        if (m_left == 0 && !m_isToEnd) {
            m_header += static_cast<char>(*data++);
            --size;
            const bool isLong = m_header.size() >= 4 && m_header.compare(0, 4, "\0\0\0\1", 4) == 0;
            if (m_header.size() < (isLong ? kLongHeader : kHeader))
                continue;
            const uint64_t told = sizeIn(m_header);
            m_isToEnd = told == 0;
            m_left = told - std::min<uint64_t>(told, m_header.size());
            m_sizes.push_back(m_header.size() + m_left);
            m_header.clear();
            continue;
        }
        const auto taken = m_isToEnd ? size : static_cast<size_t>(std::min<uint64_t>(m_left, size));
        m_left -= m_isToEnd ? 0 : taken;
        m_sizes.back() += m_isToEnd ? taken : 0;
        data += taken;
        size -= taken;
    }
}

bool hasIndex(const BlockSource& source) {
    const std::vector<TopBox> boxes = topBoxes(source);
    return std::any_of(boxes.begin(), boxes.end(), [](const TopBox& box) {
        return box.type == "sidx" || box.type == "ssix" || box.type == "mfra";
    });
}

std::string withPatches(std::string_view piece, uint64_t at,
                        const std::vector<BytePatch>& patches) {
    std::string result(piece);
    for (const BytePatch& patch : patches) {
        const uint64_t begin = std::max(at, patch.at);
        const uint64_t end = std::min(at + piece.size(), patch.at + patch.bytes.size());
        if (begin < end)
            result.replace(static_cast<size_t>(begin - at), static_cast<size_t>(end - begin),
                           patch.bytes, static_cast<size_t>(begin - patch.at),
                           static_cast<size_t>(end - begin));
    }
    return result;
}

std::vector<BytePatch> indexPatches(const BlockSource& before, const std::vector<uint64_t>& after) {
    std::vector<TopBox> boxes = topBoxes(before);
    if (boxes.size() != after.size())
        return {}; // the file has other boxes now, so the sizes cannot be matched
    for (size_t i = 0; i < boxes.size(); ++i)
        boxes[i].sizeAfter = after[i];
    return Mender(before, std::move(boxes)).run(true);
}

std::string withIndexesMended(std::string_view before, std::string after) {
    const BlockSource source = memoryBlocks(before);
    std::vector<TopBox> boxes = topBoxes(source);
    const std::vector<TopBox> now = topBoxes(memoryBlocks(after));
    const bool isSame = std::equal(boxes.begin(), boxes.end(), now.begin(), now.end(),
                                   [](const auto& a, const auto& b) { return a.type == b.type; });
    if (!isSame)
        return after;
    for (size_t i = 0; i < boxes.size(); ++i)
        boxes[i].sizeAfter = now[i].size;
    for (const BytePatch& patch : Mender(source, std::move(boxes)).run(false))
        after.replace(static_cast<size_t>(patch.at), patch.bytes.size(), patch.bytes);
    return after;
}

} // namespace hastool

#include "BoxWalk.h"

#include "BoxKind.h"
#include <hastool/base/ToolError.h>

#include <vector>

namespace hastool {
namespace {

constexpr uint64_t kHeaderSize = 8;
constexpr uint64_t kLongHeaderSize = 16;

class BoxWalker {
public:
    BoxWalker(const BlockSource& source, const BoxSink& sink)
        : m_sink(sink)
        , m_fields(source) {
        m_levels.push_back({0, source.size, ""});
    }

    std::optional<BoxTrouble> run() {
        while (!m_levels.empty()) {
            const Level& level = m_levels.back();
            if (level.at == level.end)
                m_levels.pop_back();
            else if (level.end - level.at < kHeaderSize)
                takeRest();
            else
                takeBox();
        }
        return m_first;
    }

private:
    /// A box whose children are being read; they go from `at` to `end`.
    struct Level {
        uint64_t at;
        uint64_t end;
        std::string type;
    };

    void takeRest();
    void takeBox();
    uint64_t readHeader(BoxInfo& box, const Level& level);
    BoxKind readFields(BoxInfo& box, const std::string& parent);
    void emit(const BoxInfo& box);

    const BoxSink& m_sink;
    BoxFields m_fields;
    BoxContext m_context;
    std::vector<Level> m_levels;
    std::optional<BoxTrouble> m_first;
};

void BoxWalker::emit(const BoxInfo& box) {
    if (!box.trouble.empty() && !m_first)
        m_first = BoxTrouble{box.offset, box.trouble};
    m_sink(box);
}

/// Bytes behind the last box. Some writers end a box with zeros; a file has to end with a box.
void BoxWalker::takeRest() {
    Level& level = m_levels.back();
    BoxInfo rest;
    rest.depth = static_cast<unsigned>(m_levels.size()) - 1;
    rest.offset = level.at;
    rest.size = level.end - level.at;
    if (m_levels.size() == 1)
        rest.trouble = "a box header is cut short";
    level.at = level.end;
    emit(rest);
}

/// @return where the box ends, as far as its parent reaches
uint64_t BoxWalker::readHeader(BoxInfo& box, const Level& level) {
    const uint64_t room = level.end - level.at;
    m_fields.enter(level.at, level.end);
    box.offset = level.at;
    box.size = m_fields.number(4);
    box.type = m_fields.letters();
    box.headerSize = kHeaderSize;
    if (box.size == 1) {
        box.headerSize = kLongHeaderSize;
        box.size = m_fields.number(8);
    } else if (box.size == 0) {
        box.isToEnd = true;
        box.size = room;
        if (box.depth > 0)
            box.trouble = "box " + inQuotes(box.type) + " has no size, inside another";
    }
    if (m_fields.isCut())
        box.trouble = "the header of box " + inQuotes(box.type) + " is cut short";
    else if (box.size < box.headerSize)
        box.trouble = "box " + inQuotes(box.type) + " has the size " + std::to_string(box.size);
    else if (box.size > room)
        box.trouble = "box " + inQuotes(box.type) + " reaches " + std::to_string(box.size - room) +
                      " bytes beyond " + (box.depth == 0 ? "the file" : inQuotes(level.type));
    const bool isReadable = !m_fields.isCut() && box.size >= box.headerSize;
    return isReadable && box.size <= room ? box.offset + box.size : level.end;
}

BoxKind BoxWalker::readFields(BoxInfo& box, const std::string& parent) {
    const BoxKind kind = boxKind(box.type, parent, m_context);
    BoxVersion full;
    if (kind.isFull) {
        full.version = m_fields.number("version", 1);
        full.flags = m_fields.number("flags", 3);
    }
    if (kind.read != nullptr)
        kind.read(m_fields, full, m_context);
    if (m_fields.isCut() && box.trouble.empty())
        box.trouble = "box " + inQuotes(box.type) + " is too short for what it holds";
    box.facts = m_fields.takeFacts();
    return kind;
}

void BoxWalker::takeBox() {
    Level& level = m_levels.back();
    BoxInfo box;
    box.depth = static_cast<unsigned>(m_levels.size()) - 1;
    const uint64_t end = readHeader(box, level);
    level.at = end;
    if (m_fields.isCut() || box.size < box.headerSize) {
        emit(box); // the rest of its parent is skipped: nobody knows where the next box begins
        return;
    }
    m_fields.enter(box.offset + box.headerSize, end);
    const BoxKind kind = readFields(box, level.type);
    const bool descends = kind.hasBoxes && !m_fields.isCut();
    if (descends && m_levels.size() >= kMaxBoxDepth && box.trouble.empty())
        box.trouble = "boxes are nested too deep";
    emit(box);
    if (descends && m_levels.size() < kMaxBoxDepth)
        m_levels.push_back({m_fields.position(), end, box.type});
}

} // namespace

std::optional<BoxTrouble> walkBoxes(const BlockSource& source, const BoxSink& sink) {
    return BoxWalker(source, sink).run();
}

} // namespace hastool

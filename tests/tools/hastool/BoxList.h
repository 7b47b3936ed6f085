// The boxes that a walk over bytes finds.
#pragma once

#include <hastool/media/BoxWalk.h>
#include <support/ExactBytes.h>

#include <string>
#include <vector>

namespace test {

class BoxList {
public:
    explicit BoxList(const std::string& bytes)
        : m_bytes(bytes) {
        const std::string_view view(reinterpret_cast<const char*>(m_bytes.data()), m_bytes.size());
        m_trouble = hastool::walkBoxes(hastool::memoryBlocks(view),
                                       [&](const auto& box) { m_boxes.push_back(box); });
    }

    const hastool::BoxInfo& at(size_t index) const { return m_boxes.at(index); }
    size_t size() const { return m_boxes.size(); }
    const std::vector<hastool::BoxInfo>& boxes() const { return m_boxes; }
    /// The first box of a type.
    const hastool::BoxInfo& find(const std::string& type) const {
        size_t index = 0;
        while (at(index).type != type)
            ++index;
        return at(index);
    }
    /// "depth type offset +size" of each.
    std::vector<std::string> shapes() const {
        std::vector<std::string> result;
        for (const hastool::BoxInfo& box : m_boxes)
            result.push_back(std::to_string(box.depth) + " " + box.type + " " +
                             std::to_string(box.offset) + " +" + std::to_string(box.size));
        return result;
    }
    /// "offset: what" of the first trouble; empty without trouble.
    std::string trouble() const {
        return m_trouble ? std::to_string(m_trouble->offset) + ": " + m_trouble->what : "";
    }

private:
    ExactBytes m_bytes;
    std::vector<hastool::BoxInfo> m_boxes;
    std::optional<hastool::BoxTrouble> m_trouble;
};

} // namespace test

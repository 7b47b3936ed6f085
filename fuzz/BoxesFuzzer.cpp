// Boxes: broken or not, they are told in order and nested, and are shown as valid JSON.
#include <Input.h>
#include <hastool/media/BoxText.h>
#include <hastool/media/IndexMender.h>
#include <hastool/media/SpsList.h>

#include <vector>

using fuzz::require;
using hastool::BoxInfo;

namespace {

/// Checks that boxes come in order, each inside the one around it. Keeps where the open ones end;
/// one that reaches too far ends with the box around it.
class Order {
public:
    explicit Order(uint64_t size)
        : m_ends{size} {}

    void check(const BoxInfo& box) {
        require(box.depth < hastool::kMaxBoxDepth);
        require(box.depth + 1 <= m_ends.size());
        m_ends.resize(box.depth + 1);
        const uint64_t room = m_ends.back();
        require(box.offset >= m_at && box.offset < room);
        require(!box.trouble.empty() || box.size <= room - box.offset);
        require(box.type.empty() || box.headerSize == 8 || box.headerSize == 16);
        m_at = box.offset + (box.type.empty() ? 0 : 1);
        m_ends.push_back(box.size < room - box.offset ? box.offset + box.size : room);
    }

private:
    std::vector<uint64_t> m_ends;
    uint64_t m_at = 0;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::vector<unsigned char> exact(data, data + size);
    const std::string_view bytes(reinterpret_cast<const char*>(exact.data()), size);
    Order order(size);
    hastool::BoxJson writer;
    std::string json;
    bool hasTrouble = false;
    const auto trouble = hastool::walkBoxes(hastool::memoryBlocks(bytes), [&](const BoxInfo& box) {
        order.check(box);
        hasTrouble = hasTrouble || !box.trouble.empty();
        const std::string line = hastool::toText(box);
        require(line.find('\n') == line.size() - 1);
        json += writer.add(box);
    });
    json += writer.finish();
    require(trouble.has_value() == hasTrouble);
    require(nlohmann::json::accept(json));
    const std::string text(bytes);
    for (const hastool::SpsInfo& sps : hastool::findSps(hastool::memorySource(text)))
        require(!sps.unit.empty());
    // Mending keeps all sizes, and mending again changes nothing.
    const std::string mended = hastool::withIndexesMended(bytes, std::string(bytes));
    require(mended.size() == size && hastool::withIndexesMended(mended, mended) == mended);
    return 0;
}

#include "BoxText.h"

#include "HexText.h"

namespace hastool {
namespace {

using Json = nlohmann::ordered_json;

std::string valueText(const std::string& name, const Json& value);

std::string objectText(const Json& object) {
    std::string text;
    for (const auto& [name, value] : object.items())
        text += (text.empty() ? "" : ", ") + name + " " + valueText(name, value);
    return text;
}

std::string listText(const Json& list) {
    std::string text;
    for (const Json& value : list)
        text += (text.empty() ? "" : " ") +
                (value.is_structured() ? "(" + valueText("", value) + ")" : valueText("", value));
    return list.empty() ? "none" : text;
}

/// A fact's value. The recursion is shallow: the facts come from the readers of this tool.
std::string valueText(const std::string& name, const Json& value) {
    if (value.is_object())
        return objectText(value);
    if (value.is_array())
        return listText(value);
    if (value.is_string())
        return value.get<std::string>();
    if (value.is_boolean())
        return value.get<bool>() ? "yes" : "no";
    if (name == "flags")
        return hexNumber(value.get<unsigned int>(), 6);
    return value.dump();
}

Json toJson(const BoxInfo& box) {
    Json json = Json::object();
    if (box.type.empty()) {
        json["trailing_bytes"] = box.size;
        json["offset"] = box.offset;
    } else {
        json = {{"type", box.type},
                {"offset", box.offset},
                {"size", box.size},
                {"header_size", box.headerSize}};
    }
    if (box.isToEnd)
        json["to_end"] = true;
    json.update(box.facts);
    if (!box.trouble.empty())
        json["error"] = box.trouble;
    return json;
}

std::string indent(unsigned depth) {
    return std::string(size_t{4} * depth, ' ');
}

} // namespace

std::string toText(const BoxInfo& box) {
    const std::string size = std::to_string(box.offset) + " +" + std::to_string(box.size);
    std::string text = std::string(size_t{2} * box.depth, ' ') +
                       (box.type.empty() ? "----" : box.type) + "  " + size +
                       (box.isToEnd ? " (to the end)" : "");
    if (box.type.empty())
        text += "  no box";
    const std::string facts = objectText(box.facts);
    text += (facts.empty() ? "" : "  " + facts);
    return text + (box.trouble.empty() ? "" : "  !! " + box.trouble) + "\n";
}

std::string BoxJson::closeTo(unsigned depth) {
    std::string text;
    if (m_isOpen)
        text += "}";
    for (; m_depth > depth; --m_depth)
        text += "\n" + indent(m_depth - 1) + "  ]}";
    m_isOpen = false;
    return text;
}

std::string BoxJson::add(const BoxInfo& box) {
    std::string text;
    if (box.depth > m_depth) {
        text = ", \"children\": [\n";
        m_depth = box.depth;
    } else {
        text = m_isFirst ? "[\n" : closeTo(box.depth) + ",\n";
    }
    std::string object = toJson(box).dump();
    object.pop_back(); // the closing brace: the box's children may follow
    m_isFirst = false;
    m_isOpen = true;
    return text + indent(box.depth) + "  " + object;
}

std::string BoxJson::finish() {
    return m_isFirst ? "[]\n" : closeTo(0) + "\n]\n";
}

} // namespace hastool

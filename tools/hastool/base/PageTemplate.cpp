#include "PageTemplate.h"

#include "HtmlText.h"

#include <stdexcept>

#include <nlohmann/json.hpp>

namespace hastool {
namespace {

using nlohmann::ordered_json;

/// The values of one object, and of the objects around it.
struct Scope {
    const ordered_json& values;
    const Scope* outer;

    const ordered_json& at(const std::string& name) const {
        const auto found = values.find(name);
        if (found != values.end())
            return *found;
        if (outer == nullptr)
            throw std::out_of_range("no value of " + name);
        return outer->at(name);
    }
};

std::string textOf(const ordered_json& value) {
    return value.is_string() ? value.get<std::string>() : value.dump();
}

bool isNothing(const ordered_json& value) {
    return value.is_string() ? value.get_ref<const std::string&>().empty()
                             : value.empty() || value == ordered_json(false);
}

class Rendering {
public:
    void run(std::string_view text, const Scope& scope) {
        for (;;) {
            const size_t begin = text.find("{{");
            m_result.append(text.substr(0, begin));
            if (begin == std::string_view::npos)
                return;
            const size_t end = text.find("}}", begin);
            if (end == std::string_view::npos)
                throw std::out_of_range("a name without an end");
            const std::string name(text.substr(begin + 2, end - begin - 2));
            text.remove_prefix(end + 2);
            text.remove_prefix(put(name, text, scope));
        }
    }
    std::string& result() { return m_result; }

private:
    /// @param rest  the template behind the name
    /// @return how much of it was used up, the part and its end tag
    size_t put(const std::string& name, std::string_view rest, const Scope& scope) {
        const char kind = name.empty() ? '\0' : name[0];
        if (kind == '#' || kind == '^')
            return putPart(name.substr(1), kind == '#', rest, scope);
        if (kind == '&')
            m_result += textOf(scope.at(name.substr(1)));
        else
            m_result += escapeHtml(textOf(scope.at(name)));
        return 0;
    }

    size_t putPart(const std::string& name, bool isWanted, std::string_view rest,
                   const Scope& scope) {
        const std::string end = "{{/" + name + "}}";
        const size_t size = rest.find(end);
        if (size == std::string_view::npos)
            throw std::out_of_range("no end of " + name);
        const std::string_view part = rest.substr(0, size);
        const ordered_json& value = scope.at(name);
        if (isNothing(value) == isWanted)
            return size + end.size();
        if (isWanted && value.is_array()) {
            for (const ordered_json& item : value)
                run(part, {item, &scope});
        } else {
            run(part, scope);
        }
        return size + end.size();
    }

    std::string m_result;
};

} // namespace

std::string renderPage(std::string_view text, const ordered_json& values) {
    Rendering rendering;
    rendering.run(text, {values, nullptr});
    return std::move(rendering.result());
}

} // namespace hastool

#include "XPathCommand.h"

#include "ExitCode.h"
#include <hastool/base/ToolError.h>
#include <hastool/ui/StandardOutput.h>

#include <Hascommon/StringUtil.h>
#include <Hasutil/HssXPathReader.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>

#include <unistd.h>

namespace hastool {
namespace {

using hascommon::XPathAnswer;

constexpr char kExamples[] = R"help(Examples:
  hastool xpath manifest.mpd "//*[local-name()='BaseURL']/text()"
  hastool xpath manifest.ismc "//StreamIndex[@Type='video']/QualityLevel[1]" --attr Bitrate --as int
  hastool xpath settings.xml "/settings/live/text()" --as bool
  hastool xpath manifest.mpd "count(//*[local-name()='Representation'])"
  hastool xpath manifest.mpd //@bandwidth
A node set is listed, a node a line: of an element its text, of an attribute its value. Numbers,
truth values and strings are printed as they are. With --attr and --as the first match answers: a
text by text(), an attribute by its element and --attr.
Without a match the answer is empty: a blank line, 0, 0.0 or false.
)help";

/// The shortest text that reads as the same number, in every locale with a point.
std::string numberText(double value) {
    char text[1100]; // enough for the smallest numbers, which have over a thousand digits
    const auto end = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed).ptr;
    const std::string result(text, end);
    return result.find_first_not_of("-0123456789") == std::string::npos ? result + ".0" : result;
}

/// The first match as "int", "float" or "bool".
std::string typedText(hascommon::HssXPathReader& reader, const char* xpath,
                      const std::string& type) {
    if (type == "int")
        return std::to_string(reader.GetXmlParamInt(xpath));
    if (type == "float")
        return numberText(reader.GetXmlParamFloat(xpath));
    return reader.GetXmlParamBool(xpath) ? "true" : "false";
}

/// An attribute, which the library hands out as text, read by the same rules.
std::string typedText(const std::string& value, const std::string& type) {
    if (type == "int")
        return std::to_string(hascommon::convNotEmptyDigitStringToInt(value));
    if (type == "float")
        return numberText(hascommon::convNotEmptyDigitStringToDouble(value));
    if (type == "bool")
        return hascommon::has_iequal(value, "true") ? "true" : "false";
    return value;
}

void printAll(const XPathAnswer& answer) {
    if (answer.nodes.empty())
        return print(answer.text + "\n");
    for (const std::string& node : answer.nodes)
        print(node + "\n");
}

/// @throws ToolError when it is not there, or not XML
void load(hascommon::HssXPathReader& reader, const std::string& file) {
    if (access(file.c_str(), R_OK) != 0)
        throw ToolError(file, std::string("cannot be read: ") + std::strerror(errno));
    reader.Load(file.c_str());
    if (!reader.IsLoaded())
        throw ToolError(file, "not a well-formed XML document");
}

} // namespace

XPathCommand::XPathCommand(CLI::App& app)
    : m_command(app.add_subcommand("xpath", "Ask an XML document for a value")) {
    CLI::App& command = *m_command;
    command.add_option("FILE", m_file, "An XML file")->required();
    command.add_option("EXPR", m_expression, "XPath 1.0, names without prefixes")->required();
    command.add_option("--attr", m_attribute, "Print this attribute of the first element")
        ->type_name("NAME");
    command.add_option("--as", m_type, "Read the value as a number or truth value")
        ->check(CLI::IsMember({"int", "float", "bool"}).description(""))
        ->type_name("int|float|bool");
    command.footer(kExamples);
}

int XPathCommand::run() {
    hascommon::HssXPathReader::InitLibXML();
    hascommon::HssXPathReader reader;
    load(reader, m_file);
    const char* const xpath = m_expression.c_str();
    const XPathAnswer answer = reader.Evaluate(xpath);
    if (answer.kind == XPathAnswer::Kind::Error) {
        std::fprintf(stderr, "hastool: %s: %s\n", inQuotes(m_expression).c_str(),
                     answer.text.c_str());
        return kWrongUsage;
    }
    if (!m_attribute.empty())
        print(typedText(reader.GetXmlParamAttr(xpath, m_attribute.c_str()), m_type) + "\n");
    else if (!m_type.empty())
        print(typedText(reader, xpath, m_type) + "\n");
    else
        printAll(answer);
    return kDone;
}

} // namespace hastool

#include <hastool/check/DashRule.h>
#include <hastool/check/DashSchema.h>
#include <hastool/check/RuleFamilies.h>

#include <hastool/base/ToolError.h>

namespace hastool {
namespace {

class DashNameSpace final : public DashRule {
public:
    static constexpr RuleCard kCard{
        "dash-namespace", Severity::Warning, "ISO/IEC 23009-1, 5.2",
        "The MPD is not in the namespace of MPDs",
        "Players that look at the namespace take it for another kind of document. The outermost "
        "element needs xmlns=\"urn:mpeg:dash:schema:mpd:2011\"."};
    DashNameSpace()
        : DashRule(kCard) {}

private:
    void look(const Look& look) const override {
        const std::string& name = look.view.mpd().nameSpace;
        if (!isDashNameSpace(name))
            look.add(look.view.mpd(),
                     name.empty() ? "no namespace at all" : "the namespace is " + inQuotes(name));
    }
};

class DashAttributeMissing final : public DashRule {
public:
    static constexpr RuleCard kCard{
        "dash-attribute-missing", Severity::Error, "ISO/IEC 23009-1, 5.3",
        "An attribute that is required is not there",
        "Players that need it leave the element out or refuse the manifest. Add the attribute."};
    DashAttributeMissing()
        : DashRule(kCard) {}

private:
    void look(const Look& look) const override {
        for (const DashAttributeFault& it : missingDashAttributes(look.view.mpd()))
            look.add(*it.element, it.text);
    }
};

class DashAttributeValue final : public DashRule {
public:
    static constexpr RuleCard kCard{
        "dash-attribute-value", Severity::Error, "ISO/IEC 23009-1, 5.3",
        "An attribute's value is not of its type",
        "Players read nothing, zero or something else from it, or refuse the manifest. Write the "
        "value in the form that the schema has for it."};
    DashAttributeValue()
        : DashRule(kCard) {}

private:
    void look(const Look& look) const override {
        for (const DashAttributeFault& it : badDashValues(look.view.mpd()))
            look.add(*it.element, it.text);
    }
};

class DashUnknownName final : public DashRule {
public:
    static constexpr RuleCard kCard{
        "dash-unknown-name", Severity::Note, "ISO/IEC 23009-1, 5.2",
        "The namespace of MPDs has no such element or attribute",
        "Players pass over it, so that it has no effect: it may be misspelt, or stand in the wrong "
        "place. One's own additions belong in a namespace of their own."};
    DashUnknownName()
        : DashRule(kCard) {}

private:
    void look(const Look& look) const override {
        for (const DashAttributeFault& it : unknownDashNames(look.view.mpd()))
            look.add(*it.element, it.text);
    }
};

} // namespace

void addDashSyntaxRules(Rules& rules) {
    rules.push_back(std::make_unique<DashNameSpace>());
    rules.push_back(std::make_unique<DashAttributeMissing>());
    rules.push_back(std::make_unique<DashAttributeValue>());
    rules.push_back(std::make_unique<DashUnknownName>());
}

} // namespace hastool

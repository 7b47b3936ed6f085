#include <hastool/check/DashRule.h>
#include <hastool/check/RuleFamilies.h>

#include <hastool/base/Base64.h>
#include <hastool/base/ToolError.h>
#include <hastool/info/KeyIds.h>

#include <algorithm>
#include <set>

namespace hastool {
namespace {

constexpr char kCommonScheme[] = "urn:mpeg:dash:mp4protection:2011";
constexpr char kUuid[] = "urn:uuid:";

/// Whether uuidText() has made an id of it.
bool isUuid(const std::string& text) {
    constexpr char kForm[] = "00000000-0000-0000-0000-000000000000";
    const std::string uuid = uuidText(text);
    const auto fits = [](char form, char c) {
        const bool isDigit = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f');
        return form == '-' ? c == '-' : isDigit;
    };
    return std::equal(std::begin(kForm), std::end(kForm) - 1, uuid.begin(), uuid.end(), fits);
}

std::string schemeOf(const ManifestElement& protection) {
    return lowered(protection.value("schemeIdUri"));
}

/// The key system of a scheme; empty for one that is not told by a UUID.
std::string systemOf(const ManifestElement& protection) {
    const std::string scheme = schemeOf(protection);
    return scheme.rfind(kUuid, 0) == 0 ? scheme.substr(sizeof kUuid - 1) : std::string();
}

/// All ContentProtection elements of a manifest.
std::vector<const ManifestElement*> protections(const ManifestElement& mpd) {
    std::vector<const ManifestElement*> found;
    walkManifest(mpd, [&](const ManifestElement& it) {
        if (it.name == "ContentProtection" && it.nameSpace == mpd.nameSpace)
            found.push_back(&it);
    });
    return found;
}

class DashKeyIdMissing final : public DashRule {
public:
    static constexpr RuleCard kCard{
        "dash-key-id-missing", Severity::Warning, "ISO/IEC 23001-7, 11.2",
        "Encrypted media whose ContentProtection names no key",
        "Players learn which key they need only from the media, and ask for a licence later than "
        "they could. Add cenc:default_KID to the ContentProtection of mp4protection."};
    DashKeyIdMissing()
        : DashRule(kCard) {}

private:
    void look(const Look& look) const override {
        for (const ManifestElement* const it : protections(look.view.mpd())) {
            if (schemeOf(*it) == kCommonScheme && !it->has("default_KID") && !it->has("ref"))
                look.add(*it, "no cenc:default_KID");
        }
    }
};

class DashKeyIdForm final : public DashRule {
public:
    static constexpr RuleCard kCard{
        "dash-key-id-form", Severity::Error, "ISO/IEC 23001-7, 11.2",
        "A default_KID that is no key id",
        "Players ask for a licence of another key, or for none. Write it as "
        "01234567-89ab-cdef-0123-456789abcdef."};
    DashKeyIdForm()
        : DashRule(kCard) {}

private:
    void look(const Look& look) const override {
        for (const ManifestElement* const it : protections(look.view.mpd())) {
            for (const std::string& id : keyIdsOfList(it->value("default_KID"))) {
                if (!isUuid(id))
                    look.add(*it, "default_KID is " + inQuotes(id));
            }
        }
    }
};

class DashProtectionScheme final : public DashRule {
public:
    static constexpr RuleCard kCard{
        "dash-protection-scheme", Severity::Warning, "ISO/IEC 23009-1, 5.8.5.2",
        "A ContentProtection whose scheme names no protection system",
        "Players do not know the system by it, and cannot ask for a licence. A system is named "
        "\"urn:uuid:\" and its UUID."};
    DashProtectionScheme()
        : DashRule(kCard) {}

private:
    void look(const Look& look) const override {
        for (const ManifestElement* const it : protections(look.view.mpd())) {
            if (schemeOf(*it).rfind(kUuid, 0) == 0 && !isUuid(systemOf(*it)))
                look.add(*it, "schemeIdUri is " + inQuotes(it->value("schemeIdUri")));
        }
    }
};

class DashProtectionCommon final : public DashRule {
public:
    static constexpr RuleCard kCard{
        "dash-protection-common", Severity::Note, "ISO/IEC 23009-1, 5.8.5.2",
        "Protection systems without the ContentProtection of MP4",
        "Players that read the encryption scheme and key id from the manifest find none. Add a "
        "ContentProtection of urn:mpeg:dash:mp4protection:2011."};
    DashProtectionCommon()
        : DashRule(kCard) {}

private:
    static bool isAnyCommon(const DashRepresentationView& representation) {
        for (const auto* level = representation.element; level != nullptr; level = level->parent) {
            for (const ManifestElement* const it : level->all("ContentProtection")) {
                if (schemeOf(*it) == kCommonScheme)
                    return true;
            }
        }
        return false;
    }
    void look(const Look& look) const override {
        std::set<const ManifestElement*> told;
        for (const DashRepresentationView& it : look.view.representations()) {
            const ManifestElement* const protection = it.inheritedElement("ContentProtection");
            const bool isMp4 = it.inherited("mimeType").find("/mp4") != std::string::npos;
            if (protection != nullptr && isMp4 && !isAnyCommon(it) &&
                told.insert(protection).second)
                look.add(*protection, "none with urn:mpeg:dash:mp4protection:2011 beside it");
        }
    }
};

/// The bytes of a cenc:pssh; empty where they are no pssh box.
std::string psshOf(const ManifestElement& element) {
    constexpr size_t kLeast = 28; // size, type, version and flags, and the system id
    const std::string bytes = fromBase64(withoutBlanks(element.text)).value_or("");
    return bytes.size() >= kLeast && bytes.compare(4, 4, "pssh") == 0 ? bytes : std::string();
}

/// A rule about each cenc:pssh of a ContentProtection.
class PsshRule : public DashRule {
public:
    using DashRule::DashRule;

protected:
    /// Empty when all is well.
    virtual std::string faultOf(const ManifestElement& protection,
                                const ManifestElement& pssh) const = 0;

private:
    void look(const Look& look) const override {
        for (const ManifestElement* const protection : protections(look.view.mpd())) {
            for (const ManifestElement* const pssh : protection->all("pssh")) {
                const std::string fault = faultOf(*protection, *pssh);
                if (!fault.empty())
                    look.add(*pssh, fault);
            }
        }
    }
};

class DashPssh final : public PsshRule {
public:
    static constexpr RuleCard kCard{
        "dash-pssh", Severity::Error, "ISO/IEC 23001-7, 11.2", "A cenc:pssh that holds no pssh box",
        "The protection system cannot read its data, and asks for no licence. It has to be a whole "
        "pssh box in base64."};
    DashPssh()
        : PsshRule(kCard) {}

private:
    std::string faultOf(const ManifestElement&, const ManifestElement& pssh) const override {
        if (!fromBase64(withoutBlanks(pssh.text)))
            return "it is not base64";
        return psshOf(pssh).empty() ? "it is no pssh box" : std::string();
    }
};

class DashPsshSystem final : public PsshRule {
public:
    static constexpr RuleCard kCard{
        "dash-pssh-system", Severity::Note, "ISO/IEC 23001-7, 11.2",
        "A cenc:pssh is of another system than its ContentProtection",
        "A player that knows only one of the two systems may not find the data. One of the two ids "
        "may have been copied from elsewhere."};
    DashPsshSystem()
        : PsshRule(kCard) {}

private:
    std::string faultOf(const ManifestElement& protection,
                        const ManifestElement& pssh) const override {
        constexpr size_t kSystemAt = 12; // behind size, type, version and flags
        constexpr size_t kSystemSize = 16;
        constexpr char kDigits[] = "0123456789abcdef";
        const std::string bytes = psshOf(pssh);
        const std::string meant = systemOf(protection);
        if (bytes.empty() || !isUuid(meant))
            return {};
        std::string system;
        for (const char c : bytes.substr(kSystemAt, kSystemSize)) {
            const auto byte = static_cast<unsigned char>(c);
            system += kDigits[byte >> 4U];
            system += kDigits[byte & 15U];
        }
        return uuidText(system) == uuidText(meant) ? "" : "it is of " + uuidText(system);
    }
};

} // namespace

void addDashProtectionRules(Rules& rules) {
    rules.push_back(std::make_unique<DashKeyIdMissing>());
    rules.push_back(std::make_unique<DashKeyIdForm>());
    rules.push_back(std::make_unique<DashProtectionScheme>());
    rules.push_back(std::make_unique<DashProtectionCommon>());
    rules.push_back(std::make_unique<DashPssh>());
    rules.push_back(std::make_unique<DashPsshSystem>());
}

} // namespace hastool

// Renditions of HLS and the groups that they are in.
#include <hastool/check/MasterRule.h>
#include <hastool/check/RuleFamilies.h>

#include <hastool/base/Number.h>
#include <hastool/base/ToolError.h>

#include <algorithm>
#include <map>
#include <set>
#include <utility>

namespace hastool {
namespace {

/// TYPE and GROUP-ID.
using GroupName = std::pair<std::string, std::string>;
using Groups = std::map<GroupName, std::vector<const MasterEntry*>>;

GroupName groupOf(const MasterEntry& media) {
    return {media.get("TYPE"), media.get("GROUP-ID")};
}

/// "the AUDIO group "aac"".
std::string textOf(const GroupName& group) {
    return "the " + group.first.substr(0, 40) + " group " + inQuotes(group.second);
}

Groups groupsOf(const MasterLines& master) {
    Groups groups;
    for (const MasterEntry& it : master.media)
        groups[groupOf(it)].push_back(&it);
    return groups;
}

/// The groups that a variant names; attributes and types have the same names.
std::vector<GroupName> groupsNamedBy(const MasterEntry& variant) {
    std::vector<GroupName> names;
    for (const char* const type : {"AUDIO", "VIDEO", "SUBTITLES", "CLOSED-CAPTIONS"}) {
        const HlsAttributeText* const text = variant.list.find(type);
        const bool isNone = text != nullptr && !text->isQuoted && text->value == "NONE";
        if (text != nullptr && !isNone && !hasVariable(text->value))
            names.emplace_back(type, text->value);
    }
    return names;
}

/// Whether it is not known which groups there are: of tags that cannot be read, and of variables.
bool isUnclear(const MasterLines& master) {
    return !master.isWhole ||
           std::any_of(master.media.begin(), master.media.end(), [](const MasterEntry& it) {
               return hasVariable(it.list.get("GROUP-ID")) || hasVariable(it.list.get("NAME"));
           });
}

class GroupMissing : public MasterRule {
public:
    static constexpr RuleCard kCard = {
        "hls-group-missing", Severity::Error, "RFC 8216, 4.3.4.2",
        "A variant names a group that there is not",
        "Players leave the variant out, or play it without sound or subtitles. The text names the "
        "group; its #EXT-X-MEDIA has to be of the same type."};
    const RuleCard& card() const override { return kCard; }

private:
    void lookAt(const SeenPlaylist& playlist, const MasterLines& master,
                PlaylistFindings& findings) const override {
        const Groups groups = groupsOf(master);
        if (isUnclear(master))
            return;
        for (const auto* const entries : {&master.variants, &master.iFrames}) {
            for (const MasterEntry& it : *entries) {
                for (const GroupName& name : groupsNamedBy(it)) {
                    if (groups.count(name) == 0)
                        findings.add(playlist, it.line, textOf(name));
                }
            }
        }
    }
};

class GroupUnused : public MasterRule {
public:
    static constexpr RuleCard kCard = {"hls-group-unused", Severity::Warning,
                                       "RFC 8216, 4.3.4.1.1 and 4.3.4.2",
                                       "No variant names a group",
                                       "Viewers are never offered its renditions. The variants "
                                       "that they belong to should name the "
                                       "group."};
    const RuleCard& card() const override { return kCard; }

private:
    void lookAt(const SeenPlaylist& playlist, const MasterLines& master,
                PlaylistFindings& findings) const override {
        const Groups groups = groupsOf(master);
        std::set<GroupName> named;
        std::set<std::string> confused; // types of which a group is missing, perhaps misspelt
        for (const auto* const entries : {&master.variants, &master.iFrames}) {
            for (const MasterEntry& it : *entries) {
                for (const GroupName& name : groupsNamedBy(it)) {
                    named.insert(name);
                    if (groups.count(name) == 0)
                        confused.insert(name.first);
                }
            }
        }
        if (isUnclear(master) || master.variants.empty())
            return;
        for (const auto& [name, members] : groups) {
            const bool isKnown =
                !name.first.empty() && !name.second.empty() && confused.count(name.first) == 0;
            if (isKnown && named.count(name) == 0)
                findings.add(playlist, members.front()->line, textOf(name));
        }
    }
};

/// A rule that looks at groups one by one.
class GroupRule : public MasterRule {
private:
    using Members = std::vector<const MasterEntry*>;

    void lookAt(const SeenPlaylist& playlist, const MasterLines& master,
                PlaylistFindings& findings) const final {
        if (isUnclear(master))
            return;
        for (const auto& [name, members] : groupsOf(master)) {
            for (size_t i = 0; i < members.size(); ++i) {
                const std::string text = judge(members, i);
                if (!text.empty())
                    findings.add(playlist, members[i]->line, textOf(name) + ": " + text);
            }
        }
    }

    /// What is wrong with a member; empty where nothing is.
    virtual std::string judge(const Members& members, size_t index) const = 0;
};

/// The line of an earlier member for which something holds; 0 where it holds for none.
template<typename Holds>
size_t earlierLine(const std::vector<const MasterEntry*>& members, size_t index, Holds holds) {
    for (size_t i = 0; i < index; ++i) {
        if (holds(*members[i]))
            return members[i]->line->number;
    }
    return 0;
}

class GroupNames : public GroupRule {
public:
    static constexpr RuleCard kCard = {"hls-group-names", Severity::Error, "RFC 8216, 4.3.4.1.1",
                                       "Two members of a group have the same NAME",
                                       "Viewers cannot tell them apart, and players keep one of "
                                       "them. Every member of a group needs "
                                       "a name of its own."};
    const RuleCard& card() const override { return kCard; }

private:
    std::string judge(const std::vector<const MasterEntry*>& members, size_t index) const override {
        const std::string name = members[index]->get("NAME");
        const size_t line = earlierLine(members, index, [&](const MasterEntry& it) {
            return it.has("NAME") && it.get("NAME") == name;
        });
        return line == 0 ? "" : inQuotes(name) + " is also on line " + std::to_string(line);
    }
};

class GroupDefaults : public GroupRule {
public:
    static constexpr RuleCard kCard = {"hls-group-defaults", Severity::Error, "RFC 8216, 4.3.4.1.1",
                                       "A group has more than one default",
                                       "Players choose the one or the other. DEFAULT=YES stands at "
                                       "one member of a group at most."};
    const RuleCard& card() const override { return kCard; }

private:
    std::string judge(const std::vector<const MasterEntry*>& members, size_t index) const override {
        const auto isDefault = [](const MasterEntry& it) { return it.get("DEFAULT") == "YES"; };
        const size_t line = isDefault(*members[index]) ? earlierLine(members, index, isDefault) : 0;
        return line == 0 ? "" : "DEFAULT=YES is also on line " + std::to_string(line);
    }
};

class LanguageMissing : public GroupRule {
public:
    static constexpr RuleCard kCard = {
        "hls-language-missing", Severity::Note, "RFC 8216, 4.3.4.1",
        "A rendition that viewers choose has no LANGUAGE",
        "Players cannot choose it by the viewer's settings, and show its NAME alone. Where a group "
        "has several members, each should say its language."};
    const RuleCard& card() const override { return kCard; }

private:
    std::string judge(const std::vector<const MasterEntry*>& members, size_t index) const override {
        const std::string type = members[index]->get("TYPE");
        const bool isChosen = members.size() > 1 && (type == "AUDIO" || type == "SUBTITLES");
        if (!isChosen || members[index]->has("LANGUAGE"))
            return "";
        return inQuotes(members[index]->get("NAME"));
    }
};

class GroupsDiffer : public MasterRule {
public:
    static constexpr RuleCard kCard = {
        "hls-groups-differ", Severity::Warning, "RFC 8216, 4.3.4.1.1",
        "Groups of one type have different members",
        "A language disappears, or is another one, when players change to a variant of the other "
        "group. All groups of a type have the same members, with the same attributes but for URI "
        "and CHANNELS."};
    const RuleCard& card() const override { return kCard; }

private:
    void lookAt(const SeenPlaylist& playlist, const MasterLines& master,
                PlaylistFindings& findings) const override {
        const Groups groups = groupsOf(master);
        const auto hasPathway = [](const MasterEntry& it) { return it.has("PATHWAY-ID"); };
        if (isUnclear(master) || // groups of one way are not of the other
            std::any_of(master.variants.begin(), master.variants.end(), hasPathway))
            return;
        std::map<std::string, Groups::const_iterator> first; // of a type
        for (auto group = groups.begin(); group != groups.end(); ++group) {
            if (group->first.first == "VIDEO" && !group->second.front()->has("URI"))
                continue; // names of qualities
            const auto [known, isNew] = first.emplace(group->first.first, group);
            const std::string text = isNew ? "" : difference(known->second->second, group->second);
            if (!text.empty())
                findings.add(playlist, group->second.front()->line,
                             textOf(group->first) + " against " +
                                 inQuotes(known->second->first.second) + ": " + text);
        }
    }

    using Members = std::vector<const MasterEntry*>;

    static const MasterEntry* find(const Members& members, const std::string& name) {
        for (const MasterEntry* const it : members) {
            if (it->get("NAME") == name)
                return it;
        }
        return nullptr;
    }

    static std::string difference(const Members& one, const Members& other) {
        for (const MasterEntry* const it : one) {
            if (find(other, it->get("NAME")) == nullptr)
                return inQuotes(it->get("NAME")) + " is missing";
        }
        for (const MasterEntry* const it : other) {
            const MasterEntry* const same = find(one, it->get("NAME"));
            if (same == nullptr)
                return inQuotes(it->get("NAME")) + " is there alone";
            for (const char* const name : {"LANGUAGE", "DEFAULT", "AUTOSELECT", "FORCED"}) {
                const bool isFlag = std::string_view(name) != "LANGUAGE";
                const std::string nothing = isFlag ? "NO" : "";
                const std::string left = same->has(name) ? same->get(name) : nothing;
                const std::string right = it->has(name) ? it->get(name) : nothing;
                if (left != right)
                    return inQuotes(it->get("NAME")) + " has another " + name;
            }
        }
        return "";
    }
};

/// A rule that looks at renditions one by one.
class RenditionRule : public MasterRule {
private:
    void lookAt(const SeenPlaylist& playlist, const MasterLines& master,
                PlaylistFindings& findings) const final {
        for (const MasterEntry& it : master.media) {
            const std::string text = judge(it, it.get("TYPE"));
            if (!text.empty())
                findings.add(playlist, it.line, inQuotes(it.get("NAME")) + ": " + text);
        }
    }

    /// What is wrong with it; empty where nothing is.
    virtual std::string judge(const MasterEntry& media, const std::string& type) const = 0;
};

class DefaultNotSelected : public RenditionRule {
public:
    static constexpr RuleCard kCard = {"hls-default-autoselect", Severity::Error,
                                       "RFC 8216, 4.3.4.1",
                                       "A default rendition says AUTOSELECT=NO",
                                       "Players differ in whether they choose it. AUTOSELECT is "
                                       "YES, or left out, where DEFAULT is "
                                       "YES."};
    const RuleCard& card() const override { return kCard; }

private:
    std::string judge(const MasterEntry& media, const std::string&) const override {
        const bool isWrong = media.get("DEFAULT") == "YES" && media.get("AUTOSELECT") == "NO";
        return isWrong ? "AUTOSELECT=NO beside DEFAULT=YES" : "";
    }
};

class SubtitlesUri : public RenditionRule {
public:
    static constexpr RuleCard kCard = {"hls-subtitles-uri", Severity::Error, "RFC 8216bis, 4.4.6.1",
                                       "A rendition of subtitles has no URI",
                                       "Viewers are offered subtitles that there are not. "
                                       "Subtitles have a playlist of their own."};
    const RuleCard& card() const override { return kCard; }

private:
    std::string judge(const MasterEntry& media, const std::string& type) const override {
        return type == "SUBTITLES" && media.get("URI").empty() ? "TYPE=SUBTITLES without a URI"
                                                               : "";
    }
};

class CaptionsUri : public RenditionRule {
public:
    static constexpr RuleCard kCard = {"hls-captions-uri", Severity::Error, "RFC 8216, 4.3.4.1",
                                       "A rendition of closed captions has a URI",
                                       "Closed captions come within the video. What has a playlist "
                                       "of its own is of TYPE=SUBTITLES."};
    const RuleCard& card() const override { return kCard; }

private:
    std::string judge(const MasterEntry& media, const std::string& type) const override {
        return type == "CLOSED-CAPTIONS" && media.has("URI")
                   ? "URI stands beside TYPE=CLOSED-CAPTIONS"
                   : "";
    }
};

class InStreamId : public RenditionRule {
public:
    static constexpr RuleCard kCard = {
        "hls-instream-id", Severity::Error, "RFC 8216, 4.3.4.1",
        "Closed captions do not say where in the video they are",
        "Players do not find them. INSTREAM-ID is one of CC1 to CC4 or SERVICE1 to SERVICE63."};
    const RuleCard& card() const override { return kCard; }

private:
    std::string judge(const MasterEntry& media, const std::string& type) const override {
        if (type != "CLOSED-CAPTIONS")
            return "";
        if (!media.has("INSTREAM-ID"))
            return "no INSTREAM-ID";
        const std::string id = media.get("INSTREAM-ID");
        return isKnown(id) || hasVariable(id) ? "" : "INSTREAM-ID is " + inQuotes(id);
    }

    static bool isKnown(const std::string& id) {
        constexpr std::string_view kService = "SERVICE";
        if (id.compare(0, 2, "CC") == 0)
            return id.size() == 3 && id[2] >= '1' && id[2] <= '4';
        if (id.compare(0, kService.size(), kService) != 0)
            return false;
        const auto number = parseUnsigned(std::string_view(id).substr(kService.size()));
        return number && *number >= 1 && *number <= 63;
    }
};

class Forced : public RenditionRule {
public:
    static constexpr RuleCard kCard = {
        "hls-forced", Severity::Error, "RFC 8216, 4.3.4.1",
        "FORCED stands at a rendition that is no subtitles",
        "It has no meaning there, and some players refuse the tag. FORCED is for TYPE=SUBTITLES "
        "alone."};
    const RuleCard& card() const override { return kCard; }

private:
    std::string judge(const MasterEntry& media, const std::string& type) const override {
        return media.has("FORCED") && type != "SUBTITLES" && !type.empty()
                   ? "FORCED stands beside TYPE=" + type.substr(0, 40)
                   : "";
    }
};

} // namespace

void addHlsGroupRules(Rules& rules) {
    rules.push_back(std::make_unique<GroupMissing>());
    rules.push_back(std::make_unique<GroupUnused>());
    rules.push_back(std::make_unique<GroupNames>());
    rules.push_back(std::make_unique<GroupDefaults>());
    rules.push_back(std::make_unique<LanguageMissing>());
    rules.push_back(std::make_unique<GroupsDiffer>());
    rules.push_back(std::make_unique<DefaultNotSelected>());
    rules.push_back(std::make_unique<SubtitlesUri>());
    rules.push_back(std::make_unique<CaptionsUri>());
    rules.push_back(std::make_unique<InStreamId>());
    rules.push_back(std::make_unique<Forced>());
}

} // namespace hastool

#include "Protections.h"

#include "KeyIds.h"
#include <hastool/base/Base64.h>
#include <hastool/base/XmlDocument.h>
#include <hastool/media/ProtectionFields.h>

#include <algorithm>
#include <map>
#include <string>

namespace hastool {
namespace {

constexpr char kUuidScheme[] = "urn:uuid:";
constexpr char kMp4Scheme[] = "urn:mpeg:dash:mp4protection:2011";

/// The system of an id in any writing; the id as written for one that is not known.
std::string nameOfId(const std::string& id) {
    std::string digits = uuidText(id);
    digits.erase(std::remove(digits.begin(), digits.end(), '-'), digits.end());
    const std::string name = systemName(digits);
    if (name == "Clear Key")
        return "ClearKey";
    return name.empty() ? id : name;
}

std::string nameOfScheme(const std::string& scheme) {
    const size_t prefix = sizeof kUuidScheme - 1;
    if (lowered(scheme.substr(0, prefix)) == kUuidScheme)
        return nameOfId(scheme.substr(prefix));
    return lowered(scheme) == kMp4Scheme ? "mp4protection" : scheme;
}

std::string nameOfFormat(const HlsKey& key) {
    static const std::map<std::string, const char*> names = {
        {"com.apple.streamingkeydelivery", "FairPlay"},
        {"com.microsoft.playready", "PlayReady"},
        {"com.widevine", "Widevine"},
        {"org.w3.clearkey", "ClearKey"},
    };
    if (key.format == HlsKey().format)
        return key.method;
    const auto found = names.find(lowered(key.format));
    return found != names.end() ? found->second : nameOfScheme(key.format);
}

void addIds(InfoProtection& protection, const std::vector<std::string>& ids) {
    for (const std::string& id : ids) {
        const auto& all = protection.keyIds;
        if (std::find(all.begin(), all.end(), id) == all.end())
            protection.keyIds.push_back(id);
    }
}

/// The bytes of a data URL in base64 (RFC 2397); empty for another URL.
std::string bytesOfDataUrl(const std::string& url) {
    const size_t comma = url.find(',');
    if (lowered(url.substr(0, 5)) != "data:" || comma == std::string::npos ||
        url.rfind(";base64", comma) == std::string::npos)
        return {};
    return fromBase64(url.substr(comma + 1)).value_or("");
}

} // namespace

InfoProtection protectionOf(const DashProtection& descriptor) {
    InfoProtection result;
    result.system = nameOfScheme(descriptor.schemeId);
    result.scheme = descriptor.schemeId;
    result.value = descriptor.value;
    addIds(result, keyIdsOfList(descriptor.defaultKid));
    addIds(result, keyIdsOfPssh(fromBase64(descriptor.pssh).value_or("")));
    addIds(result, keyIdsOfPlayReady(fromBase64(descriptor.pro).value_or("")));
    return result;
}

InfoProtection protectionOf(const HlsKey& key) {
    InfoProtection result;
    result.system = nameOfFormat(key);
    result.scheme = key.format;
    result.value = key.method;
    addIds(result, keyIdsOfList(key.id));
    const std::string bytes = bytesOfDataUrl(key.uri);
    addIds(result, keyIdsOfPssh(bytes));
    if (result.system == "PlayReady")
        addIds(result, keyIdsOfPlayReady(bytes));
    return result;
}

InfoProtection protectionOf(const SmoothProtection& header) {
    InfoProtection result;
    result.system = nameOfId(header.systemId);
    result.scheme = header.systemId;
    addIds(result, keyIdsOfPlayReady(fromBase64(header.header).value_or("")));
    return result;
}

} // namespace hastool

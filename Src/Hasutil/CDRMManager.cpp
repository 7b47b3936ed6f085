#include <Hasutil/CDRMManager.h>

#include <Hascommon/StringUtil.h>
#include <Hascommon/detail/Log.h>
#include <Hasutil/DashMarlinCencDRMHandler.h>
#include <Hasutil/DashPlayReadyCencDRMHandler.h>
#include <Hasutil/DashQDRMCencDRMHandler.h>

#include <utility>

namespace hascommon {
namespace {

constexpr char kMarlin[] = "urn:uuid:5E629AF5-38DA-4063-8977-97FFBD9902D4";
constexpr char kPlayReady[] = "urn:uuid:9A04F079-9840-4286-AB92-E65BE0885F95";
constexpr char kPlayReadySwapped[] = "urn:uuid:79f0049a-4098-8642-ab92-e65be0885f95";
constexpr char kQdrm[] = "urn:uuid:78cbbd26-2235-a711-c890-f66a56ee12df";
constexpr char kCommonEncryption[] = "urn:mpeg:dash:mp4protection:2011";

/// A new handler; null for a media type that gets no handler.
template<typename Handler>
std::unique_ptr<IDRMHandler> make(MediaType mediaType, bool flag) {
    if (mediaType != MEDIA_TYPE_AUDIO && mediaType != MEDIA_TYPE_VIDEO)
        return nullptr;
    return std::make_unique<Handler>(static_cast<CONTENT_TYPE>(mediaType), flag);
}

} // namespace

CDRMManager::CDRMManager() = default;

CDRMManager::~CDRMManager() {
    Cleanup();
}

void CDRMManager::setContentProtectSize(int count) {
    m_contentProtectSize = count;
}

CDRMManager::Table* CDRMManager::tableOf(MediaType mediaType) {
    switch (mediaType) {
    case MEDIA_TYPE_VIDEO:
        return &m_video;
    case MEDIA_TYPE_AUDIO:
        return &m_audio;
    case MEDIA_TYPE_TEXT:
        return &m_text;
    }
    return nullptr; // numbers come from outside
}

IDRMHandler* CDRMManager::find(const std::string& schemeId, MediaType mediaType) {
    Table* const table = tableOf(mediaType);
    if (table == nullptr)
        return nullptr;
    const auto found = table->find(schemeId);
    return found != table->end() ? found->second.get() : nullptr;
}

IDRMHandler* CDRMManager::FindHandler(const std::string& schemeId, MediaType mediaType) {
    HAS_LOG("--- findHandler, schemeID:%s", schemeId.c_str());
    return find(schemeId, mediaType);
}

IDRMHandler* CDRMManager::FindHandler(const std::string& schemeId, std::string,
                                      system_type_t systemType, MediaType mediaType, bool flag) {
    if (IDRMHandler* const known = find(schemeId, mediaType))
        return known;
    const bool isKept = systemType == SYSTEM_TYPE_CENC;
    const bool isGenericAlone =
        isKept && schemeId == kCommonEncryption && m_contentProtectSize == 1;
    std::unique_ptr<IDRMHandler> handler;
    if (has_iequal(schemeId, kMarlin)) {
        if (isKept)
            handler = make<DashMarlinCencDRMHandler>(mediaType, flag);
    } else if (has_iequal(schemeId, kPlayReady) || isGenericAlone) {
        handler = make<DashPlayReadyCencDRMHandler>(mediaType, flag);
    } else if (has_iequal(schemeId, kPlayReadySwapped)) {
        HAS_LOG("---Dash PlayReady Handler---, type:%d", static_cast<int>(mediaType));
        handler = make<DashPlayReadyCencDRMHandler>(mediaType, flag);
    } else if (has_iequal(schemeId, kQdrm)) {
        HAS_LOG("---Dash QDRM Handler---, type:%d", static_cast<int>(mediaType));
        handler = make<DashQDRMCencDRMHandler>(mediaType, flag);
    }
    if (!handler || !isKept)
        return handler.release();
    IDRMHandler* const made = handler.get();
    switch (mediaType) {
    case MEDIA_TYPE_AUDIO:
        m_audio[schemeId] = std::move(handler);
        return made;
    case MEDIA_TYPE_VIDEO:
        m_video[schemeId] = std::move(handler);
        return made;
    default: // no scheme has a handler for another kind so far
        HAS_LOG(" [*] Unknown type ");
        return handler.release();
    }
}

void CDRMManager::Cleanup() {
    for (Table* const table : {&m_audio, &m_video, &m_text}) {
        for (auto& [schemeId, handler] : *table)
            handler.reset();
    }
    for (Table* const table : {&m_audio, &m_video, &m_text})
        table->clear();
}

} // namespace hascommon

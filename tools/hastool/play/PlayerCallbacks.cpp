#include "PlayerCallbacks.h"

#include <utility>

namespace hastool {
namespace {

using namespace hascommon;
using Time = unsigned long long;

std::string placeText(Time pts) {
    return "at " + std::to_string(pts / PlayerCallbacks::kTimestampsPerMs) + " ms of the media";
}

} // namespace

PlayerCallbacks::PlayerCallbacks(Tell tell, Switched switched)
    : m_tell(std::move(tell))
    , m_switched(std::move(switched)) {
    registerMarks();
    registerMessages();
}

void PlayerCallbacks::registerMarks() {
    m_hub.SetBandwidthCallbackEx(
        [](unsigned int, unsigned int from, unsigned int to, Time, Time, void* self) {
            static_cast<PlayerCallbacks*>(self)->m_switched(static_cast<int>(from),
                                                            static_cast<int>(to));
            return HAS_STATUS_SUCCESS;
        },
        this);
    m_hub.SetDiscontinuityCallbackEx(
        [](unsigned int, Time videoPts, Time, Time, Time, unsigned int, void* self) {
            static_cast<PlayerCallbacks*>(self)->m_tell("discontinuity", placeText(videoPts));
            return HAS_STATUS_SUCCESS;
        },
        this);
    m_hub.SetAdvertisementCallbackEx(
        [](unsigned int type, Time videoPts, Time, Time, Time, unsigned int, void* self) {
            constexpr unsigned int kBegins = 8;
            static_cast<PlayerCallbacks*>(self)->m_tell(type == kBegins ? "ad-start" : "ad-end",
                                                        placeText(videoPts));
            return HAS_STATUS_SUCCESS;
        },
        this);
}

void PlayerCallbacks::registerMessages() {
    m_hub.SetOnEventCallbackEx(
        [](int first, int second, int third, void* self) {
            static_cast<PlayerCallbacks*>(self)->m_tell("event", std::to_string(first) + " " +
                                                                     std::to_string(second) + " " +
                                                                     std::to_string(third));
            return HAS_STATUS_SUCCESS;
        },
        this);
    m_hub.SetOnDRMErrorCallbackEx(
        [](int code, void* self) {
            static_cast<PlayerCallbacks*>(self)->m_tell("drm-error", std::to_string(code));
            return HAS_STATUS_SUCCESS;
        },
        this);
    m_hub.SetOnDRMErrInfoCallbackEx(
        [](const char* text, void* self) {
            static_cast<PlayerCallbacks*>(self)->m_tell("drm-error", text);
            return HAS_STATUS_SUCCESS;
        },
        this);
    m_hub.SetOnOutputProtectionInfoCallbackEx(
        [](Has_MacrovisionType macrovision, Has_CGMSType cgms, bool flag, void* self) {
            static_cast<PlayerCallbacks*>(self)->m_tell(
                "output-protection", "Macrovision " + std::to_string(macrovision) + ", CGMS " +
                                         std::to_string(cgms) + (flag ? ", on" : ", off"));
            return HAS_STATUS_SUCCESS;
        },
        this);
}

} // namespace hastool

#include <Hasutil/CPlayerSupport.h>

#include <Hascommon/detail/Log.h>

namespace hascommon {
namespace {

// What the player is told as the first argument.
constexpr unsigned int kAdBegins = 8;
constexpr unsigned int kAdEnds = 9;
constexpr unsigned int kBitrateChanged = 20;
constexpr unsigned int kDiscontinuity = 30;

/// Calls the form that is set, the plain one first.
template<typename Plain, typename Ex, typename... Args>
tag_HAS_Status notify(Plain plain, Ex ex, void* user, Args... args) {
    if (plain != nullptr)
        return plain(args...);
    return ex != nullptr ? ex(args..., user) : HAS_STATUS_SUCCESS;
}

/// The same for a callback without a plain form.
template<typename Ex, typename... Args>
tag_HAS_Status notifyEx(Ex ex, void* user, Args... args) {
    return ex != nullptr ? ex(args..., user) : HAS_STATUS_SUCCESS;
}

/// Sets one form of a callback and clears the other.
template<typename Form, typename Other>
void choose(Form& form, Form callback, Other& other) {
    form = callback;
    other = nullptr;
}

} // namespace

CPlayerSupport::CPlayerSupport() = default;

void CPlayerSupport::SetAdvertisementCallback(AdCallback cb) {
    choose(m_adCallback, cb, m_adCallbackEx);
}

void CPlayerSupport::SetAdvertisementCallbackEx(AdCallbackEx cb, void* user) {
    choose(m_adCallbackEx, cb, m_adCallback);
    m_adUserData = user;
}

void CPlayerSupport::SetDiscontinuityCallback(DiscontinuityCallback cb) {
    choose(m_discontinuityCallback, cb, m_discontinuityCallbackEx);
}

void CPlayerSupport::SetDiscontinuityCallbackEx(DiscontinuityCallbackEx cb, void* user) {
    choose(m_discontinuityCallbackEx, cb, m_discontinuityCallback);
    m_discontinuityUserData = user;
}

void CPlayerSupport::SetBandwidthCallback(BandwidthCallback cb) {
    choose(m_bandwidthCallback, cb, m_bandwidthCallbackEx);
}

void CPlayerSupport::SetBandwidthCallbackEx(BandwidthCallbackEx cb, void* user) {
    choose(m_bandwidthCallbackEx, cb, m_bandwidthCallback);
    m_bandwidthUserData = user;
}

void CPlayerSupport::ReleaseAdvertisementCallback() {
    SetAdvertisementCallback(nullptr);
}

void CPlayerSupport::ReleaseBandwidthCallback() {
    SetBandwidthCallback(nullptr);
}

void CPlayerSupport::SetOnEventCallbackEx(EventCallbackEx cb, void* user) {
    m_eventCallbackEx = cb;
    m_eventUserData = user;
}

void CPlayerSupport::SetOnDRMErrorCallbackEx(DRMErrorCallbackEx cb, void* user) {
    m_drmErrorCallbackEx = cb;
    m_drmErrorUserData = user;
}

void CPlayerSupport::SetOnDRMErrInfoCallbackEx(DRMErrInfoCallbackEx cb, void* user) {
    m_drmErrInfoCallbackEx = cb;
    m_drmErrInfoUserData = user;
}

void CPlayerSupport::SetOnOutputProtectionInfoCallbackEx(OutputProtectionCallbackEx cb,
                                                         void* user) {
    m_outputProtectionCallbackEx = cb;
    m_outputProtectionUserData = user;
}

tag_HAS_Status CPlayerSupport::OnBitrateChanged(unsigned int from, unsigned int to,
                                                unsigned long long videoPts,
                                                unsigned long long audioPts,
                                                unsigned long long videoDts,
                                                unsigned long long audioDts) {
    HAS_LOG("BitrateChanged %d -> %d: raw video pts = %llu, raw audio pts = %llu, "
            "raw video dts = %llu, raw audio dts = %llu",
            static_cast<int>(from), static_cast<int>(to), videoPts, audioPts, videoDts, audioDts);
    return notify(m_bandwidthCallback, m_bandwidthCallbackEx, m_bandwidthUserData, kBitrateChanged,
                  from, to, videoPts, audioPts);
}

tag_HAS_Status CPlayerSupport::OnADStart(unsigned long long videoPts, unsigned long long audioPts,
                                         unsigned long long videoDts, unsigned long long audioDts) {
    HAS_LOG("Begin AD: raw video pts = %llu, raw audio pts = %llu, raw video dts = %llu, "
            "raw audio dts = %llu",
            videoPts, audioPts, videoDts, audioDts);
    return notify(m_adCallback, m_adCallbackEx, m_adUserData, kAdBegins, videoPts, audioPts,
                  videoDts, audioDts, 0U);
}

tag_HAS_Status CPlayerSupport::OnADEnd(unsigned long long videoPts, unsigned long long audioPts,
                                       unsigned long long videoDts, unsigned long long audioDts,
                                       unsigned int value) {
    HAS_LOG("End AD: raw video pts = %llu, raw audio pts = %llu, raw video dts = %llu, "
            "raw audio dts = %llu, %d",
            videoPts, audioPts, videoDts, audioDts, static_cast<int>(value));
    return notify(m_adCallback, m_adCallbackEx, m_adUserData, kAdEnds, videoPts, audioPts, videoDts,
                  audioDts, value);
}

tag_HAS_Status CPlayerSupport::OnDiscontinue(int value, unsigned long long videoPts,
                                             unsigned long long audioPts,
                                             unsigned long long videoDts,
                                             unsigned long long audioDts) {
    HAS_LOG("Discontinuity(%d): raw video pts = %llu, raw audio pts = %llu, "
            "raw video dts = %llu, raw audio dts = %llu",
            value, videoPts, audioPts, videoDts, audioDts);
    return notify(m_discontinuityCallback, m_discontinuityCallbackEx, m_discontinuityUserData,
                  kDiscontinuity, videoPts, audioPts, videoDts, audioDts,
                  static_cast<unsigned int>(value));
}

tag_HAS_Status CPlayerSupport::OnEvent(int first, int second, int third) {
    HAS_LOG("OnEvent function in");
    return notifyEx(m_eventCallbackEx, m_eventUserData, first, second, third);
}

tag_HAS_Status CPlayerSupport::OnDRMError(int code) {
    return notifyEx(m_drmErrorCallbackEx, m_drmErrorUserData, code);
}

tag_HAS_Status CPlayerSupport::OnDRMErrorMsg(std::string msg) {
    HAS_LOG_HIGHLIGHTED("CPlayerSupport::OnDRMErrorMsg, errorMsg:%s", msg.c_str());
    notifyEx(m_drmErrInfoCallbackEx, m_drmErrInfoUserData, msg.c_str());
    return HAS_STATUS_SUCCESS;
}

tag_HAS_Status CPlayerSupport::OnOutputProtectionInfo(Has_MacrovisionType macrovision,
                                                      Has_CGMSType cgms, bool flag) {
    HAS_LOG("\n [*] CPlayerSupport::OnOutputProtectionInfo() ");
    return notifyEx(m_outputProtectionCallbackEx, m_outputProtectionUserData, macrovision, cgms,
                    flag);
}

} // namespace hascommon

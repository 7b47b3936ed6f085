/// @file
/// What the streaming engines tell the player.
#pragma once

#include <Hascommon/Export.h>

#include <string>

namespace hascommon {

/// What a player's callback returns.
enum tag_HAS_Status { HAS_STATUS_FAILURE = 0, HAS_STATUS_SUCCESS = 1 };

/// Analogue copy protection that an output has to apply.
enum Has_MacrovisionType {
    HAS_MACROVISION_OFF = 0,
    HAS_MACROVISION_TYPE1 = 1,
    HAS_MACROVISION_TYPE2 = 2,
    HAS_MACROVISION_TYPE3 = 3
};

/// Copy generation management that an output has to signal (IEC 62375, CGMS-A).
enum Has_CGMSType {
    HAS_CGMS_COPY_FREELY = 0,
    HAS_CGMS_COPY_NO_MORE = 1,
    HAS_CGMS_COPY_ONCE = 2,
    HAS_CGMS_COPY_NEVER = 3
};

/// Hands what happens during playback on to the player's callbacks.
///
/// Each callback has a plain form, an "Ex" form with the user pointer given at registration, or
/// both; setting one form clears the other. Null clears a form. Time stamps are those of the media,
/// unchanged.
///
/// **Ownership.** Functions and user pointers are borrowed for as long as they are registered.
///
/// **Threads.** Register before playback begins: there is no lock. A callback runs on the thread
/// that notifies, and may call back in.
///
/// **Results.** A notification returns what the callback returned, HAS_STATUS_SUCCESS where none is
/// registered.
class HAS_API CPlayerSupport {
public:
    /// type 8 where an advertisement begins, 9 where one ends, 30 at a discontinuity
    using AdCallback = tag_HAS_Status (*)(unsigned int type, unsigned long long videoPts,
                                          unsigned long long audioPts, unsigned long long videoDts,
                                          unsigned long long audioDts, unsigned int value);
    using AdCallbackEx = tag_HAS_Status (*)(unsigned int type, unsigned long long videoPts,
                                            unsigned long long audioPts,
                                            unsigned long long videoDts,
                                            unsigned long long audioDts, unsigned int value,
                                            void* user);
    using DiscontinuityCallback = AdCallback;
    using DiscontinuityCallbackEx = AdCallbackEx;
    /// type 20; bitrates in bits per second
    using BandwidthCallback = tag_HAS_Status (*)(unsigned int type, unsigned int fromBitrate,
                                                 unsigned int toBitrate,
                                                 unsigned long long videoPts,
                                                 unsigned long long audioPts);
    using BandwidthCallbackEx = tag_HAS_Status (*)(unsigned int type, unsigned int fromBitrate,
                                                   unsigned int toBitrate,
                                                   unsigned long long videoPts,
                                                   unsigned long long audioPts, void* user);
    using EventCallbackEx = tag_HAS_Status (*)(int, int, int, void* user);
    using DRMErrorCallbackEx = tag_HAS_Status (*)(int code, void* user);
    /// The text is valid until the callback returns.
    using DRMErrInfoCallbackEx = tag_HAS_Status (*)(const char* text, void* user);
    using OutputProtectionCallbackEx = tag_HAS_Status (*)(Has_MacrovisionType, Has_CGMSType, bool,
                                                          void* user);

    CPlayerSupport();
    CPlayerSupport(const CPlayerSupport&) = delete;
    CPlayerSupport& operator=(const CPlayerSupport&) = delete;

    void SetAdvertisementCallback(AdCallback cb);
    void SetAdvertisementCallbackEx(AdCallbackEx cb, void* user);
    void SetDiscontinuityCallback(DiscontinuityCallback cb);
    void SetDiscontinuityCallbackEx(DiscontinuityCallbackEx cb, void* user);
    void SetBandwidthCallback(BandwidthCallback cb);
    void SetBandwidthCallbackEx(BandwidthCallbackEx cb, void* user);
    /// Clears both forms.
    void ReleaseAdvertisementCallback();
    /// Clears both forms.
    void ReleaseBandwidthCallback();
    void SetOnEventCallbackEx(EventCallbackEx cb, void* user);
    void SetOnDRMErrorCallbackEx(DRMErrorCallbackEx cb, void* user);
    void SetOnDRMErrInfoCallbackEx(DRMErrInfoCallbackEx cb, void* user);
    void SetOnOutputProtectionInfoCallbackEx(OutputProtectionCallbackEx cb, void* user);

    /// The stream changed; `from` and `to` in bits per second. The decoding times only go to the
    /// log.
    tag_HAS_Status OnBitrateChanged(unsigned int from, unsigned int to, unsigned long long videoPts,
                                    unsigned long long audioPts, unsigned long long videoDts,
                                    unsigned long long audioDts);
    tag_HAS_Status OnADStart(unsigned long long videoPts, unsigned long long audioPts,
                             unsigned long long videoDts, unsigned long long audioDts);
    tag_HAS_Status OnADEnd(unsigned long long videoPts, unsigned long long audioPts,
                           unsigned long long videoDts, unsigned long long audioDts,
                           unsigned int value);
    tag_HAS_Status OnDiscontinue(int value, unsigned long long videoPts,
                                 unsigned long long audioPts, unsigned long long videoDts,
                                 unsigned long long audioDts);
    tag_HAS_Status OnEvent(int first, int second, int third);
    tag_HAS_Status OnDRMError(int code);
    /// @return HAS_STATUS_SUCCESS, whatever the callback returns: this is meant
    tag_HAS_Status OnDRMErrorMsg(std::string msg);
    tag_HAS_Status OnOutputProtectionInfo(Has_MacrovisionType macrovision, Has_CGMSType cgms,
                                          bool flag);

private:
    AdCallback m_adCallback = nullptr;
    DiscontinuityCallback m_discontinuityCallback = nullptr;
    BandwidthCallback m_bandwidthCallback = nullptr;
    AdCallbackEx m_adCallbackEx = nullptr;
    DiscontinuityCallbackEx m_discontinuityCallbackEx = nullptr;
    BandwidthCallbackEx m_bandwidthCallbackEx = nullptr;
    void* m_adUserData = nullptr;
    void* m_discontinuityUserData = nullptr;
    void* m_bandwidthUserData = nullptr;
    EventCallbackEx m_eventCallbackEx = nullptr;
    void* m_eventUserData = nullptr;
    DRMErrorCallbackEx m_drmErrorCallbackEx = nullptr;
    void* m_drmErrorUserData = nullptr;
    DRMErrInfoCallbackEx m_drmErrInfoCallbackEx = nullptr;
    void* m_drmErrInfoUserData = nullptr;
    OutputProtectionCallbackEx m_outputProtectionCallbackEx = nullptr;
    void* m_outputProtectionUserData = nullptr;
};

} // namespace hascommon

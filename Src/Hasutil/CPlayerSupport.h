/// @file
/// What the streaming engines tell the player.
#pragma once

#include <Hascommon/Export.h>

#include <string>

namespace hascommon {

/// What a player's callback returns.
enum tag_HAS_Status {
    /// The player could not act on what it was told; the engine decides what that means.
    HAS_STATUS_FAILURE = 0,
    HAS_STATUS_SUCCESS = 1
};

/// Analogue copy protection that an output has to apply.
enum Has_MacrovisionType {
    /// The output needs no protection.
    HAS_MACROVISION_OFF = 0,
    HAS_MACROVISION_TYPE1 = 1,
    HAS_MACROVISION_TYPE2 = 2,
    HAS_MACROVISION_TYPE3 = 3
};

/// Copy generation management that an output has to signal (IEC 62375, CGMS-A).
enum Has_CGMSType {
    HAS_CGMS_COPY_FREELY = 0,
    /// What is output is a copy already, and may not be copied again.
    HAS_CGMS_COPY_NO_MORE = 1,
    /// One generation of copies may be made.
    HAS_CGMS_COPY_ONCE = 2,
    HAS_CGMS_COPY_NEVER = 3
};

/// Hands what happens during playback on to the player's callbacks.
///
/// Each callback has a plain form, an "Ex" form with the user pointer given at registration, or
/// both; setting one form clears the other. Null clears a form. Of the two forms the one that was
/// set last is called. Time stamps are those of the media, in its own ticks, unchanged.
///
/// **Ownership.** Functions and user pointers are borrowed for as long as they are registered.
///
/// **Threads.** Register before playback begins: there is no lock. A callback runs on the thread
/// that notifies, and may call back in. An exception that it throws passes through the
/// notification to the engine.
///
/// **Results.** A notification returns what the callback returned, HAS_STATUS_SUCCESS where no
/// callback is registered.
class HAS_API CPlayerSupport {
public:
    /// type 8 where an advertisement begins, with a `value` of 0; 9 where one ends
    using AdCallback = tag_HAS_Status (*)(unsigned int type, unsigned long long videoPts,
                                          unsigned long long audioPts, unsigned long long videoDts,
                                          unsigned long long audioDts, unsigned int value);
    using AdCallbackEx = tag_HAS_Status (*)(unsigned int type, unsigned long long videoPts,
                                            unsigned long long audioPts,
                                            unsigned long long videoDts,
                                            unsigned long long audioDts, unsigned int value,
                                            void* user);
    /// type 30; `value` is what the engine gives to OnDiscontinue()
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
    /// The three numbers are the engine's own; they are handed on as they come.
    using EventCallbackEx = tag_HAS_Status (*)(int, int, int, void* user);
    /// An error number of the DRM system.
    using DRMErrorCallbackEx = tag_HAS_Status (*)(int code, void* user);
    /// The text is valid until the callback returns.
    using DRMErrInfoCallbackEx = tag_HAS_Status (*)(const char* text, void* user);
    /// What an output must apply before it shows protected media; the flag is the engine's own.
    using OutputProtectionCallbackEx = tag_HAS_Status (*)(Has_MacrovisionType, Has_CGMSType, bool,
                                                          void* user);

    /// No callback is registered.
    CPlayerSupport();
    CPlayerSupport(const CPlayerSupport&) = delete;
    CPlayerSupport& operator=(const CPlayerSupport&) = delete;

    /// @name Registration; see the class for forms, null and ownership
    /// @{
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
    /// @}

    /// The stream changed; `from` and `to` in bits per second. The decoding times only go to the
    /// log.
    tag_HAS_Status OnBitrateChanged(unsigned int from, unsigned int to, unsigned long long videoPts,
                                    unsigned long long audioPts, unsigned long long videoDts,
                                    unsigned long long audioDts);
    /// An advertisement begins with the media of these time stamps.
    tag_HAS_Status OnADStart(unsigned long long videoPts, unsigned long long audioPts,
                             unsigned long long videoDts, unsigned long long audioDts);
    /// An advertisement ends.
    /// @param value  handed on to the player
    tag_HAS_Status OnADEnd(unsigned long long videoPts, unsigned long long audioPts,
                           unsigned long long videoDts, unsigned long long audioDts,
                           unsigned int value);
    /// The media's time line breaks off, and goes on with these time stamps.
    /// @param value  handed on to the player, as an unsigned number
    tag_HAS_Status OnDiscontinue(int value, unsigned long long videoPts,
                                 unsigned long long audioPts, unsigned long long videoDts,
                                 unsigned long long audioDts);
    /// Something that has no notification of its own.
    tag_HAS_Status OnEvent(int first, int second, int third);
    /// A DRM system has failed. Unlike the others this is not logged.
    tag_HAS_Status OnDRMError(int code);
    /// What to tell of a DRM failure, for people. Logged as an error.
    /// @return HAS_STATUS_SUCCESS, whatever the callback returns: a text asks for no decision
    tag_HAS_Status OnDRMErrorMsg(std::string msg);
    /// An output has to be protected.
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

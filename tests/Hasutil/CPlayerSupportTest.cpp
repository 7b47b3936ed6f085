#include <Hasutil/CPlayerSupport.h>

#include <support/LogCapture.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace hascommon;
using Ull = unsigned long long;

/// What the callbacks of one test were told, as text.
std::vector<std::string> calls;

template<typename... Args>
tag_HAS_Status record(const std::string& who, Args... args) {
    std::string text = who;
    ((text += " " + std::to_string(args)), ...);
    calls.push_back(text);
    return HAS_STATUS_FAILURE;
}

tag_HAS_Status onAd(unsigned int type, Ull vp, Ull ap, Ull vd, Ull ad, unsigned int value) {
    return record("ad", type, vp, ap, vd, ad, value);
}
tag_HAS_Status onAdEx(unsigned int type, Ull vp, Ull ap, Ull vd, Ull ad, unsigned int value,
                      void* user) {
    return record("adEx", type, vp, ap, vd, ad, value, *static_cast<int*>(user));
}
tag_HAS_Status onDisc(unsigned int type, Ull vp, Ull ap, Ull vd, Ull ad, unsigned int value) {
    return record("disc", type, vp, ap, vd, ad, value);
}
tag_HAS_Status onDiscEx(unsigned int type, Ull vp, Ull ap, Ull vd, Ull ad, unsigned int value,
                        void* user) {
    return record("discEx", type, vp, ap, vd, ad, value, *static_cast<int*>(user));
}
tag_HAS_Status onBandwidth(unsigned int type, unsigned int from, unsigned int to, Ull vp, Ull ap) {
    return record("bw", type, from, to, vp, ap);
}
tag_HAS_Status onBandwidthEx(unsigned int type, unsigned int from, unsigned int to, Ull vp, Ull ap,
                             void* user) {
    return record("bwEx", type, from, to, vp, ap, *static_cast<int*>(user));
}
tag_HAS_Status onEvent(int first, int second, int third, void* user) {
    return record("event", first, second, third, *static_cast<int*>(user));
}
tag_HAS_Status onDrmError(int code, void* user) {
    return record("drm", code, *static_cast<int*>(user));
}
tag_HAS_Status onDrmText(const char* text, void* user) {
    return record(std::string("text ") + text, *static_cast<int*>(user));
}
tag_HAS_Status onOutput(Has_MacrovisionType macrovision, Has_CGMSType cgms, bool flag, void* user) {
    return record("output", static_cast<int>(macrovision), static_cast<int>(cgms), flag,
                  *static_cast<int*>(user));
}

class PlayerSupport : public testing::Test {
protected:
    void SetUp() override { calls.clear(); }

    int user = 77;
    int other = 88;
    test::LogCapture log;
    CPlayerSupport hub;
};

using Calls = std::vector<std::string>;

TEST_F(PlayerSupport, WithoutCallbacksNotificationsOnlyLog) {
    EXPECT_EQ(hub.OnBitrateChanged(1, 2, 3, 4, 5, 6), HAS_STATUS_SUCCESS);
    EXPECT_EQ(hub.OnADStart(1, 2, 3, 4), HAS_STATUS_SUCCESS);
    EXPECT_EQ(hub.OnADEnd(1, 2, 3, 4, 4294967295U), HAS_STATUS_SUCCESS);
    EXPECT_EQ(hub.OnDiscontinue(-5, 1, 2, 3, 18446744073709551615ULL), HAS_STATUS_SUCCESS);
    EXPECT_EQ(hub.OnEvent(1, 2, 3), HAS_STATUS_SUCCESS);
    EXPECT_EQ(hub.OnDRMError(1), HAS_STATUS_SUCCESS);
    EXPECT_EQ(hub.OnDRMErrorMsg("why"), HAS_STATUS_SUCCESS);
    EXPECT_EQ(hub.OnOutputProtectionInfo(HAS_MACROVISION_OFF, HAS_CGMS_COPY_FREELY, false),
              HAS_STATUS_SUCCESS);
    EXPECT_EQ(log.messages("CPlayerSupport.cpp"),
              (Calls{"BitrateChanged 1 -> 2: raw video pts = 3, raw audio pts = 4, "
                     "raw video dts = 5, raw audio dts = 6",
                     "Begin AD: raw video pts = 1, raw audio pts = 2, raw video dts = 3, "
                     "raw audio dts = 4",
                     "End AD: raw video pts = 1, raw audio pts = 2, raw video dts = 3, "
                     "raw audio dts = 4, -1",
                     "Discontinuity(-5): raw video pts = 1, raw audio pts = 2, "
                     "raw video dts = 3, raw audio dts = 18446744073709551615",
                     "OnEvent function in",
                     test::highlighted("CPlayerSupport::OnDRMErrorMsg, errorMsg:why"),
                     "\n [*] CPlayerSupport::OnOutputProtectionInfo() "}));
    EXPECT_EQ(log.lines().front().priority, 4);
    EXPECT_EQ(log.find(test::highlighted("CPlayerSupport::OnDRMErrorMsg, errorMsg:why")).priority,
              16);
}

TEST_F(PlayerSupport, PlainCallbacksAreToldAndAnswer) {
    hub.SetAdvertisementCallback(onAd);
    hub.SetDiscontinuityCallback(onDisc);
    hub.SetBandwidthCallback(onBandwidth);
    EXPECT_EQ(hub.OnADStart(1, 2, 3, 4), HAS_STATUS_FAILURE);
    EXPECT_EQ(hub.OnADEnd(5, 6, 7, 8, 9), HAS_STATUS_FAILURE);
    EXPECT_EQ(hub.OnDiscontinue(-1, 10, 11, 12, 13), HAS_STATUS_FAILURE);
    EXPECT_EQ(hub.OnBitrateChanged(100, 200, 14, 15, 16, 17), HAS_STATUS_FAILURE);
    EXPECT_EQ(calls, (Calls{"ad 8 1 2 3 4 0", "ad 9 5 6 7 8 9", "disc 30 10 11 12 13 4294967295",
                            "bw 20 100 200 14 15"}));
}

TEST_F(PlayerSupport, ExCallbacksGetTheirUserPointer) {
    hub.SetAdvertisementCallbackEx(onAdEx, &user);
    hub.SetDiscontinuityCallbackEx(onDiscEx, &other);
    hub.SetBandwidthCallbackEx(onBandwidthEx, &user);
    hub.SetOnEventCallbackEx(onEvent, &other);
    hub.SetOnDRMErrorCallbackEx(onDrmError, &user);
    hub.SetOnDRMErrInfoCallbackEx(onDrmText, &other);
    hub.SetOnOutputProtectionInfoCallbackEx(onOutput, &user);
    EXPECT_EQ(hub.OnADStart(1, 2, 3, 4), HAS_STATUS_FAILURE);
    EXPECT_EQ(hub.OnADEnd(1, 2, 3, 4, 5), HAS_STATUS_FAILURE);
    EXPECT_EQ(hub.OnDiscontinue(9, 1, 2, 3, 4), HAS_STATUS_FAILURE);
    EXPECT_EQ(hub.OnBitrateChanged(1, 2, 3, 4, 5, 6), HAS_STATUS_FAILURE);
    EXPECT_EQ(hub.OnEvent(1, -2, 3), HAS_STATUS_FAILURE);
    EXPECT_EQ(hub.OnDRMError(-51), HAS_STATUS_FAILURE);
    EXPECT_EQ(hub.OnOutputProtectionInfo(HAS_MACROVISION_TYPE2, HAS_CGMS_COPY_NEVER, true),
              HAS_STATUS_FAILURE);
    EXPECT_EQ(calls,
              (Calls{"adEx 8 1 2 3 4 0 77", "adEx 9 1 2 3 4 5 77", "discEx 30 1 2 3 4 9 88",
                     "bwEx 20 1 2 3 4 77", "event 1 -2 3 88", "drm -51 77", "output 2 3 1 77"}));
}

TEST_F(PlayerSupport, ErrorTextIsASuccessWhateverTheCallbackSays) {
    hub.SetOnDRMErrInfoCallbackEx(onDrmText, &user);
    EXPECT_EQ(hub.OnDRMErrorMsg("no licence"), HAS_STATUS_SUCCESS);
    EXPECT_EQ(calls, Calls{"text no licence 77"});
}

TEST_F(PlayerSupport, ADrmErrorIsNotLogged) {
    hub.OnDRMError(3);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(PlayerSupport, TheExFormTakesThePlaceOfThePlainOne) {
    hub.SetAdvertisementCallback(onAd);
    hub.SetAdvertisementCallbackEx(onAdEx, &user);
    hub.SetDiscontinuityCallback(onDisc);
    hub.SetDiscontinuityCallbackEx(onDiscEx, &user);
    hub.SetBandwidthCallback(onBandwidth);
    hub.SetBandwidthCallbackEx(onBandwidthEx, &user);
    hub.OnADStart(1, 2, 3, 4);
    hub.OnDiscontinue(5, 1, 2, 3, 4);
    hub.OnBitrateChanged(1, 2, 3, 4, 5, 6);
    EXPECT_EQ(calls,
              (Calls{"adEx 8 1 2 3 4 0 77", "discEx 30 1 2 3 4 5 77", "bwEx 20 1 2 3 4 77"}));
}

TEST_F(PlayerSupport, ThePlainFormTakesThePlaceOfTheExOne) {
    hub.SetAdvertisementCallbackEx(onAdEx, &user);
    hub.SetAdvertisementCallback(onAd);
    hub.SetDiscontinuityCallbackEx(onDiscEx, &user);
    hub.SetDiscontinuityCallback(onDisc);
    hub.SetBandwidthCallbackEx(onBandwidthEx, &user);
    hub.SetBandwidthCallback(onBandwidth);
    hub.OnADStart(1, 2, 3, 4);
    hub.OnDiscontinue(5, 1, 2, 3, 4);
    hub.OnBitrateChanged(1, 2, 3, 4, 5, 6);
    EXPECT_EQ(calls, (Calls{"ad 8 1 2 3 4 0", "disc 30 1 2 3 4 5", "bw 20 1 2 3 4"}));
}

TEST_F(PlayerSupport, SettingNullClearsBothForms) {
    hub.SetAdvertisementCallbackEx(onAdEx, &user);
    hub.SetAdvertisementCallback(nullptr);
    hub.SetBandwidthCallback(onBandwidth);
    hub.SetBandwidthCallbackEx(nullptr, nullptr);
    EXPECT_EQ(hub.OnADStart(1, 2, 3, 4), HAS_STATUS_SUCCESS);
    EXPECT_EQ(hub.OnBitrateChanged(1, 2, 3, 4, 5, 6), HAS_STATUS_SUCCESS);
    EXPECT_TRUE(calls.empty());
}

TEST_F(PlayerSupport, ReleasedCallbacksReachNobody) {
    hub.SetBandwidthCallback(onBandwidth);
    hub.ReleaseBandwidthCallback();
    hub.OnBitrateChanged(1, 2, 3, 4, 5, 6);
    hub.SetBandwidthCallbackEx(onBandwidthEx, &user);
    hub.ReleaseBandwidthCallback();
    hub.OnBitrateChanged(1, 2, 3, 4, 5, 6);
    hub.SetAdvertisementCallback(onAd);
    hub.ReleaseAdvertisementCallback();
    hub.OnADStart(1, 2, 3, 4);
    hub.SetAdvertisementCallbackEx(onAdEx, &user);
    hub.ReleaseAdvertisementCallback();
    hub.OnADEnd(1, 2, 3, 4, 5);
    EXPECT_TRUE(calls.empty());
}

} // namespace

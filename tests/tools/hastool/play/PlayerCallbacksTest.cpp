#include <hastool/play/PlayerCallbacks.h>

#include <gtest/gtest.h>

#include <vector>

using hastool::PlayerCallbacks;

namespace {

class PlayerCallbacksTest : public testing::Test {
protected:
    std::vector<std::string> m_told;
    PlayerCallbacks m_callbacks{[this](const std::string& kind, const std::string& what) {
                                    m_told.push_back(kind + ": " + what);
                                },
                                [this](int from, int to) {
                                    m_told.push_back(std::to_string(from) + " to " +
                                                     std::to_string(to));
                                }};
};

TEST_F(PlayerCallbacksTest, PutEveryNotificationIntoWords) {
    auto& hub = m_callbacks.hub();
    hub.OnBitrateChanged(300000, 900000, 1, 2, 3, 4);
    hub.OnDiscontinue(0, 90 * 1500, 0, 0, 0);
    hub.OnADStart(90, 0, 0, 0);
    hub.OnADEnd(180, 0, 0, 0, 7);
    hub.OnEvent(1, -2, 3);
    hub.OnDRMError(-51);
    hub.OnDRMErrorMsg("no licence");
    hub.OnOutputProtectionInfo(hascommon::HAS_MACROVISION_TYPE1, hascommon::HAS_CGMS_COPY_ONCE,
                               true);
    EXPECT_EQ(m_told, (std::vector<std::string>{
                          "300000 to 900000", "discontinuity: at 1500 ms of the media",
                          "ad-start: at 1 ms of the media", "ad-end: at 2 ms of the media",
                          "event: 1 -2 3", "drm-error: -51", "drm-error: no licence",
                          "output-protection: Macrovision 1, CGMS 2, on"}));
}

} // namespace

// Body that the engine holds for a paused unit, and how it comes out again.
#include <support/EngineTest.h>
#include <support/LogCapture.h>

namespace {

using namespace std::chrono_literals;
using hascommon::UnitObject;
using test::EngineTest;
using test::eventually;
using test::LogCapture;
using test::pattern;
using test::Reply;
using test::Stage;

constexpr size_t kHeld = 1000;

/// A unit that is paused while its first piece is on its way from libcurl to the owner, so that the
/// engine holds it; then the origin sends nothing until it is released.
class CurlHeldTest : public EngineTest {
protected:
    CurlHeldTest() {
        origin.on("/a", Reply().body(pattern(2 * kHeld)).stalledAt(Stage::InBody, kHeld));
        m_unit = beginPath("/a");
        m_log.onLine([this](const test::LogLine& line) {
            if (line.message == "OnBodyDownload() starts." && !m_paused.exchange(true))
                engine->Pause(m_unit);
        });
        engine->StartLoop();
        EXPECT_TRUE(eventually([&] { return m_log.contains("Pause Buffer Saved size(1000)"); }));
        EXPECT_TRUE(engine->IsPause(m_unit));
        EXPECT_EQ(owner.offers(), 0);
    }

    ~CurlHeldTest() override { engine.reset(); }

    bool heldIsDelivered() {
        return eventually([&] { return owner.bytes() == kHeld; });
    }

    /// Lets the rest come, behind the bytes that were held.
    void expectTheRest() {
        origin.release("/a");
        EXPECT_EQ(engine->EndDownload(m_unit), 0);
        EXPECT_TRUE(owner.body(m_unit) == pattern(2 * kHeld).all());
    }

    LogCapture m_log;
    UnitObject* m_unit = nullptr;

private:
    std::atomic<bool> m_paused{false};
};

TEST_F(CurlHeldTest, ComesOutWithTheResumeWhereTheServerSendsNoMore) {
    EXPECT_EQ(engine->Resume(m_unit), 1);
    EXPECT_TRUE(heldIsDelivered());
    EXPECT_EQ(m_log.count("Curl::OnBodyDownload - Pause Buffer Load 1000"), 1);
    expectTheRest();
}

TEST_F(CurlHeldTest, IsOfferedAgainToAnOwnerWhoRefusesIt) {
    owner.onData = [&](UnitObject*, const std::string& bytes) {
        EXPECT_TRUE(owner.offers() > 4 || bytes == pattern(2 * kHeld).part(0, kHeld));
        return owner.offers() < 4 ? 1 : 0;
    };
    EXPECT_EQ(engine->Resume(m_unit), 1);
    EXPECT_TRUE(heldIsDelivered());
    EXPECT_EQ(owner.offers(), 4);
    expectTheRest();
}

TEST_F(CurlHeldTest, IsKeptWhenTheOwnerPausesInTheMiddle) {
    std::atomic<bool> refuse{true};
    owner.onData = [&](UnitObject* unit, const std::string&) {
        return refuse ? engine->Pause(unit) : 0;
    };
    EXPECT_EQ(engine->Resume(m_unit), 1);
    EXPECT_TRUE(eventually([&] { return owner.offers() == 1 && engine->IsPause(m_unit); }));
    refuse = false;
    origin.release("/a");
    std::this_thread::sleep_for(20ms);
    EXPECT_EQ(owner.offers(), 1);
    EXPECT_EQ(engine->Resume(m_unit), 1);
    expectTheRest();
}

TEST_F(CurlHeldTest, IsTakenOnceByAnOwnerWhoPausesWithIt) {
    std::atomic<bool> pause{true};
    owner.onData = [&](UnitObject* unit, const std::string&) {
        if (pause.exchange(false))
            engine->Pause(unit);
        return 0;
    };
    EXPECT_EQ(engine->Resume(m_unit), 1);
    EXPECT_TRUE(heldIsDelivered());
    EXPECT_TRUE(engine->IsPause(m_unit));
    origin.release("/a");
    std::this_thread::sleep_for(20ms);
    EXPECT_EQ(owner.offers(), 1);
    EXPECT_EQ(engine->Resume(m_unit), 1);
    expectTheRest();
}

TEST_F(CurlHeldTest, IsNotDeliveredToAnOwnerWhoCancelsInPlaceOfTheResume) {
    EXPECT_EQ(engine->Cancel(m_unit), 1);
    EXPECT_EQ(engine->EndDownload(m_unit), -12);
    EXPECT_EQ(owner.offers(), 0);
}

TEST_F(CurlHeldTest, IsDroppedWhenTheOwnerCancelsInTheMiddle) {
    owner.onData = [&](UnitObject* unit, const std::string&) { return engine->Cancel(unit); };
    EXPECT_EQ(engine->Resume(m_unit), 1);
    EXPECT_EQ(engine->EndDownload(m_unit), -12);
    EXPECT_EQ(owner.offers(), 1);
    EXPECT_EQ(owner.body(m_unit), "");
}

TEST_F(CurlHeldTest, IsDroppedWhenTheOwnerQuitsInTheMiddle) {
    owner.onData = [](UnitObject*, const std::string&) { return 1; };
    EXPECT_EQ(engine->Resume(m_unit), 1);
    EXPECT_TRUE(eventually([&] { return owner.offers() > 1; }));
    engine->Quit();
    EXPECT_EQ(engine->EndDownload(m_unit), -12);
}

TEST_F(CurlHeldTest, LetsOtherOwnersInWhileItIsRefused) {
    std::atomic<bool> refuse{true};
    owner.onData = [&](UnitObject*, const std::string&) { return refuse ? 1 : 0; };
    EXPECT_EQ(engine->Resume(m_unit), 1);
    EXPECT_TRUE(eventually([&] { return owner.offers() > 1; }));
    EXPECT_TRUE(engine->IsDownloading(m_unit));
    EXPECT_EQ(engine->Pause(m_unit), 1);
    EXPECT_EQ(engine->Resume(m_unit), 1);
    refuse = false;
    EXPECT_TRUE(heldIsDelivered());
    expectTheRest();
}

TEST_F(EngineTest, PieceThatWasRefusedBeforeThePauseComesOutWithTheResume) {
    origin.on("/a", Reply().body(pattern(2 * kHeld)).stalledAt(Stage::InBody, kHeld));
    std::atomic<bool> refuse{true};
    owner.onData = [&](UnitObject*, const std::string&) { return refuse ? 1 : 0; };
    engine->StartLoop();
    UnitObject* unit = beginPath("/a");
    EXPECT_TRUE(eventually([&] { return owner.offers() > 0; }));
    EXPECT_EQ(engine->Pause(unit), 1);
    refuse = false;
    EXPECT_EQ(engine->Resume(unit), 1);
    EXPECT_TRUE(eventually([&] { return owner.bytes() == kHeld; }));
    origin.release("/a");
    EXPECT_EQ(engine->EndDownload(unit), 0);
    EXPECT_TRUE(owner.body(unit) == pattern(2 * kHeld).all());
}

} // namespace

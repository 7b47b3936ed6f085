#include "DashCencHandlerTest.h"

#include <Hasutil/CDRMManager.h>
#include <Hasutil/DashMarlinCencDRMHandler.h>
#include <Hasutil/DashPlayReadyCencDRMHandler.h>
#include <Hasutil/DashQDRMCencDRMHandler.h>

#include <memory>
#include <typeinfo>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace hascommon;
using test::LogCapture;
using ::testing::ElementsAre;

constexpr char kMarlin[] = "urn:uuid:5E629AF5-38DA-4063-8977-97FFBD9902D4";
constexpr char kPlayReady[] = "urn:uuid:9A04F079-9840-4286-AB92-E65BE0885F95";
constexpr char kSwapped[] = "urn:uuid:79f0049a-4098-8642-ab92-e65be0885f95";
constexpr char kQdrm[] = "urn:uuid:78cbbd26-2235-a711-c890-f66a56ee12df";
constexpr char kGeneric[] = "urn:mpeg:dash:mp4protection:2011";
constexpr const char* kSystems[] = {kMarlin, kPlayReady, kSwapped, kQdrm};
constexpr auto kOtherSystem = static_cast<system_type_t>(1);

template<typename Handler>
bool is(const IDRMHandler* handler) {
    return handler != nullptr && typeid(*handler) == typeid(Handler);
}

std::string swappedCase(std::string text) {
    for (char& letter : text) {
        const bool isLower = letter >= 'a' && letter <= 'z';
        const bool isUpper = letter >= 'A' && letter <= 'Z';
        letter = static_cast<char>(isLower || isUpper ? letter ^ 0x20 : letter);
    }
    return text;
}

class DRMManagerTest : public ::testing::Test {
protected:
    IDRMHandler* find(const std::string& schemeId, MediaType mediaType = MEDIA_TYPE_VIDEO,
                      system_type_t systemType = SYSTEM_TYPE_CENC) {
        return manager.FindHandler(schemeId, "value", systemType, mediaType, false);
    }

    CDRMManager manager;
};

TEST_F(DRMManagerTest, EachSchemeIdHasItsHandler) {
    for (const MediaType type : {MEDIA_TYPE_AUDIO, MEDIA_TYPE_VIDEO}) {
        EXPECT_TRUE(is<DashMarlinCencDRMHandler>(find(kMarlin, type)));
        EXPECT_TRUE(is<DashPlayReadyCencDRMHandler>(find(kPlayReady, type)));
        EXPECT_TRUE(is<DashPlayReadyCencDRMHandler>(find(kSwapped, type)));
        EXPECT_TRUE(is<DashQDRMCencDRMHandler>(find(kQdrm, type)));
    }
}

TEST_F(DRMManagerTest, SystemSchemeIdsAreComparedWithoutRegardToCase) {
    EXPECT_TRUE(is<DashMarlinCencDRMHandler>(find(swappedCase(kMarlin))));
    EXPECT_TRUE(is<DashPlayReadyCencDRMHandler>(find(swappedCase(kPlayReady))));
    EXPECT_TRUE(is<DashPlayReadyCencDRMHandler>(find(swappedCase(kSwapped))));
    EXPECT_TRUE(is<DashQDRMCencDRMHandler>(find(swappedCase(kQdrm))));
    EXPECT_TRUE(
        is<DashPlayReadyCencDRMHandler>(find("urn:uuid:9a04f079-9840-4286-ab92-e65be0885f95")));
}

TEST_F(DRMManagerTest, OtherSchemeIdsHaveNone) {
    manager.setContentProtectSize(1);
    for (const std::string id :
         {"", "urn:uuid:", "9A04F079-9840-4286-AB92-E65BE0885F95",
          "urn:uuid:9A04F079-9840-4286-AB92-E65BE0885F95 ",
          "urn:uuid:edef8ba9-79d6-4ace-a3c8-27dcd51d21ed", "urn:mpeg:dash:mp4protection:201"}) {
        EXPECT_EQ(find(id), nullptr) << id;
        EXPECT_EQ(manager.FindHandler(id, MEDIA_TYPE_VIDEO), nullptr) << id;
    }
}

TEST_F(DRMManagerTest, TheSameRequestGetsTheSameHandler) {
    for (const char* id : kSystems) {
        for (const MediaType type : {MEDIA_TYPE_AUDIO, MEDIA_TYPE_VIDEO}) {
            IDRMHandler* const handler = find(id, type);
            EXPECT_EQ(find(id, type), handler);
            EXPECT_EQ(manager.FindHandler(id, type), handler);
        }
    }
}

TEST_F(DRMManagerTest, EachMediaTypeHasAHandlerOfItsOwn) {
    EXPECT_NE(find(kPlayReady, MEDIA_TYPE_AUDIO), find(kPlayReady, MEDIA_TYPE_VIDEO));
}

TEST_F(DRMManagerTest, AnotherSpellingMakesAnotherHandler) {
    IDRMHandler* const handler = find(kPlayReady);
    const std::string other = swappedCase(kPlayReady);
    EXPECT_EQ(manager.FindHandler(other, MEDIA_TYPE_VIDEO), nullptr);
    EXPECT_NE(find(other), handler);
    EXPECT_EQ(find(kPlayReady), handler);
}

TEST_F(DRMManagerTest, OtherMediaTypesGetNoHandler) {
    manager.setContentProtectSize(1);
    for (const int number : {0, 3, 4, -1}) {
        const auto type = static_cast<MediaType>(number);
        for (const char* id : kSystems) {
            EXPECT_EQ(find(id, type), nullptr) << number;
            EXPECT_EQ(find(id, type, kOtherSystem), nullptr) << number;
        }
        EXPECT_EQ(find(kGeneric, type), nullptr) << number;
        EXPECT_EQ(manager.FindHandler(kPlayReady, type), nullptr) << number;
    }
}

TEST_F(DRMManagerTest, MarlinNeedsItsSystemType) {
    for (const int number : {0, 1, 3, -1})
        EXPECT_EQ(find(kMarlin, MEDIA_TYPE_VIDEO, static_cast<system_type_t>(number)), nullptr);
}

TEST_F(DRMManagerTest, AHandlerForAnotherSystemTypeIsTheCallers) {
    for (const char* id : {kPlayReady, kSwapped, kQdrm}) {
        const std::unique_ptr<IDRMHandler> first(find(id, MEDIA_TYPE_AUDIO, kOtherSystem));
        const std::unique_ptr<IDRMHandler> second(find(id, MEDIA_TYPE_AUDIO, kOtherSystem));
        EXPECT_NE(first, nullptr);
        EXPECT_NE(second, nullptr);
        EXPECT_NE(first, second);
        EXPECT_EQ(manager.FindHandler(id, MEDIA_TYPE_AUDIO), nullptr);
        manager.Cleanup();
        EXPECT_EQ(first->OnContentEnd(), 1);
    }
}

TEST_F(DRMManagerTest, AKeptHandlerIsFoundForEverySystemType) {
    for (const char* id : kSystems) {
        IDRMHandler* const handler = find(id);
        EXPECT_EQ(find(id, MEDIA_TYPE_VIDEO, kOtherSystem), handler);
    }
}

TEST_F(DRMManagerTest, TheGenericSchemeIsPlayReadyWhereItIsAlone) {
    EXPECT_EQ(find(kGeneric), nullptr);
    for (const int count : {2, 0, -1}) {
        manager.setContentProtectSize(count);
        EXPECT_EQ(find(kGeneric), nullptr) << count;
    }
    manager.setContentProtectSize(1);
    EXPECT_EQ(find(kGeneric, MEDIA_TYPE_VIDEO, kOtherSystem), nullptr);
    EXPECT_EQ(find("urn:mpeg:DASH:mp4protection:2011"), nullptr);
    for (const MediaType type : {MEDIA_TYPE_AUDIO, MEDIA_TYPE_VIDEO}) {
        IDRMHandler* const handler = find(kGeneric, type);
        EXPECT_TRUE(is<DashPlayReadyCencDRMHandler>(handler));
        EXPECT_EQ(manager.FindHandler(kGeneric, type), handler);
    }
    manager.setContentProtectSize(2);
    EXPECT_NE(find(kGeneric), nullptr); // the handler exists already
}

TEST_F(DRMManagerTest, TheCountStaysBeyondCleanup) {
    manager.setContentProtectSize(1);
    manager.Cleanup();
    EXPECT_NE(find(kGeneric), nullptr);
}

TEST_F(DRMManagerTest, CleanupForgetsEveryHandlerAndTheManagerGoesOn) {
    manager.Cleanup();
    for (const char* id : kSystems) {
        find(id, MEDIA_TYPE_AUDIO);
        find(id, MEDIA_TYPE_VIDEO);
    }
    manager.Cleanup();
    for (const char* id : kSystems) {
        EXPECT_EQ(manager.FindHandler(id, MEDIA_TYPE_AUDIO), nullptr);
        EXPECT_EQ(manager.FindHandler(id, MEDIA_TYPE_VIDEO), nullptr);
    }
    EXPECT_NE(find(kQdrm), nullptr);
}

TEST_F(DRMManagerTest, TheLookUpIsLogged) {
    const LogCapture log;
    manager.FindHandler("some id", static_cast<MediaType>(9));
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(log.lines()[0].message, "--- findHandler, schemeID:some id");
    EXPECT_EQ(log.lines()[0].file, "CDRMManager.cpp");
    EXPECT_EQ(log.lines()[0].function, "FindHandler");
    EXPECT_EQ(log.lines()[0].priority, 4);
}

std::vector<std::string> linesOf(const std::string& id, int mediaType, system_type_t systemType) {
    CDRMManager manager;
    manager.setContentProtectSize(1);
    const LogCapture log;
    IDRMHandler* const handler =
        manager.FindHandler(id, "", systemType, static_cast<MediaType>(mediaType), true);
    if (systemType != SYSTEM_TYPE_CENC)
        delete handler;
    return log.messages("CDRMManager.cpp");
}

TEST_F(DRMManagerTest, TwoOfTheSystemsAreLoggedWithTheMediaType) {
    for (const system_type_t system : {SYSTEM_TYPE_CENC, kOtherSystem}) {
        for (const int type : {1, 2, 3, 7}) {
            const std::string number = std::to_string(type);
            EXPECT_THAT(linesOf(kSwapped, type, system),
                        ElementsAre("---Dash PlayReady Handler---, type:" + number));
            EXPECT_THAT(linesOf(kQdrm, type, system),
                        ElementsAre("---Dash QDRM Handler---, type:" + number));
            for (const char* id : {kMarlin, kPlayReady, kGeneric, "other"})
                EXPECT_THAT(linesOf(id, type, system), ElementsAre()) << id;
        }
    }
}

TEST_F(DRMManagerTest, AHandlerThatIsThereIsNotLoggedAgain) {
    find(kQdrm);
    const LogCapture log;
    find(kQdrm);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(DRMManagerTest, TheFlagReachesTheHandler) {
    // Only multiplexed media get a box into the movie.
    for (const bool separated : {true, false}) {
        CDRMManager other;
        IDRMHandler* const handler =
            other.FindHandler(kQdrm, "", SYSTEM_TYPE_CENC, MEDIA_TYPE_VIDEO, separated);
        auto descriptors = test::allDescriptors();
        handler->setContentProtectionInfo(test::kPeriod, test::kRepresentation, &descriptors);
        handler->OnContentStart(nullptr);
        const std::string movie = test::emptyMovie();
        EXPECT_EQ(test::pass(*handler, movie + test::zeros(1)) == movie, separated);
    }
}

} // namespace

// What the three handlers have in common, and where PlayReady and QDRM differ.
#include "DashCencHandlerTest.h"

#include <Hasutil/DashMarlinCencDRMHandler.h>
#include <Hasutil/DashPlayReadyCencDRMHandler.h>
#include <Hasutil/DashQDRMCencDRMHandler.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace hascommon;
using namespace test;

struct Marlin {
    using Handler = DashMarlinCencDRMHandler;
    static DrmRow row() { return marlinRow(); }
    static constexpr char kFile[] = "DashMarlinCencDRMHandler.cpp";
    static constexpr char kFinalEnd[] = " ) \n";
    static constexpr bool kLogsProperties = false;
};
struct PlayReady {
    using Handler = DashPlayReadyCencDRMHandler;
    static DrmRow row() { return playReadyRow(); }
    static constexpr char kFile[] = "DashPlayReadyCencDRMHandler.cpp";
    static constexpr char kFinalEnd[] = " ) ";
    static constexpr bool kLogsProperties = true;
};
struct Qdrm {
    using Handler = DashQDRMCencDRMHandler;
    static DrmRow row() { return qdrmRow(); }
    static constexpr char kFile[] = "DashQDRMCencDRMHandler.cpp";
    static constexpr char kFinalEnd[] = " ) ";
    static constexpr bool kLogsProperties = true;
};

template<typename System>
class DashCencHandler : public ::testing::Test {
protected:
    using Handler = typename System::Handler;

    /// A handler whose content has begun, with descriptors of every system.
    explicit DashCencHandler(bool separated = false)
        : object(CONTENT_TYPE_VIDEO, separated) {
        auto descriptors = allDescriptors();
        handler.setContentProtectionInfo(kPeriod, kRepresentation, &descriptors);
        start();
    }
    int start() {
        std::string info = "TYPE=MARLIN-MS3";
        return handler.OnContentStart(&info);
    }

    Handler object;
    IDRMHandler& handler = object;
};

using Systems = ::testing::Types<Marlin, PlayReady, Qdrm>;
struct SystemNames {
    template<typename System>
    static std::string GetName(int) {
        return std::string(System::kFile).substr(0, std::string(System::kFile).find("Cenc"));
    }
};
TYPED_TEST_SUITE(DashCencHandler, Systems, SystemNames);

TYPED_TEST(DashCencHandler, BeginsWithoutAnErrorAndWithNothingWaiting) {
    typename TypeParam::Handler fresh(CONTENT_TYPE_AUDIO, true);
    EXPECT_EQ(fresh.GetLastErrorCode(), 0);
    EXPECT_EQ(waiting(fresh), 0U);
}

TYPED_TEST(DashCencHandler, FixedAnswersTouchNothing) {
    EXPECT_EQ(this->handler.AddSchemeInformation(1, 2, MEDIA_TYPE_VIDEO, "x"), 1);
    EXPECT_EQ(this->handler.DeletePeriod(1), 1);
    int type = 5;
    std::string text = "unchanged";
    unsigned char byte = 0;
    unsigned char* body = &byte;
    unsigned int size = 9;
    EXPECT_EQ(this->handler.GetDRMDownloadInfo(1, 2, type, text, body, size), 0);
    EXPECT_EQ(this->handler.ProcessDRMInfo(1, 2, 3, 4, &byte, 1), 1);
    EXPECT_EQ(this->handler.OnContentEnd(), 1);
    this->handler.SetExtendHandler(nullptr);
    this->handler.GetDRMErrorCode(&type);
    this->handler.GetDRMErrorCode(nullptr);
    this->handler.GetDRMErrInfo(text);
    this->handler.SetDRMHeader("header");
    EXPECT_EQ(type, 5);
    EXPECT_EQ(text, "unchanged");
    EXPECT_EQ(body, &byte);
    EXPECT_EQ(size, 9U);
    EXPECT_EQ(this->handler.GetLastErrorCode(), 0);
}

TYPED_TEST(DashCencHandler, AnExtensionIsAcceptedAndIgnored) {
    struct Callback : IDashDRMCallback {};
    {
        Callback callback;
        this->handler.SetExtendHandler(&callback);
    }
    EXPECT_EQ(pass(this->handler, freeBox()), freeBox());
}

TYPED_TEST(DashCencHandler, APropertyIsLoggedByAllButMarlin) {
    const LogCapture log;
    EXPECT_EQ(this->handler.SetDRMProperty(static_cast<Has_DRMPropertyType>(12), "value"), 1);
    if (!TypeParam::kLogsProperties) {
        EXPECT_TRUE(log.lines().empty());
        return;
    }
    ASSERT_EQ(log.lines().size(), 1U);
    const LogLine line = log.lines()[0];
    EXPECT_EQ(line.message, " SetDRMProperty( value, 12) ");
    EXPECT_EQ(line.priority, 4);
    EXPECT_EQ(line.file, TypeParam::kFile);
    EXPECT_EQ(line.function, "SetDRMProperty");
}

TYPED_TEST(DashCencHandler, ContentStartPreparesForItsOwnSystem) {
    const std::string movie = pass(this->handler, emptyMovie() + zeros(1));
    const std::string pssh = psshBox(TypeParam::row().systemId, "data");
    EXPECT_EQ(movie.size(), emptyMovie().size() + pssh.size());
    EXPECT_EQ(movie.substr(emptyMovie().size()), pssh);
}

TYPED_TEST(DashCencHandler, TheFlagTellsThatAudioAndVideoAreSeparate) {
    typename TypeParam::Handler separated(CONTENT_TYPE_VIDEO, true);
    auto descriptors = allDescriptors();
    separated.setContentProtectionInfo(kPeriod, kRepresentation, &descriptors);
    std::string info = "TYPE=MARLIN-MS3";
    EXPECT_EQ(separated.OnContentStart(&info), 1);
    const std::string pssh = psshBox(TypeParam::row().systemId, "kept");
    const std::string movie = mp4Box("moov", fullBox("mvhd", 0, 0, zeros(96)) + pssh);
    std::string expected = movie;
    expected.replace(movie.size() - pssh.size() + 4, 4, "free");
    EXPECT_EQ(pass(separated, movie + zeros(1)), expected);
}

TYPED_TEST(DashCencHandler, DescriptorsAreCopiedAndRemovedByNull) {
    const std::string chunk = emptyMovie() + zeros(1);
    EXPECT_NE(pass(this->handler, chunk), emptyMovie()); // the caller's list no longer exists
    this->handler.ResetBuffer();
    this->handler.setContentProtectionInfo(kPeriod, kRepresentation, nullptr);
    EXPECT_EQ(pass(this->handler, chunk), emptyMovie());
}

TYPED_TEST(DashCencHandler, ASegmentPassesInPieces) {
    const std::string segment = freeBox() + mp4Box("mdat", std::string(100, 'm')) + freeBox();
    std::string out;
    EXPECT_EQ(this->handler.OnSegmentStart(kPeriod, kRepresentation, 0, nullptr, false), 1);
    for (const char letter : segment)
        out += pass(this->handler, std::string(1, letter));
    out += finish(this->handler);
    EXPECT_EQ(this->handler.OnSegmentEnd(kPeriod, kRepresentation), 1);
    EXPECT_EQ(out, segment);
}

TYPED_TEST(DashCencHandler, UndecryptedDataIsWhatWaits) {
    pass(this->handler, freeBox().substr(0, 10));
    EXPECT_EQ(waiting(this->handler), 10U);
    pass(this->handler, freeBox().substr(10) + mp4Box("mdat", "1234"));
    EXPECT_EQ(waiting(this->handler), 0U);
}

TYPED_TEST(DashCencHandler, AChangeOfRepresentationDropsWhatWaits) {
    pass(this->handler, freeBox().substr(0, 10));
    EXPECT_EQ(this->handler.UpdateSchemeInformation(1, 2, MEDIA_TYPE_AUDIO, "x"), 1);
    EXPECT_EQ(waiting(this->handler), 0U);
    EXPECT_EQ(pass(this->handler, freeBox()), freeBox());
}

TYPED_TEST(DashCencHandler, ResetBufferDropsWhatWaits) {
    pass(this->handler, freeBox().substr(0, 10));
    this->handler.ResetBuffer();
    EXPECT_EQ(waiting(this->handler), 0U);
    EXPECT_EQ(pass(this->handler, freeBox()), freeBox());
}

TYPED_TEST(DashCencHandler, ResetBufferEndsMediaDataInTheMiddle) {
    const std::string media = mp4Box("mdat", std::string(100, 'm'));
    EXPECT_EQ(pass(this->handler, media.substr(0, 50)), media.substr(0, 50));
    this->handler.ResetBuffer();
    EXPECT_EQ(pass(this->handler, emptyMovie().substr(0, 20)), "");
}

TYPED_TEST(DashCencHandler, ASegmentStartDropsWhatWasGivenUp) {
    pass(this->handler, freeBox().substr(0, 10));
    EXPECT_EQ(this->handler.OnSegmentStart(kPeriod, kRepresentation, 1, this, true), 1);
    EXPECT_EQ(pass(this->handler, freeBox()), freeBox());
}

TYPED_TEST(DashCencHandler, TheEndOfTheDataIsLogged) {
    pass(this->handler, freeBox().substr(0, 10));
    const LogCapture log;
    EXPECT_EQ(finish(this->handler), "");
    const std::string message = std::string("Final::out_len( 0") + TypeParam::kFinalEnd;
    ASSERT_TRUE(log.contains(message));
    const LogLine line = log.find(message);
    EXPECT_EQ(line.priority, 4);
    EXPECT_EQ(line.file, TypeParam::kFile);
    EXPECT_EQ(line.function, "ProcessSegmentFinalData");
}

TYPED_TEST(DashCencHandler, TheEndOfTheDataTellsItsSize) {
    pass(this->handler, mp4Box("free", "")); // waits for a byte behind its header
    const LogCapture log;
    const std::string rest = finish(this->handler);
    EXPECT_TRUE(
        log.contains("Final::out_len( " + std::to_string(rest.size()) + TypeParam::kFinalEnd));
}

TYPED_TEST(DashCencHandler, AChunkThatCannotBeProcessedIsRefusedAndLogged) {
    const LogCapture log;
    EXPECT_EQ(pass(this->handler, brokenBox()), "refused");
    const LogLine line = log.find(processLine());
    EXPECT_EQ(line.priority, 16);
    EXPECT_EQ(line.file, TypeParam::kFile);
    EXPECT_EQ(line.function, "ProcessSegmentData");
}

TYPED_TEST(DashCencHandler, AFailureBecomesTheLastErrorOfQdrmOnly) {
    pass(this->handler, brokenBox());
    if (std::string(TypeParam::kFile) == Qdrm::kFile) {
        EXPECT_LT(this->handler.GetLastErrorCode(), 0);
        return;
    }
    EXPECT_EQ(this->handler.GetLastErrorCode(), 0);
    EXPECT_EQ(this->handler.OnSegmentEnd(kPeriod, kRepresentation), 1);
    EXPECT_EQ(this->handler.OnSegmentStart(kPeriod, kRepresentation, 0, nullptr, false), 1);
    EXPECT_EQ(pass(this->handler, freeBox()), freeBox());
}

class DashQdrmHandler : public DashCencHandler<Qdrm> {};

TEST_F(DashQdrmHandler, RefusesEverythingAfterAFailureUntilTheContentBeginsAnew) {
    pass(handler, brokenBox());
    const int code = handler.GetLastErrorCode();
    const LogCapture log;
    EXPECT_EQ(handler.OnSegmentStart(kPeriod, kRepresentation, 0, nullptr, false), 0);
    EXPECT_EQ(pass(handler, freeBox()), "refused");
    EXPECT_EQ(finish(handler), "refused");
    EXPECT_EQ(handler.OnSegmentEnd(kPeriod, kRepresentation), 0);
    std::vector<std::string> functions;
    for (const LogLine& line : log.lines()) {
        EXPECT_EQ(line.message, refusalLine(code));
        EXPECT_EQ(line.priority, 16);
        EXPECT_EQ(line.file, Qdrm::kFile);
        functions.push_back(line.function);
    }
    EXPECT_THAT(functions, ::testing::ElementsAre("OnSegmentStart", "ProcessSegmentData",
                                                  "ProcessSegmentFinalData", "OnSegmentEnd"));
    EXPECT_EQ(start(), 1);
    EXPECT_EQ(handler.GetLastErrorCode(), 0);
    EXPECT_EQ(pass(handler, freeBox()), freeBox());
}

TEST_F(DashQdrmHandler, ContentStartNeedsNoInformation) {
    EXPECT_EQ(handler.OnContentStart(nullptr), 1);
    EXPECT_EQ(pass(handler, freeBox()), freeBox());
}

class DashPlayReadyHandler : public DashCencHandler<PlayReady> {};

TEST_F(DashPlayReadyHandler, ContentStartNeedsNoInformation) {
    EXPECT_EQ(handler.OnContentStart(nullptr), 1);
    EXPECT_EQ(pass(handler, freeBox()), freeBox());
}

TEST_F(DashPlayReadyHandler, TakesTheByteSwappedSystemId) {
    std::list<dashengine::ContentProtection_t> descriptors(1);
    descriptors.back().schemeIdUri = "urn:uuid:79F0049A-4098-8642-AB92-E65BE0885F95";
    descriptors.back().pssh = "ZGF0YQ==";
    handler.setContentProtectionInfo(kPeriod, kRepresentation, &descriptors);
    const std::string movie = pass(handler, emptyMovie() + zeros(1));
    EXPECT_EQ(movie.substr(emptyMovie().size()),
              psshBox("\x79\xF0\x04\x9A\x40\x98\x86\x42\xAB\x92\xE6\x5B\xE0\x88\x5F\x95", "data"));
}

} // namespace

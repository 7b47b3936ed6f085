#include <hastool/play/Summary.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

hastool::Summary summary() {
    hastool::Summary it;
    it.url = "http://host/a.m3u8";
    it.streams = 4;
    it.played = 30;
    it.wallTime = 31.25;
    it.startupTime = 0.5;
    it.segments = 15;
    it.skipped = 1;
    it.bytes = 2500000;
    it.meanBitrate = 650000;
    it.switchesUp = 3;
    it.switchesDown = 2;
    it.stalls = 1;
    it.stallTime = 0.75;
    it.downloads = 20;
    it.retries = 4;
    it.bandwidth = 1200000;
    it.renditions = {{0, 300000, "320x180"}, {2, 900000, ""}, {1, 600000, "640x360"}};
    it.output = "out.ts";
    return it;
}

} // namespace

TEST(Summary, ReadsAsText) {
    EXPECT_EQ(hastool::toText(summary()), "played        30.0 s in 31.2 s\n"
                                          "segments      15, 2.50 MB, 1 skipped\n"
                                          "mean bitrate  650 kbit/s over 4 streams\n"
                                          "bandwidth     1200 kbit/s measured last\n"
                                          "switches      3 up, 2 down\n"
                                          "stalls        1, 0.8 s; 0.5 s to start\n"
                                          "downloads     20, 4 retries\n"
                                          "resolutions   320x180, 640x360\n"
                                          "output        out.ts\n");
}

TEST(Summary, SaysWhatWasNotMeasured) {
    hastool::Summary it = summary();
    it.bandwidth = 0;
    EXPECT_NE(hastool::toText(it).find("\nbandwidth     not measured\n"), std::string::npos);
    EXPECT_TRUE(hastool::toJson(it)["bandwidth_bps"].is_null());
}

TEST(Summary, TellsOfTransfersThatWereGivenUp) {
    hastool::Summary it = summary();
    EXPECT_EQ(hastool::toJson(it)["given_up"], 0);
    it.givenUp = 1;
    it.wasted = 530000;
    EXPECT_NE(hastool::toText(it).find("\ngiven up      1 transfer, 0.53 MB wasted\n"),
              std::string::npos);
    EXPECT_EQ(hastool::toJson(it)["given_up"], 1);
    EXPECT_EQ(hastool::toJson(it)["wasted_bytes"], 530000);
}

TEST(Summary, CountsOneAsOne) {
    hastool::Summary it = summary();
    it.retries = 1;
    it.streams = 1;
    const std::string text = hastool::toText(it);
    EXPECT_NE(text.find(" over 1 stream\n"), std::string::npos);
    EXPECT_NE(text.find("20, 1 retry\n"), std::string::npos);
}

TEST(Summary, KeepsEveryFigureInJson) {
    const auto json = hastool::toJson(summary());
    EXPECT_EQ(json["url"], "http://host/a.m3u8");
    EXPECT_EQ(json["live"], false);
    EXPECT_EQ(json["played_s"], 30.0);
    EXPECT_EQ(json["wall_s"], 31.25);
    EXPECT_EQ(json["startup_s"], 0.5);
    EXPECT_EQ(json["segments"], 15);
    EXPECT_EQ(json["skipped"], 1);
    EXPECT_EQ(json["bytes"], 2500000);
    EXPECT_EQ(json["mean_bitrate_bps"], 650000);
    EXPECT_EQ(json["switches_up"], 3);
    EXPECT_EQ(json["switches_down"], 2);
    EXPECT_EQ(json["stalls"], 1);
    EXPECT_EQ(json["stall_s"], 0.75);
    EXPECT_EQ(json["downloads"], 20);
    EXPECT_EQ(json["retries"], 4);
    EXPECT_EQ(json["bandwidth_bps"], 1200000);
    EXPECT_EQ(json["streams"], 4);
    EXPECT_EQ(json["output"], "out.ts");
    EXPECT_EQ(json["trace"], "");
    ASSERT_EQ(json["renditions"].size(), 3U);
    EXPECT_EQ(json["renditions"][2]["stream"], 1);
    EXPECT_EQ(json["renditions"][2]["bitrate_bps"], 600000);
    EXPECT_EQ(json["renditions"][2]["resolution"], "640x360");
    EXPECT_EQ(json["renditions"][1]["resolution"], "");
}

TEST(Summary, LeavesResolutionsOutWhereNoneIsKnown) {
    hastool::Summary it = summary();
    it.renditions = {{0, 300000, ""}};
    EXPECT_EQ(hastool::toText(it).find("resolutions"), std::string::npos);
}

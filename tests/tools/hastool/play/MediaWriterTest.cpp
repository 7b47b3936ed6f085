#include <tools/hastool/ErrorOf.h>

#include <hastool/play/MediaWriter.h>
#include <support/Mp4Boxes.h>
#include <support/TempDir.h>

#include <filesystem>

#include <gtest/gtest.h>

using hastool::MediaWriter;
using test::readFile;

TEST(MediaWriter, WritesPiecesOneBehindTheOther) {
    const test::TempDir dir;
    MediaWriter writer(dir.file("o"));
    writer.setInit("");
    writer.write("one");
    EXPECT_EQ(readFile(dir.file("o.part")), "one");
    writer.write("two");
    writer.commit();
    EXPECT_EQ(readFile(dir.file("o")), "onetwo");
}

TEST(MediaWriter, LeavesAFileAloneUntilThereIsMedia) {
    const test::TempDir dir;
    dir.write("o", "old");
    {
        MediaWriter writer(dir.file("o"));
        writer.setInit("[1]");
        writer.commit();
    }
    EXPECT_EQ(readFile(dir.file("o")), "old");
    {
        MediaWriter writer(dir.file("o"));
        writer.write("new");
        EXPECT_EQ(readFile(dir.file("o")), "old");
        writer.commit();
    }
    EXPECT_EQ(readFile(dir.file("o")), "new");
    EXPECT_FALSE(std::filesystem::exists(dir.file("o.part")));
}

TEST(MediaWriter, WritesAnInitialisationWheneverItChanges) {
    const test::TempDir dir;
    MediaWriter writer(dir.file("o"));
    for (const char* init : {"[1]", "[1]", "[2]", "[1]", "", "[1]"}) {
        writer.setInit(init);
        writer.write(".");
    }
    writer.commit();
    EXPECT_EQ(readFile(dir.file("o")), "[1]..[2].[1]..[1].");
}

TEST(MediaWriter, WritesNoInitialisationWithoutMedia) {
    const test::TempDir dir;
    MediaWriter writer(dir.file("o"));
    writer.setInit("[1]");
    writer.setInit("[2]");
    EXPECT_EQ(readFile(dir.file("o.part")), "");
}

TEST(MediaWriter, WritesNoIndexThatLeadsOutOfItsPiece) {
    const test::TempDir dir;
    MediaWriter writer(dir.file("o"));
    const auto index = [](uint64_t size) {
        return test::fullBox("sidx", 0, 0,
                             test::be(1) + test::be(1) + test::zeros(8) + test::be(1) +
                                 test::be(size) + test::zeros(8));
    };
    const std::string moof = test::mp4Box("moof", test::zeros(20));
    const auto freed = [&](uint64_t size) { return index(size).replace(4, 4, "free"); };
    writer.setInit(test::mp4Box("moov", "") + index(1000));
    writer.write(index(28) + moof + test::mp4Box("mfra", ""));
    writer.write(index(29) + moof);
    writer.commit();
    EXPECT_EQ(readFile(dir.file("o")), test::mp4Box("moov", "") + freed(1000) + index(28) + moof +
                                           test::mp4Box("free", "") + freed(29) + moof);
}

TEST(MediaWriter, MayWriteNowhere) {
    MediaWriter writer("");
    writer.setInit("[1]");
    EXPECT_EQ(test::errorOf([&] { writer.write("one"); }), "");
}

TEST(MediaWriter, SaysWhatCannotBeWritten) {
    EXPECT_EQ(test::errorOf([] { MediaWriter("/none/o"); }),
              "/none/o: cannot be written: No such file or directory");
    MediaWriter full("/dev/full");
    EXPECT_EQ(test::errorOf([&] { full.write("one"); }),
              "/dev/full: cannot be written: No space left on device");
}

#include <hastool/media/IndexMender.h>
#include <support/Mp4Boxes.h>

#include <gtest/gtest.h>

#include <algorithm>

using namespace test;
using hastool::BoxSizes;
using hastool::hasIndex;
using hastool::indexPatches;
using hastool::memoryBlocks;
using hastool::withIndexesMended;
using hastool::withPatches;

namespace {

struct Reference {
    uint64_t size;
    bool isIndex = false;
};

std::string sidx(uint64_t version, uint64_t firstOffset, const std::vector<Reference>& references) {
    const size_t wide = version == 0 ? 4 : 8;
    std::string entries;
    for (const Reference& it : references)
        entries += be(it.size | (it.isIndex ? uint64_t{1} << 31 : 0)) + be(90000) + be(0x90000000);
    return fullBox("sidx", version, 0,
                   be(1) + be(90000) + be(7, wide) + be(firstOffset, wide) + be(0, 2) +
                       be(references.size(), 2) + entries);
}
std::string tfra(uint64_t version, const std::vector<uint64_t>& offsets) {
    const size_t wide = version == 0 ? 4 : 8;
    std::string entries;
    for (const uint64_t offset : offsets) // the numbers of 1, 2 and 3 bytes
        entries += be(0, wide) + be(offset, wide) + be(1, 1) + be(1, 2) + be(1, 3);
    return fullBox("tfra", version, 0, be(1) + be(0x06) + be(offsets.size()) + entries);
}
std::string moof(size_t size) {
    return mp4Box("moof", std::string(size - 8, 'm'));
}
const std::string kMdat = mp4Box("mdat", std::string(92, 'd'));

/// The file `after`, which `before` has become, with its indexes mended.
std::string mended(const std::string& before, const std::string& after) {
    BoxSizes sizes;
    for (const char byte : after) // in the smallest pieces
        sizes.push(reinterpret_cast<const unsigned char*>(&byte), 1);
    return withPatches(after, 0, indexPatches(memoryBlocks(before), sizes.sizes()));
}
std::string freed(std::string box) {
    return box.replace(4, 4, "free");
}

} // namespace

TEST(IndexMender, ReferencesGrowWithTheirFragments) {
    for (const uint64_t version : {0U, 1U}) {
        const auto file = [version](uint64_t by) {
            const auto grown = static_cast<size_t>(50 + by);
            return moof(30) + sidx(version, 0, {{150 + by}, {300 + 2 * by}}) + moof(grown) + kMdat +
                   moof(grown) + kMdat + moof(grown) + kMdat;
        };
        const std::string after = file(37);
        const std::string stale = file(0).substr(0, file(0).find("mmmm", 40) - 8);
        ASSERT_NE(stale + after.substr(stale.size()), after);
        EXPECT_EQ(mended(file(0), stale + after.substr(stale.size())), after);
    }
}

TEST(IndexMender, TheFirstOffsetGrowsWithWhatItLeadsOver) {
    const std::string before = sidx(0, 50, {{100}}) + moof(50) + kMdat;
    const std::string body = moof(60) + kMdat;
    EXPECT_EQ(mended(before, sidx(0, 50, {{100}}) + body), sidx(0, 60, {{100}}) + body);
}

TEST(IndexMender, AnIndexOfIndexesIsMendedToo) {
    const auto file = [](uint64_t by) {
        const std::string part =
            sidx(0, 0, {{150 + by}}) + moof(static_cast<size_t>(50 + by)) + kMdat;
        return sidx(1, 0, {{part.size(), true}, {part.size(), true}}) + part + part;
    };
    std::string after = file(9);
    const std::string whole = after;
    for (size_t at = 0; (at = after.find(be(159), at)) != std::string::npos;)
        after.replace(at, 4, be(150));
    EXPECT_EQ(mended(file(0), after), whole);
}

TEST(IndexMender, PlacesOfFragmentsMoveInTheFile) {
    for (const uint64_t version : {0U, 1U}) {
        const auto file = [version](size_t size, uint64_t second) {
            const std::string index = tfra(version, {10, second}) + fullBox("mfro", 0, 0, be(99));
            return mp4Box("ftyp", "xx") + moof(size) + kMdat + moof(size) + kMdat +
                   mp4Box("mfra", index);
        };
        EXPECT_EQ(mended(file(50, 160), file(60, 160)), file(60, 170));
    }
}

TEST(IndexMender, WhatCannotBeMendedBecomesFree) {
    const std::string rest = moof(50) + kMdat;
    const std::string grown = moof(60) + kMdat;
    for (const std::string& index :
         {sidx(0, 0, {{20}}), sidx(0, 0, {{151}}), sidx(0, 1, {{100}}), sidx(0, 1000, {}),
          sidx(0, 0, {{150}, {1}}), sidx(0, 0, {{150}, {0}, {20}}).substr(0, 68),
          mp4Box("sidx", "cut"), mp4Box("mfra", tfra(0, {60})),
          mp4Box("mfra", tfra(0, {46}).replace(20, 4, be(2))), mp4Box("ssix", "levels")}) {
        std::string whole = index;
        whole.replace(0, 4, be(whole.size()));
        EXPECT_EQ(mended(whole + rest, whole + grown), freed(whole) + grown);
    }
}

TEST(IndexMender, WithoutAChangeEverythingStays) {
    const std::string file = sidx(0, 14, {{150}}) + mp4Box("ssix", "levels") + moof(50) + kMdat;
    EXPECT_EQ(mended(file, file), file);
}

TEST(IndexMender, ReferencesThatNoLongerFitTheirFieldsAreGivenUp) {
    // No file of that size is made: only the sizes are given.
    const std::string file = sidx(0, 0, {{150}}) + moof(50) + kMdat;
    const auto patches = indexPatches(memoryBlocks(file), {44, 50, 0x80000000});
    ASSERT_EQ(patches.size(), 1U);
    EXPECT_EQ(patches[0].bytes, "free");
    EXPECT_TRUE(indexPatches(memoryBlocks(file), {44, 50}).empty()) << "other boxes";
}

TEST(IndexMender, AMediaBoxMayGoToTheEnd) {
    const std::string mdat = be(0) + "mdat" + std::string(92, 'd');
    const std::string body = moof(60) + mdat;
    EXPECT_EQ(mended(sidx(0, 0, {{150}}) + moof(50) + mdat, sidx(0, 0, {{150}}) + body),
              sidx(0, 0, {{160}}) + body);
    const std::string longMdat = be(1) + "mdat" + be(100, 8) + std::string(84, 'd');
    EXPECT_EQ(mended(sidx(0, 0, {{150}}) + moof(50) + longMdat,
                     sidx(0, 0, {{150}}) + moof(60) + longMdat),
              sidx(0, 0, {{160}}) + moof(60) + longMdat);
}

TEST(IndexMender, PatchesReachOverPieces) {
    const std::string before = sidx(0, 0, {{150}}) + moof(50) + kMdat;
    const std::string stale = sidx(0, 0, {{150}}) + moof(60) + kMdat;
    const auto patches = indexPatches(memoryBlocks(before), {44, 60, 100});
    for (const size_t piece : {1U, 3U, 20U, 500U}) {
        std::string written;
        for (size_t at = 0; at < stale.size(); at += piece)
            written += withPatches(stale.substr(at, piece), at, patches);
        EXPECT_EQ(written, sidx(0, 0, {{160}}) + moof(60) + kMdat);
    }
}

TEST(IndexMender, APartHasNoPlacesInAFile) {
    const auto part = [](uint64_t by) {
        return sidx(0, 0, {{150 + by}}) + moof(static_cast<size_t>(50 + by)) + kMdat;
    };
    const std::string places = mp4Box("mfra", tfra(0, {44}));
    EXPECT_EQ(
        withIndexesMended(part(0) + places, part(0).substr(0, 44) + part(9).substr(44) + places),
        part(9) + freed(places));
    EXPECT_EQ(withIndexesMended("text", "other"), "other");
    EXPECT_EQ(withIndexesMended(part(0), part(0) + kMdat), part(0) + kMdat) << "other boxes";
    EXPECT_EQ(withIndexesMended("", ""), "");
}

TEST(IndexMender, TellsWhetherThereIsAnythingToMend) {
    EXPECT_TRUE(hasIndex(memoryBlocks(kMdat + sidx(0, 0, {}))));
    EXPECT_TRUE(hasIndex(memoryBlocks(mp4Box("mfra", ""))));
    EXPECT_FALSE(hasIndex(memoryBlocks(kMdat + mp4Box("moof", sidx(0, 0, {})))));
    EXPECT_FALSE(hasIndex(memoryBlocks("")));
}

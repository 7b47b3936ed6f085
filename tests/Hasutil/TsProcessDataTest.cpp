#include <Hasutil/TsProcessData.h>

#include <gtest/gtest.h>

#include <climits>
#include <map>
#include <random>
#include <vector>

namespace {

using hascommon::STREAM_TYPE_AUDIO;
using hascommon::STREAM_TYPE_NONE;
using hascommon::STREAM_TYPE_PROGRAM;
using hascommon::STREAM_TYPE_VIDEO;
using hascommon::StreamType;
using hascommon::TsProcessData;

int homeSlot(int pid) {
    return (pid ^ (pid >> 6)) & 63;
}

/// PIDs whose home slot is `slot`, in ascending order.
std::vector<int> pidsOfSlot(int slot, size_t count) {
    std::vector<int> pids;
    for (int pid = 0x20; pids.size() < count; ++pid) {
        if (homeSlot(pid) == slot)
            pids.push_back(pid);
    }
    return pids;
}

TEST(TsProcessData, StartsWithNothingKnown) {
    TsProcessData data;
    for (int pid = 0; pid < 8192; ++pid)
        ASSERT_EQ(data.GetEsInfo(pid), nullptr);
    EXPECT_EQ(data.GetPmtPid(), -1);
    EXPECT_EQ(data.GetVideoPid(), -1);
    EXPECT_EQ(data.GetAudioPmtPid(), -1);
    EXPECT_EQ(data.GetAudioPid(), -1);
}

TEST(TsProcessData, AnUnknownPidAnswersTheDefaults) {
    TsProcessData data;
    EXPECT_EQ(data.GetEsCounter(0x100), -1);
    EXPECT_EQ(data.GetPidOrg(0x100), 0x100);
    EXPECT_FALSE(data.IsElementary(0x100));
    EXPECT_FALSE(data.IsVideo(0x100));
    EXPECT_FALSE(data.IsAudio(0x100));
    EXPECT_FALSE(data.HasPcr(0x100));
    data.SetEsCount(0x100, 5);
    EXPECT_EQ(data.GetEsCounter(0x100), -1);
}

TEST(TsProcessData, PutFillsOnlyTheKey) {
    TsProcessData data;
    TsProcessData::EsInfo* const info = data.PutEsInfo(0x100);
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->pid, -1);
    EXPECT_EQ(info->pidOrg, -1);
    EXPECT_EQ(info->counter, -1);
    EXPECT_EQ(info->type, STREAM_TYPE_NONE);
    EXPECT_FALSE(info->hasPcr);
    EXPECT_EQ(data.GetEsInfo(0x100), info);
}

TEST(TsProcessData, PutDoesNotLookForThePid) {
    TsProcessData data;
    TsProcessData::EsInfo* const first = data.PutEsInfo(0x100);
    EXPECT_NE(data.PutEsInfo(0x100), first);
    EXPECT_EQ(data.GetEsInfo(0x100), first);
}

TEST(TsProcessData, PidsOfDifferentSlotsAreFound) {
    TsProcessData data;
    data.UpdateEsInfo(0x100, STREAM_TYPE_VIDEO, true);  // slot 4
    data.UpdateEsInfo(0x104, STREAM_TYPE_AUDIO, false); // slot 0
    EXPECT_TRUE(data.IsVideo(0x100));
    EXPECT_TRUE(data.IsAudio(0x104));
}

TEST(TsProcessData, ATakenHomeSlotOverflowsIntoTheNextFreeEntry) {
    TsProcessData data;
    const std::vector<int> pids = pidsOfSlot(7, 5);
    for (const int pid : pids)
        data.UpdateEsInfo(pid, STREAM_TYPE_VIDEO, false);
    TsProcessData::EsInfo* const first = data.GetEsInfo(pids[0]);
    for (size_t i = 1; i < pids.size(); ++i) {
        const auto* const at = reinterpret_cast<const char*>(data.GetEsInfo(pids[i]));
        EXPECT_EQ(at - reinterpret_cast<const char*>(first), static_cast<long>(20 * i));
    }
}

TEST(TsProcessData, UpdateRecordsTheStream) {
    TsProcessData data;
    const TsProcessData::EsInfo* const info = data.UpdateEsInfo(0x101, STREAM_TYPE_AUDIO, true);
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->pid, 0x101);
    EXPECT_EQ(info->pidOrg, 0x101);
    EXPECT_EQ(info->counter, -1);
    EXPECT_EQ(info->type, STREAM_TYPE_AUDIO);
    EXPECT_TRUE(info->hasPcr);
    EXPECT_TRUE(data.HasPcr(0x101));
    EXPECT_EQ(data.GetVideoPid(), -1);
}

TEST(TsProcessData, ALaterUpdateKeepsTheOriginalPid) {
    TsProcessData data;
    TsProcessData::EsInfo* const info = data.UpdateEsInfo(0x101, STREAM_TYPE_AUDIO, true);
    info->pidOrg = 0x55;
    EXPECT_EQ(data.UpdateEsInfo(0x101, STREAM_TYPE_NONE, false), info);
    EXPECT_EQ(data.GetPidOrg(0x101), 0x55);
    EXPECT_FALSE(data.IsElementary(0x101));
    EXPECT_FALSE(data.HasPcr(0x101));
}

TEST(TsProcessData, AVideoUpdateSetsTheVideoPid) {
    TsProcessData data;
    data.UpdateEsInfo(0x101, STREAM_TYPE_VIDEO, false);
    EXPECT_EQ(data.GetVideoPid(), 0x101);
    data.UpdateEsInfo(0x102, STREAM_TYPE_VIDEO, false);
    EXPECT_EQ(data.GetVideoPid(), 0x102);
    data.UpdateEsInfo(0x103, STREAM_TYPE_AUDIO, false);
    EXPECT_EQ(data.GetVideoPid(), 0x102);
    EXPECT_EQ(data.GetAudioPid(), -1);
}

struct CategoryCase {
    int category;
    int type;
    int videoPid;
    int audioPid;
};

TEST(TsProcessData, TheCategoryDecidesWhichMainStreamIsSet) {
    const CategoryCase cases[] = {
        {0, 2, -1, -1}, {0, 3, -1, -1}, {1, 2, 0x101, -1}, {1, 3, -1, -1}, {2, 2, -1, -1},
        {2, 3, -1, -1}, {3, 2, -1, -1}, {3, 3, -1, 0x101}, {1, 0, -1, -1},
    };
    for (const CategoryCase& c : cases) {
        TsProcessData data;
        const auto* const info = data.UpdateEsInfo(0x101, static_cast<StreamType>(c.category),
                                                   static_cast<StreamType>(c.type), true);
        ASSERT_NE(info, nullptr);
        EXPECT_EQ(info->type, c.type);
        EXPECT_EQ(data.GetVideoPid(), c.videoPid) << c.category << " " << c.type;
        EXPECT_EQ(data.GetAudioPid(), c.audioPid) << c.category << " " << c.type;
    }
}

TEST(TsProcessData, SetPmtRecordsANewPid) {
    TsProcessData data;
    const TsProcessData::EsInfo* const info = data.SetPmtInfo(0x20);
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->pid, 0x20);
    EXPECT_EQ(info->pidOrg, 0x20);
    EXPECT_EQ(info->type, STREAM_TYPE_NONE);
    EXPECT_EQ(data.GetPmtPid(), 0x20);
    EXPECT_EQ(data.GetAudioPmtPid(), -1);
    EXPECT_FALSE(data.IsElementary(0x20));
}

TEST(TsProcessData, SetPmtOfAKnownPidChangesNothing) {
    TsProcessData data;
    TsProcessData::EsInfo* const info = data.UpdateEsInfo(0x101, STREAM_TYPE_VIDEO, true);
    EXPECT_EQ(data.SetPmtInfo(0x101), info);
    EXPECT_EQ(data.SetAudioPmtInfo(0x101), info);
    EXPECT_EQ(data.GetPmtPid(), -1);
    EXPECT_EQ(data.GetAudioPmtPid(), -1);
    EXPECT_EQ(info->type, STREAM_TYPE_VIDEO);
    EXPECT_TRUE(info->hasPcr);
}

TEST(TsProcessData, SetAudioPmtIsKeptApart) {
    TsProcessData data;
    data.SetPmtInfo(0x20);
    data.SetAudioPmtInfo(0x21);
    EXPECT_EQ(data.GetPmtPid(), 0x20);
    EXPECT_EQ(data.GetAudioPmtPid(), 0x21);
    data.SetAudioPmtInfo(0x20);
    EXPECT_EQ(data.GetAudioPmtPid(), 0x21);
}

TEST(TsProcessData, CountersAreKeptPerPid) {
    TsProcessData data;
    data.UpdateEsInfo(0x101, STREAM_TYPE_VIDEO, true);
    data.UpdateEsInfo(0x102, STREAM_TYPE_AUDIO, true);
    EXPECT_EQ(data.GetEsCounter(0x101), -1);
    data.SetEsCount(0x101, 15);
    EXPECT_EQ(data.GetEsCounter(0x101), 15);
    EXPECT_EQ(data.GetEsCounter(0x102), -1);
}

TEST(TsProcessData, OriginalPidIsThatOfTheEntry) {
    TsProcessData data;
    data.PutEsInfo(0x101);
    EXPECT_EQ(data.GetPidOrg(0x101), -1);
    data.UpdateEsInfo(0x101, STREAM_TYPE_VIDEO, false);
    EXPECT_EQ(data.GetPidOrg(0x101), 0x101);
}

TEST(TsProcessData, TheHundredAndFirstPidIsNotStored) {
    TsProcessData data;
    const std::vector<int> pids = pidsOfSlot(0, 101); // from slot 0 the whole table is in reach
    for (size_t i = 0; i < 100; ++i)
        ASSERT_NE(data.UpdateEsInfo(pids[i], STREAM_TYPE_VIDEO, true), nullptr) << i;
    const int last = pids[100];
    EXPECT_EQ(data.PutEsInfo(last), nullptr);
    EXPECT_EQ(data.UpdateEsInfo(last, STREAM_TYPE_VIDEO, true), nullptr);
    EXPECT_EQ(data.UpdateEsInfo(last, STREAM_TYPE_PROGRAM, STREAM_TYPE_VIDEO, true), nullptr);
    EXPECT_EQ(data.GetVideoPid(), pids[99]);
    EXPECT_EQ(data.GetEsCounter(last), -1);
    EXPECT_EQ(data.GetPidOrg(last), last);
    EXPECT_FALSE(data.IsElementary(last));
    EXPECT_FALSE(data.HasPcr(last));
    for (size_t i = 0; i < 100; ++i)
        EXPECT_TRUE(data.IsVideo(pids[i]));
}

TEST(TsProcessData, NoWrapAroundToTheFirstEntries) {
    TsProcessData data;
    const std::vector<int> pids = pidsOfSlot(63, 38); // entries 63 to 99 are 37
    for (size_t i = 0; i < 37; ++i)
        ASSERT_NE(data.PutEsInfo(pids[i]), nullptr);
    EXPECT_EQ(data.PutEsInfo(pids[37]), nullptr);
    EXPECT_NE(data.PutEsInfo(pidsOfSlot(0, 1)[0]), nullptr);
}

TEST(TsProcessData, AFullTableStillRemembersThePmtPid) {
    TsProcessData data;
    const std::vector<int> pids = pidsOfSlot(0, 101);
    for (size_t i = 0; i < 100; ++i)
        data.PutEsInfo(pids[i]);
    EXPECT_EQ(data.SetPmtInfo(pids[100]), nullptr);
    EXPECT_EQ(data.GetPmtPid(), pids[100]);
}

TEST(TsProcessData, NumbersThatAreNoPidsAreNeverStored) {
    TsProcessData data;
    for (const int pid : {-1, 0x10100, 0x18000, INT_MAX, INT_MIN}) {
        EXPECT_EQ(data.GetEsInfo(pid), nullptr) << pid;
        EXPECT_EQ(data.PutEsInfo(pid), nullptr) << pid;
        EXPECT_EQ(data.UpdateEsInfo(pid, STREAM_TYPE_VIDEO, true), nullptr) << pid;
        EXPECT_EQ(data.GetEsCounter(pid), -1);
        EXPECT_EQ(data.GetPidOrg(pid), pid);
    }
    EXPECT_EQ(data.GetEsInfo(0x100), nullptr);
}

TEST(TsProcessData, AgreesWithAMapUntilTheTableIsFull) {
    std::mt19937 random(11); // the same run every time
    for (int round = 0; round < 50; ++round) {
        TsProcessData data;
        std::map<int, int> model;
        for (int step = 0; step < 60; ++step) {
            const int pid = static_cast<int>(random() % 8192);
            if (data.UpdateEsInfo(pid, STREAM_TYPE_AUDIO, false) == nullptr)
                continue;
            data.SetEsCount(pid, step % 16);
            model[pid] = step % 16;
        }
        for (int pid = 0; pid < 8192; ++pid) {
            const auto known = model.find(pid);
            ASSERT_EQ(data.GetEsCounter(pid), known != model.end() ? known->second : -1);
        }
    }
}

} // namespace

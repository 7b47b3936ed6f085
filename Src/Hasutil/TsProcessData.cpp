#include <Hasutil/TsProcessData.h>

#include <cstddef>

namespace hascommon {

namespace {

constexpr short kFree = -1;
constexpr std::size_t kEntries = 100;
constexpr int kHomeSlots = 64;

/// The entries above the home slots take what finds its own slot and all behind it taken.
std::size_t homeSlot(int pid) {
    return static_cast<std::size_t>((pid ^ (pid >> 6)) & (kHomeSlots - 1));
}

bool fitsTheTable(int pid) {
    return pid != kFree && pid == static_cast<short>(pid);
}

} // namespace

struct TsProcessData::Entry {
    short key = kFree;
    EsInfo info;
};
static_assert(sizeof(TsProcessData::EsInfo) == 16, "the table is 100 entries of 20 bytes");

TsProcessData::TsProcessData()
    : m_entries(std::make_unique<Entry[]>(kEntries)) {}

TsProcessData::~TsProcessData() = default;

TsProcessData::EsInfo* TsProcessData::GetEsInfo(int pid) {
    if (!fitsTheTable(pid))
        return nullptr;
    for (std::size_t i = homeSlot(pid); i < kEntries; ++i) {
        if (m_entries[i].key == pid)
            return &m_entries[i].info;
    }
    return nullptr;
}

TsProcessData::EsInfo* TsProcessData::PutEsInfo(int pid) {
    if (!fitsTheTable(pid))
        return nullptr;
    for (std::size_t i = homeSlot(pid); i < kEntries; ++i) {
        Entry& entry = m_entries[i];
        if (entry.key == kFree) {
            entry.key = static_cast<short>(pid);
            return &entry.info;
        }
    }
    return nullptr;
}

TsProcessData::EsInfo* TsProcessData::findOrPut(int pid) {
    EsInfo* const info = GetEsInfo(pid);
    return info != nullptr ? info : PutEsInfo(pid);
}

TsProcessData::EsInfo* TsProcessData::record(int pid, StreamType type, bool hasPcr) {
    EsInfo* const info = findOrPut(pid);
    if (info == nullptr)
        return nullptr;
    info->pid = static_cast<short>(pid);
    info->type = type;
    info->hasPcr = hasPcr;
    if (info->pidOrg < 0)
        info->pidOrg = static_cast<short>(pid);
    return info;
}

TsProcessData::EsInfo* TsProcessData::UpdateEsInfo(int pid, StreamType type, bool hasPcr) {
    EsInfo* const info = record(pid, type, hasPcr);
    if (info != nullptr && type == STREAM_TYPE_VIDEO)
        m_videoPid = info->pid;
    return info;
}

TsProcessData::EsInfo* TsProcessData::UpdateEsInfo(int pid, StreamType category, StreamType type,
                                                   bool hasPcr) {
    EsInfo* const info = record(pid, type, hasPcr);
    if (info == nullptr)
        return nullptr;
    if (category == STREAM_TYPE_PROGRAM && type == STREAM_TYPE_VIDEO)
        m_videoPid = info->pid;
    if (category == STREAM_TYPE_AUDIO && type == STREAM_TYPE_AUDIO)
        m_audioPid = info->pid;
    return info;
}

TsProcessData::EsInfo* TsProcessData::recordPmt(int pid, short& pmtPid) {
    EsInfo* const known = GetEsInfo(pid);
    if (known != nullptr)
        return known;
    pmtPid = static_cast<short>(pid);
    return record(pid, STREAM_TYPE_NONE, false);
}

TsProcessData::EsInfo* TsProcessData::SetPmtInfo(int pid) {
    return recordPmt(pid, m_pmtPid);
}

TsProcessData::EsInfo* TsProcessData::SetAudioPmtInfo(int pid) {
    return recordPmt(pid, m_audioPmtPid);
}

int TsProcessData::GetEsCounter(int pid) {
    const EsInfo* const info = GetEsInfo(pid);
    return info != nullptr ? info->counter : -1;
}

void TsProcessData::SetEsCount(int pid, int count) {
    EsInfo* const info = GetEsInfo(pid);
    if (info != nullptr)
        info->counter = static_cast<short>(count);
}

int TsProcessData::GetPidOrg(int pid) {
    const EsInfo* const info = GetEsInfo(pid);
    return info != nullptr ? info->pidOrg : pid;
}

StreamType TsProcessData::typeOf(int pid) {
    const EsInfo* const info = GetEsInfo(pid);
    return info != nullptr ? info->type : STREAM_TYPE_NONE;
}

bool TsProcessData::IsElementary(int pid) {
    return typeOf(pid) != STREAM_TYPE_NONE;
}

bool TsProcessData::IsVideo(int pid) {
    return typeOf(pid) == STREAM_TYPE_VIDEO;
}

bool TsProcessData::IsAudio(int pid) {
    return typeOf(pid) == STREAM_TYPE_AUDIO;
}

bool TsProcessData::HasPcr(int pid) {
    const EsInfo* const info = GetEsInfo(pid);
    return info != nullptr && info->hasPcr;
}

} // namespace hascommon

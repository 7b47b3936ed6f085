/// @file
/// What a rewriter of MPEG transport streams remembers of each PID.
#pragma once

#include <Hascommon/Export.h>
#include <Hasutil/StreamType.h>

#include <memory>

namespace hascommon {

/// A table of up to 100 PIDs, and the PIDs of the program map tables and of the main streams
/// (ISO/IEC 13818-1).
///
/// **Ownership.** Lookups hand out pointers into the table, which stay valid until the object goes;
/// the caller may change what they point to.
///
/// **A full table** is no error: the stream is then not tracked, and its lookups answer like those
/// of any other unknown PID. An entry once taken is never freed.
///
/// PIDs are kept in 16 bits. A number that does not fit, and -1, is never in the table.
///
/// Thread safety: one thread at a time.
class HAS_API TsProcessData {
public:
    /// What is known of a PID; -1 where it is not known yet.
    struct EsInfo {
        /// The PID as it is now.
        short pid = -1;
        /// The PID the stream had at its first update.
        short pidOrg = -1;
        /// The continuity counter, kept by the caller.
        short counter = -1;
        /// What it carries.
        StreamType type = STREAM_TYPE_NONE;
        /// Whether the stream carries the program's clock references.
        bool hasPcr = false;
    };

    /// An empty table; its memory is taken here, once.
    TsProcessData();
    ~TsProcessData();
    TsProcessData(const TsProcessData&) = delete;
    TsProcessData& operator=(const TsProcessData&) = delete;

    /// @return what is known of the PID; null for an unknown one
    EsInfo* GetEsInfo(int pid);

    /// Takes a free entry for the PID without looking whether it has one already; only the table's
    /// key is set.
    /// @return its info, or null when no entry is free for it
    EsInfo* PutEsInfo(int pid);

    /// Records a stream. Its original PID is set by the first update and kept by later ones; a
    /// video stream becomes the main video stream.
    /// @return its info, or null when no entry is free for it; nothing is recorded then
    EsInfo* UpdateEsInfo(int pid, StreamType type, bool hasPcr);

    /// Records a stream of a program of some category: video of a program (1) becomes the main
    /// video stream, audio of an audio program (3) the main audio stream.
    /// @param category  the program's category
    /// @param type      what is recorded
    /// @return as the three-argument form
    EsInfo* UpdateEsInfo(int pid, StreamType category, StreamType type, bool hasPcr);

    /// Records the PID of the program map table. A PID that is in the table already, as whatever,
    /// changes nothing.
    /// @return the PID's info, or null when no entry is free for it; its PID is remembered even so
    EsInfo* SetPmtInfo(int pid);

    /// The same for the program map table of a separate audio stream.
    EsInfo* SetAudioPmtInfo(int pid);

    /// @return the continuity counter kept for the PID; -1 for an unknown PID
    int GetEsCounter(int pid);
    /// Keeps a counter, in 16 bits; an unknown PID is ignored.
    void SetEsCount(int pid, int count);

    /// @return the PID the stream had first; `pid` itself when it is unknown
    int GetPidOrg(int pid);

    /// Whether the PID is known and of a type other than 0.
    bool IsElementary(int pid);
    /// Whether the PID is known as a video stream.
    bool IsVideo(int pid);
    /// Whether the PID is known as an audio stream.
    bool IsAudio(int pid);
    /// Whether the PID is known and carries the program's clock references.
    bool HasPcr(int pid);

    /// @return the program map table's PID; -1 until it is set, as with the three below
    int GetPmtPid() const { return m_pmtPid; }
    /// @return the main video stream's PID
    int GetVideoPid() const { return m_videoPid; }
    /// @return the PID of the program map table of a separate audio stream
    int GetAudioPmtPid() const { return m_audioPmtPid; }
    /// @return the main audio stream's PID
    int GetAudioPid() const { return m_audioPid; }

private:
    struct Entry;

    HAS_LOCAL EsInfo* findOrPut(int pid);
    HAS_LOCAL EsInfo* record(int pid, StreamType type, bool hasPcr);
    HAS_LOCAL EsInfo* recordPmt(int pid, short& pmtPid);
    HAS_LOCAL StreamType typeOf(int pid);

    std::unique_ptr<Entry[]> m_entries;
    short m_pmtPid = -1;
    short m_videoPid = -1;
    short m_audioPmtPid = -1;
    short m_audioPid = -1;
};

} // namespace hascommon

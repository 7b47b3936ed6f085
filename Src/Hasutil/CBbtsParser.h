/// @file
/// Classifies the packets of a scrambled broadband transport stream.
#pragma once

#include <Hascommon/Export.h>

namespace hascommon::detail {
class ByteReader;
}

/// Looks at MPEG-TS packets one at a time and keeps what a descrambler needs: the PIDs of the
/// program map table (from the PAT) and of the entitlement messages (from the CAT or the PMT), the
/// private data of the CA descriptor, and the latest packet of both PIDs (ISO/IEC 13818-1).
///
/// **Tables** are taken from the one packet in hand: a table goes no further than its end, and what
/// stands behind it is not found. Lengths in the packet are never trusted; a walk that would leave
/// the packet ends there and what was found before counts. Private data that the packet does not
/// hold whole is not taken. Checksums and versions are not looked at.
///
/// **Offsets.** Two readings differ from the standard, and both are meant, because they hold for
/// the streams this is for: with a non-zero pointer field the section begins one byte earlier, and
/// in a CAT a descriptor's length is taken from its third byte.
///
/// **Ownership.** The CA private data belongs to the object until Final() frees it. The destructor
/// frees nothing, so Final() is the last call; Init() forgets the data without freeing it, for an
/// owner that has taken over the pointer.
///
/// Thread safety: one thread at a time.
class HAS_API CBbtsParser {
public:
    /// What TsParser() says of a packet.
    struct TS_HEADER {
        unsigned int PID;
        /// In bytes, without the length byte itself; 0 where there is no adaptation field.
        unsigned int adaptation_field_length;
        /// 0 not scrambled, 2 even key, 3 odd key.
        unsigned char transport_scrambling_control;
        /// 1 payload only, 2 adaptation field only, 3 both.
        unsigned char adaptation_field_control;
        /// 1 PAT, 2 CAT, 3 PMT, 4 ECM, 5 anything else.
        unsigned int packet_kind;
    };

    /// Everything zero, as after Init().
    CBbtsParser();
    /// Frees nothing. Not defaulted here, because embedders link to it.
    ~CBbtsParser(); // NOLINT(performance-trivially-destructible)
    CBbtsParser(const CBbtsParser&) = delete;
    CBbtsParser& operator=(const CBbtsParser&) = delete;

    /// Starts over: every field zero. CA private data is forgotten and not freed.
    /// @return 0
    int Init();

    /// Frees the CA private data; everything else stays.
    /// @return 0
    int Final();

    /// Looks at one packet.
    /// @param packet  only read
    /// @param size    bytes there; those above 188 are not looked at, and a packet of fewer is
    ///                looked at as far as it goes
    /// @param header  receives what the packet is, kind 5 and zeros for a packet cut in its header;
    ///                only the kind is set (5) without the sync byte, and nothing without bytes
    /// @return 1; 0 for no bytes, and for a packet without the sync byte, which is logged
    int TsParser(unsigned char* packet, unsigned int size, TS_HEADER& header);

    /// Whether the PAT has named a PMT and a packet of it was kept.
    bool IsPmtReady();
    /// Whether a CA descriptor has named an ECM PID and a packet of it was kept.
    bool IsEcmReady();

    /// Copies the latest PMT packet, 188 bytes; one that was cut is filled up with zeros.
    /// @return IsPmtReady(); `out` is untouched when not
    bool GetPmtData(unsigned char* out);
    /// The same for the latest ECM packet.
    bool GetEcmData(unsigned char* out);

    /// Marks a packet as not scrambled.
    /// @param packet  at least four bytes, or null
    /// @param clear   0 leaves the packet as it is
    /// @return false for null, else true
    bool UpdateNoScramblingControl(unsigned char* packet, unsigned char clear);

    /// @name What was found; for reading
    /// @{

    /// The private data of the last CA descriptor that carried any, from `new[]`; null before
    /// the first.
    unsigned char* m_caPrivateData = nullptr;
    /// Its length in bytes.
    unsigned int m_caPrivateDataSize = 0;
    /// 0 until a PAT has named a program.
    unsigned int m_pmtPid = 0;
    unsigned char m_pmtPacket[189] = {};
    /// 0 until a CA descriptor has named one.
    unsigned int m_ecmPid = 0;
    unsigned char m_ecmPacket[189] = {};
    /// @}

private:
    using ByteReader = hascommon::detail::ByteReader;

    HAS_LOCAL unsigned int kindOf(unsigned int pid) const;
    HAS_LOCAL void readPat(ByteReader section);
    HAS_LOCAL void readCat(ByteReader section);
    HAS_LOCAL void readPmt(ByteReader section);
    HAS_LOCAL unsigned int readCaDescriptor(ByteReader descriptor, unsigned int length);
    HAS_LOCAL void keepPrivateData(const unsigned char* bytes, unsigned int size);
};

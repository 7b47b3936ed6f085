/// @file
/// What a walk over Common Encryption boxes finds.
///
/// Plain records (ISO/IEC 14496-12 and 23001-7), filled by CCENCMediaContent. All numbers are in
/// the machine's byte order; types of four characters are read as one big-endian number, so that
/// 'vide' is 0x76696465.
#pragma once

#include <list>
#include <string>
#include <vector>

/// A track of the `moov`; one for each `tkhd`.
struct TRACK_FORMAT {
    /// From `tkhd`.
    unsigned int trackId = 0;
    /// Four characters from `hdlr`, for instance 'vide' or 'soun'; 0 before.
    unsigned int handlerType = 0;
    /// The 24 bits of `tenc` in front of the IV size: 0 is clear, and the pattern of version 1
    /// stands in the bits 8 to 15.
    unsigned int defaultIsProtected = 0;
    /// Bytes of each sample's IV, from `tenc`; 0, 8 or 16 in valid media.
    unsigned char perSampleIvSize = 0;
    /// The default key id, from `tenc`.
    unsigned char defaultKid[16] = {};
    /// 1 once the track's `tenc` was read.
    unsigned int encrypted = 0;
};

/// A stretch of a sample: clear bytes, and protected ones behind them.
struct SUBSAMPLE_FORMAT {
    /// Bytes that are not encrypted, in front.
    unsigned short clearBytes = 0;
    /// Bytes that are encrypted, behind them.
    unsigned int protectedBytes = 0;
};

/// A sample of a fragment.
struct SAMPLE_FORMAT {
    /// In bytes, from `trun` or the default of `tfhd`.
    unsigned int size = 0;
    /// Where the sample's subsamples begin in its track's list of them.
    unsigned int firstSubsample = 0;
    /// How many they are; 0 for a sample that is protected whole, or not at all.
    unsigned short subsampleCount = 0;
    /// Bytes of auxiliary information, from `saiz`; 0 before.
    unsigned char auxSize = 0;
    /// Bytes of `iv` that count; 0 while the sample has no IV.
    unsigned char ivSize = 0;
    /// The initialisation vector, filled up with zeros.
    unsigned char iv[16] = {};
};

/// A track's part of a fragment; one for each `tfhd` that names a known track.
struct MOOF_TRACK_FORMAT {
    /// The states of `auxResolved`.
    enum : unsigned int {
        /// Nothing to bind: no auxiliary information was announced.
        AUX_NONE = 0,
        /// `senc` was read, or what `saiz` and `saio` announced was found.
        AUX_RESOLVED = 1,
        /// `saiz` has given the sizes; the data at the `saio` offsets is still to be read.
        AUX_UNRESOLVED = 0xFFFFFFFFU,
    };

    /// All ones (-1) before it is known.
    unsigned int trackId = 0xFFFFFFFFU;
    /// The flags of `tfhd`; what follows down to the sample flags is 0 where they do not announce
    /// it.
    unsigned int flags = 0;
    /// Where the offsets of the runs count from, in bytes from the begin of the file.
    unsigned long long baseDataOffset = 0;
    /// Which entry of the track's `stsd` describes the samples, from 1.
    unsigned int sampleDescriptionIndex = 0;
    /// In the track's time scale.
    unsigned int defaultSampleDuration = 0;
    /// In bytes.
    unsigned int defaultSampleSize = 0;
    /// As ISO/IEC 14496-12, clause 8.8.3.1, lays them out.
    unsigned int defaultSampleFlags = 0;
    /// Samples of all the track's runs together.
    unsigned int sampleCount = 0;
    /// From the last `trun` that carries one; relative as `tfhd` says, and signed.
    int dataOffset = 0;
    /// One of the AUX_ states.
    unsigned int auxResolved = AUX_NONE;
    /// Entries of the last `saio`.
    unsigned int saioCount = 0;
    /// One number for each entry of a `saio` of version 0; for version 1 two, the low word first.
    std::vector<unsigned int> saioOffsets;
    /// Samples of each run, in order.
    std::vector<unsigned int> runSampleCounts;
    std::vector<SAMPLE_FORMAT> samples;
    /// The subsamples of all samples, one behind another; see SAMPLE_FORMAT.
    std::vector<SUBSAMPLE_FORMAT> subsamples;
};

/// What is known of a content.
struct CENC_RECORDS {
    /// The tracks of the last `moov`, in order of appearance.
    std::list<TRACK_FORMAT> tracks;
    /// The known tracks of the last `moof`, in order of appearance.
    std::list<MOOF_TRACK_FORMAT> moofTracks;
    /// The data of the last `pssh` that had any.
    std::string psshData;
    /// The 16 bytes of that box's system id; empty before the first.
    std::string psshSystemId;
};

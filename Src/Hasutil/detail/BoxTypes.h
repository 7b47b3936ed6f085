// The box types that mean something here (ISO/IEC 14496-12 and 23001-7).
#pragma once

#include <Hasutil/detail/BoxView.h>

namespace hascommon::detail {

constexpr unsigned int kMoov = boxType("moov");
constexpr unsigned int kTrak = boxType("trak");
constexpr unsigned int kTkhd = boxType("tkhd");
constexpr unsigned int kMdia = boxType("mdia");
constexpr unsigned int kHdlr = boxType("hdlr");
constexpr unsigned int kMinf = boxType("minf");
constexpr unsigned int kStbl = boxType("stbl");
constexpr unsigned int kStco = boxType("stco");
constexpr unsigned int kCo64 = boxType("co64");
constexpr unsigned int kStsd = boxType("stsd");
constexpr unsigned int kEncv = boxType("encv");
constexpr unsigned int kEnca = boxType("enca");
constexpr unsigned int kSinf = boxType("sinf");
constexpr unsigned int kFrma = boxType("frma");
constexpr unsigned int kSchi = boxType("schi");
constexpr unsigned int kTenc = boxType("tenc");
constexpr unsigned int kMvex = boxType("mvex");
constexpr unsigned int kLeva = boxType("leva");
constexpr unsigned int kPssh = boxType("pssh");
constexpr unsigned int kMoof = boxType("moof");
constexpr unsigned int kTraf = boxType("traf");
constexpr unsigned int kTfhd = boxType("tfhd");
constexpr unsigned int kTrun = boxType("trun");
constexpr unsigned int kSaiz = boxType("saiz");
constexpr unsigned int kSaio = boxType("saio");
constexpr unsigned int kSenc = boxType("senc");
constexpr unsigned int kMdat = boxType("mdat");
constexpr unsigned int kFree = boxType("free");

/// A header with version and flags behind it.
constexpr size_t kFullHeader = 12;

/// Bits of flags, bytes 9 to 11 of a box.
enum BoxFlags : unsigned int {
    kTfhdBaseOffset = 0x01,
    kTfhdDescription = 0x02,
    kTfhdDuration = 0x08,
    kTfhdSize = 0x10,
    kTfhdFlags = 0x20,
    kTfhdBaseIsMoof = 0x020000,
    kTrunDataOffset = 0x1,
    kTrunFirstFlags = 0x4,
    kTrunDuration = 0x100,
    kTrunSize = 0x200,
    kTrunFlags = 0x400,
    kTrunTime = 0x800,
    kAuxType = 0x1, // `saiz` and `saio`: eight bytes that say whose the information is
    kSencSubsamples = 0x2,
};

/// Where the data offset of a `trun` lies.
constexpr size_t kDataOffsetAt = 16;

} // namespace hascommon::detail

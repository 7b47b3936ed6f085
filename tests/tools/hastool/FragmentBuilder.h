// Makes initialisations and segments of fragmented MP4, box by box.
#pragma once

#include "TsBuilder.h"

#include <support/Mp4Boxes.h>

#include <string>

namespace test {

inline std::string visualEntry(const std::string& type, int width, int height,
                               const std::string& boxes) {
    return mp4Box(type, zeros(24) + be(static_cast<uint64_t>(width), 2) +
                            be(static_cast<uint64_t>(height), 2) + zeros(50) + boxes);
}
inline std::string audioEntry(const std::string& type, int channels, int rate,
                              const std::string& boxes) {
    return mp4Box(type, zeros(16) + be(static_cast<uint64_t>(channels), 2) + zeros(6) +
                            be(static_cast<uint64_t>(rate), 2) + zeros(2) + boxes);
}
/// A decoder configuration of H.264 with lengths of four bytes and smallSps().
inline std::string avcConfiguration() {
    const std::string set = textOf(smallSps());
    return mp4Box("avcC",
                  std::string("\x01\x42\xE0\x15\xFF\xE1", 6) + be(set.size(), 2) + set + zeros(1));
}
/// A configuration of AAC of low complexity, 48 kHz, two channels.
inline std::string aacConfiguration() {
    const std::string special("\x05\x02\x11\x90", 4);
    const std::string decoder = std::string("\x04\x11\x40\x15", 4) + zeros(11) + special;
    return fullBox("esds", 0, 0, std::string("\x03\x16", 2) + zeros(2) + zeros(1) + decoder);
}
inline std::string protection(const std::string& format, const std::string& keyId) {
    return mp4Box("sinf", mp4Box("frma", format) + fullBox("schm", 0, 0, "cenc" + be(0x10000)) +
                              mp4Box("schi", fullBox("tenc", 0, 0, be(0x0108, 4) + keyId)));
}

/// A track of an initialisation.
inline std::string movieTrack(uint64_t id, const std::string& handler, uint64_t scale,
                              const std::string& entry, const std::string& edits = "") {
    return mp4Box("trak",
                  fullBox("tkhd", 0, 7, zeros(8) + be(id) + zeros(68)) + edits +
                      mp4Box("mdia", fullBox("mdhd", 0, 0, zeros(8) + be(scale) + zeros(8)) +
                                         fullBox("hdlr", 0, 0, zeros(4) + handler + zeros(13)) +
                                         mp4Box("minf", mp4Box("stbl", fullBox("stsd", 0, 0,
                                                                               be(1) + entry)))));
}
inline std::string trackDefaults(uint64_t id, uint64_t duration) {
    return fullBox("trex", 0, 0, be(id) + be(1) + be(duration) + be(0) + be(0));
}
inline std::string movie(const std::string& tracks, const std::string& defaults) {
    return mp4Box("ftyp", "iso6" + be(0) + "iso6dash") +
           mp4Box("moov", tracks + mp4Box("mvex", defaults));
}

/// A video track, number 1, with 1,000 units a second; samples of 100.
inline std::string videoInit() {
    return movie(movieTrack(1, "vide", 1000, visualEntry("avc1", 176, 144, avcConfiguration())),
                 trackDefaults(1, 100));
}

/// What a segment of twenty samples is made of.
struct FragmentPlan {
    uint64_t track = 1;
    uint64_t time = 0;
    uint64_t sequence = 1;
    uint64_t firstFlags = 0x2000000; ///< of the first sample
    uint64_t outside = 0;            ///< how far the samples begin behind their place
    bool isKey = true;               ///< its first unit is a slice of an IDR picture
    std::string inFragment;          ///< boxes in the moof
    std::string inTrack;             ///< boxes in the traf
};

/// Twenty samples of six bytes: a unit of H.264 each.
inline std::string fragment(const FragmentPlan& plan = {}) {
    std::string data;
    for (int i = 0; i < 20; ++i) {
        const bool isKey = i == 0 && plan.isKey;
        data += be(2) + std::string(isKey ? "\x65\x88" : "\x41\x9A", 2);
    }
    const auto moof = [&](size_t offset) {
        return mp4Box("moof", fullBox("mfhd", 0, 0, be(plan.sequence)) + plan.inFragment +
                                  mp4Box("traf", fullBox("tfhd", 0, 0x20030,
                                                         be(plan.track) + be(6) + be(0x1010000)) +
                                                     fullBox("tfdt", 1, 0, be(plan.time, 8)) +
                                                     fullBox("trun", 0, 0x5,
                                                             be(20) + be(offset + plan.outside) +
                                                                 be(plan.firstFlags)) +
                                                     plan.inTrack));
    };
    return moof(moof(0).size() + 8) + mp4Box("mdat", data);
}

inline std::string segmentIndex(uint64_t scale, uint64_t earliest, uint64_t size,
                                uint64_t duration) {
    return fullBox("sidx", 0, 0,
                   be(1) + be(scale) + be(earliest) + be(0) + be(1) + be(size) + be(duration) +
                       be(0x90000000));
}

} // namespace test

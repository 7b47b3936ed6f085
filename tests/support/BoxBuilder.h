// Puts ISO base media boxes together, field by field and without the library.
#pragma once

#include <string>
#include <vector>

namespace test::boxes {

using Bytes = std::vector<unsigned char>;

inline Bytes operator+(Bytes left, const Bytes& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

inline Bytes number(unsigned long long value, int size) {
    Bytes bytes;
    for (int shift = 8 * (size - 1); shift >= 0; shift -= 8)
        bytes.push_back(static_cast<unsigned char>(value >> shift));
    return bytes;
}
inline Bytes u8(unsigned int value) {
    return number(value, 1);
}
inline Bytes u16(unsigned int value) {
    return number(value, 2);
}
inline Bytes u24(unsigned int value) {
    return number(value, 3);
}
inline Bytes u32(unsigned int value) {
    return number(value, 4);
}
inline Bytes u64(unsigned long long value) {
    return number(value, 8);
}
inline Bytes text(const std::string& characters) {
    return {characters.begin(), characters.end()};
}
inline Bytes zeros(size_t count) {
    return Bytes(count);
}
/// `first`, `first` + 1 and so on.
inline Bytes counting(size_t count, unsigned char first = 0) {
    Bytes bytes;
    for (size_t i = 0; i < count; ++i)
        bytes.push_back(static_cast<unsigned char>(first + i));
    return bytes;
}

/// A box with the given size field, right or wrong.
inline Bytes sizedBox(unsigned int size, const std::string& type, const Bytes& content = {}) {
    return u32(size) + text(type) + content;
}
inline Bytes box(const std::string& type, const Bytes& content = {}) {
    return sizedBox(static_cast<unsigned int>(content.size() + 8), type, content);
}
inline Bytes fullBox(const std::string& type, unsigned int version, unsigned int flags,
                     const Bytes& content = {}) {
    return box(type, u8(version) + u24(flags) + content);
}
/// A box with a size of 64 bits.
inline Bytes longBox(const std::string& type, const Bytes& content) {
    return u32(1) + text(type) + u64(content.size() + 16) + content;
}

inline Bytes tkhd(unsigned int trackId, unsigned int version = 0) {
    const Bytes times = zeros(version == 1 ? 16 : 8);
    const Bytes rest = zeros(version == 1 ? 72 : 68);
    return fullBox("tkhd", version, 7, times + u32(trackId) + rest);
}
inline Bytes hdlr(const std::string& type) {
    return fullBox("hdlr", 0, 0, zeros(4) + text(type) + zeros(13));
}
inline Bytes frma(const std::string& format) {
    return box("frma", text(format));
}
inline Bytes schm() {
    return fullBox("schm", 0, 0, text("cenc") + u32(0x10000));
}
inline Bytes tenc(unsigned int isProtected, unsigned int ivSize, const Bytes& kid) {
    return fullBox("tenc", 0, 0, u24(isProtected) + u8(ivSize) + kid);
}
inline Bytes sinf(const std::string& format, const Bytes& trackEncryption) {
    return box("sinf", frma(format) + schm() + box("schi", trackEncryption));
}
inline Bytes encv(const Bytes& children) {
    return box("encv", zeros(78) + children);
}
inline Bytes enca(const Bytes& children) {
    return box("enca", zeros(28) + children);
}
inline Bytes stsd(const Bytes& entries) {
    return fullBox("stsd", 0, 0, u32(1) + entries);
}
inline Bytes trak(unsigned int trackId, const std::string& handler, const Bytes& sampleEntry) {
    const Bytes table = box("stbl", stsd(sampleEntry));
    return box("trak", tkhd(trackId) + box("mdia", hdlr(handler) + box("minf", table)));
}
/// A protected video track.
inline Bytes videoTrak(unsigned int trackId, unsigned int ivSize) {
    return trak(trackId, "vide", encv(sinf("avc1", tenc(1, ivSize, counting(16, 0x10)))));
}

inline Bytes pssh(const Bytes& systemId, const Bytes& data) {
    return fullBox("pssh", 0, 0, systemId + u32(static_cast<unsigned int>(data.size())) + data);
}
/// Version 1, with a list of key ids.
inline Bytes psshWithKeys(const Bytes& systemId, unsigned int keys, const Bytes& data) {
    return fullBox("pssh", 1, 0,
                   systemId + u32(keys) + zeros(size_t{16} * keys) +
                       u32(static_cast<unsigned int>(data.size())) + data);
}

inline Bytes tfhd(unsigned int trackId, unsigned int flags = 0, const Bytes& fields = {}) {
    return fullBox("tfhd", 0, flags, u32(trackId) + fields);
}
/// @param fields  what the flags announce: the offset, the first flags, and the samples
inline Bytes trun(unsigned int flags, unsigned int count, const Bytes& fields = {}) {
    return fullBox("trun", 0, flags, u32(count) + fields);
}
/// A run with a data offset and the sizes of its samples.
inline Bytes sizedRun(unsigned int offset, const std::vector<unsigned int>& sizes) {
    Bytes fields = u32(offset);
    for (const unsigned int size : sizes)
        fields = fields + u32(size);
    return trun(0x201, static_cast<unsigned int>(sizes.size()), fields);
}
inline Bytes saiz(unsigned int defaultSize, unsigned int count, const Bytes& sizes = {}) {
    return fullBox("saiz", 0, 0, u8(defaultSize) + u32(count) + sizes);
}
inline Bytes saio(const std::vector<unsigned int>& offsets) {
    Bytes entries = u32(static_cast<unsigned int>(offsets.size()));
    for (const unsigned int offset : offsets)
        entries = entries + u32(offset);
    return fullBox("saio", 0, 0, entries);
}
inline Bytes senc(unsigned int flags, unsigned int count, const Bytes& samples) {
    return fullBox("senc", 0, flags, u32(count) + samples);
}
inline Bytes subsample(unsigned int clear, unsigned int protectedBytes) {
    return u16(clear) + u32(protectedBytes);
}

/// The big-endian number of 32 bits at `at`.
inline unsigned int readU32(const Bytes& bytes, size_t at) {
    unsigned int value = 0;
    for (size_t i = 0; i < 4; ++i)
        value = value << 8 | bytes.at(at + i);
    return value;
}
/// Where `part` first stands in `bytes`, from `from` on; the size of `bytes` when it does not.
inline size_t find(const Bytes& bytes, const Bytes& part, size_t from = 0) {
    for (size_t at = from; at + part.size() <= bytes.size(); ++at) {
        if (Bytes(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                  bytes.begin() + static_cast<std::ptrdiff_t>(at + part.size())) == part)
            return at;
    }
    return bytes.size();
}
/// The type of the box whose type stands at `at` + 4.
inline std::string typeAt(const Bytes& bytes, size_t at) {
    return {bytes.begin() + static_cast<std::ptrdiff_t>(at) + 4,
            bytes.begin() + static_cast<std::ptrdiff_t>(at) + 8};
}
/// `bytes` with some of them replaced.
inline Bytes patched(Bytes bytes, size_t at, const Bytes& by) {
    for (size_t i = 0; i < by.size(); ++i)
        bytes.at(at + i) = by[i];
    return bytes;
}

} // namespace test::boxes

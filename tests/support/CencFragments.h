// Fragmented media with Common Encryption, as ffmpeg encrypts it.
#pragma once

#include <string>

namespace test {

constexpr char kMediaKey[] = "00112233445566778899aabbccddeeff";
constexpr char kMediaKeyId[] = "0102030405060708090a0b0c0d0e0f10";

/// Completes a fragmented file that ffmpeg has encrypted (cenc-aes-ctr) with `-fflags +bitexact`.
///
/// ffmpeg 5 encrypts the samples of fragments but does not write down how, so that nothing can
/// decrypt them. With that flag its IVs count from 0, one per sample, and in H.264 the first five
/// bytes of each NAL unit stay clear: from this each `traf` gets its `senc`, `saiz` and `saio`.
std::string withSampleEncryption(const std::string& file);

/// Makes an encrypted file of three seconds: H.264, with AAC beside it if `hasAudio`.
void makeEncryptedFragments(const std::string& path, bool hasAudio);

/// The digests of all frames, decrypted with the key and decoded.
std::string decryptedFrames(const std::string& path);

} // namespace test

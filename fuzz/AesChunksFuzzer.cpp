// The chunked decryptor. The input is a byte of settings, key, IV, and then chunks, each behind its
// length. Chunk by chunk the result must be that of one call of OpenSSL.
#include "Input.h"

#include <Hascommon/Linux/CAes.h>
#include <support/AesPeer.h>

#include <memory>
#include <optional>

namespace {

using fuzz::require;
using test::Bytes;

constexpr size_t kBlock = 16;

/// Feeds a chunk, from and into heap blocks of exactly the size needed, and keeps the output.
void feed(hascommon::aes::Decrypt& decrypt, const Bytes& chunk, size_t before, Bytes& plain) {
    const auto in = std::make_unique<unsigned char[]>(chunk.size());
    std::copy(chunk.begin(), chunk.end(), in.get());
    const auto out = std::make_unique<unsigned char[]>(chunk.size() + kBlock);
    const int produced = decrypt.Do(in.get(), static_cast<unsigned int>(chunk.size()), out.get());
    require(produced >= 0 && produced % static_cast<int>(kBlock) == 0);
    require(before % kBlock + chunk.size() >= kBlock || produced == 0);
    plain.insert(plain.end(), out.get(), out.get() + produced);
}

/// The stream's whole blocks decrypted in one go.
std::optional<Bytes> expected(const test::AesSetting& setting, Bytes cipher) {
    cipher.resize(cipher.size() / kBlock * kBlock);
    return test::aesInOneGo(setting, cipher, false);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Input input(data, size);
    test::AesSetting setting;
    const unsigned int flags = input.byte();
    setting.padding = (flags & 1) != 0;
    setting.key = input.bytes(kBlock);
    setting.iv = input.bytes(kBlock);
    setting.key.resize(kBlock);
    setting.iv.resize(kBlock);

    hascommon::aes::Decrypt decrypt;
    require(decrypt.Init(setting.key.data(), setting.iv.data(), setting.padding) == 1);
    Bytes cipher;
    Bytes plain;
    std::optional<hascommon::aes::Decrypt> copy;
    while (!input.empty()) {
        const size_t wanted = (flags & 2) != 0 ? input.word() : input.byte();
        const Bytes chunk = input.bytes(wanted);
        // Chunks of an odd size go through a copy of the decryptor, which shares its stream.
        const bool usesCopy = (flags & 4) != 0 && chunk.size() % 2 == 1;
        if (usesCopy)
            copy.emplace(decrypt);
        feed(usesCopy ? *copy : decrypt, chunk, cipher.size(), plain);
        cipher.insert(cipher.end(), chunk.begin(), chunk.end());
    }
    require(decrypt.GetUndecryptedData() == static_cast<int>(kBlock));
    const int rest = decrypt.Final();
    const std::optional<Bytes> whole = expected(setting, cipher);
    require((rest >= 0) == whole.has_value());
    require(decrypt.GetLastErrorCode() == (rest >= 0 ? 0 : -11));
    if (!whole)
        return 0;
    plain.insert(plain.end(), decrypt.GetFinalBuffer(), decrypt.GetFinalBuffer() + rest);
    require(plain == *whole);
    return 0;
}

// AES-128-CBC by OpenSSL in one call, to compare decryption chunk by chunk with.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <stdexcept>
#include <vector>

#include <openssl/evp.h>

namespace test {

using Bytes = std::vector<unsigned char>;

/// A key and an initialisation vector of 16 bytes each.
struct AesSetting {
    Bytes key = Bytes(16, 0x2B);
    Bytes iv = Bytes(16, 0x7E);
    bool padding = true;
};

/// Encrypts or decrypts; nothing where OpenSSL finds the end wrong.
inline std::optional<Bytes> aesInOneGo(const AesSetting& setting, const Bytes& in, bool encrypt) {
    const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(
        EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
    if (context == nullptr ||
        EVP_CipherInit_ex(context.get(), EVP_aes_128_cbc(), nullptr, setting.key.data(),
                          setting.iv.data(), encrypt ? 1 : 0) != 1)
        throw std::runtime_error("no AES");
    EVP_CIPHER_CTX_set_padding(context.get(), setting.padding ? 1 : 0);
    Bytes out(in.size() + 32);
    int size = 0;
    int rest = 0;
    if (EVP_CipherUpdate(context.get(), out.data(), &size, in.data(),
                         static_cast<int>(in.size())) != 1 ||
        EVP_CipherFinal_ex(context.get(), out.data() + size, &rest) != 1)
        return std::nullopt;
    out.resize(static_cast<size_t>(size) + static_cast<size_t>(rest));
    return out;
}

/// Cipher text. Throws when OpenSSL fails.
inline Bytes encrypted(const AesSetting& setting, const Bytes& plain) {
    return aesInOneGo(setting, plain, true).value();
}

} // namespace test

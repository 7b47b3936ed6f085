#include <support/BoxBuilder.h>
#include <support/CencPackager.h>

#include <openssl/evp.h>

#include <memory>
#include <stdexcept>

namespace test {
namespace {

using namespace boxes;

constexpr size_t kIv = 8;
constexpr size_t kAdded = 16 + 17 + 20; // `senc` without its IVs, `saiz` and `saio`

struct Part {
    std::string type;
    Bytes content;
};

Bytes slice(const Bytes& bytes, size_t from, size_t to) {
    return {bytes.begin() + static_cast<std::ptrdiff_t>(from),
            bytes.begin() + static_cast<std::ptrdiff_t>(to)};
}
Bytes slice(const Bytes& bytes, size_t from) {
    return slice(bytes, from, bytes.size());
}

/// The boxes in a run of boxes.
std::vector<Part> parts(const Bytes& boxes) {
    std::vector<Part> found;
    for (size_t at = 0; at < boxes.size(); at += readU32(boxes, at)) {
        const size_t end = at + readU32(boxes, at);
        if (end < at + 8 || end > boxes.size())
            throw std::runtime_error("a box that does not fit");
        found.push_back({typeAt(boxes, at), slice(boxes, at + 8, end)});
    }
    return found;
}

/// AES-128 in counter mode over a whole sample.
class Cipher {
public:
    explicit Cipher(Bytes key)
        : m_context(EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free)
        , m_key(std::move(key)) {}

    void apply(const Bytes& iv, unsigned char* bytes, size_t size) {
        const Bytes counter = iv + zeros(16 - iv.size());
        int written = 0;
        if (EVP_EncryptInit_ex(m_context.get(), EVP_aes_128_ctr(), nullptr, m_key.data(),
                               counter.data()) != 1 ||
            EVP_EncryptUpdate(m_context.get(), bytes, &written, bytes, static_cast<int>(size)) != 1)
            throw std::runtime_error("no encryption");
    }

private:
    std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> m_context;
    Bytes m_key;
};

/// The parts of a `traf` that tell where its samples are.
struct Fragment {
    bool hasBase = false;
    unsigned long long base = 0;
    unsigned int offset = 0;
    std::vector<unsigned int> sizes;
};

void readTfhd(const Bytes& content, Fragment& fragment, unsigned int& defaultSize) {
    const unsigned int flags = readU32(content, 0) & 0xFFFFFF;
    size_t at = 8;
    fragment.hasBase = (flags & 1) != 0;
    if (fragment.hasBase) {
        fragment.base =
            static_cast<unsigned long long>(readU32(content, at)) << 32 | readU32(content, at + 4);
        at += 8;
    }
    at += ((flags & 2) != 0 ? 4U : 0U) + ((flags & 8) != 0 ? 4U : 0U);
    defaultSize = (flags & 0x10) != 0 ? readU32(content, at) : 0;
}

void readTrun(const Bytes& content, Fragment& fragment, unsigned int defaultSize) {
    const unsigned int flags = readU32(content, 0) & 0xFFFFFF;
    if ((flags & 1) == 0 || !fragment.sizes.empty())
        throw std::runtime_error("one run with an offset is expected");
    fragment.offset = readU32(content, 8);
    size_t at = (flags & 4) != 0 ? 16 : 12;
    for (unsigned int i = 0; i < readU32(content, 4); ++i) {
        at += (flags & 0x100) != 0 ? 4 : 0;
        fragment.sizes.push_back((flags & 0x200) != 0 ? readU32(content, at) : defaultSize);
        at += (flags & 0x200) != 0 ? 4 : 0;
        at += ((flags & 0x400) != 0 ? 4U : 0U) + ((flags & 0x800) != 0 ? 4U : 0U);
    }
}

Fragment readFragment(const std::vector<Part>& traf) {
    Fragment fragment;
    unsigned int defaultSize = 0;
    for (const Part& part : traf) {
        if (part.type == "tfhd")
            readTfhd(part.content, fragment, defaultSize);
        if (part.type == "trun")
            readTrun(part.content, fragment, defaultSize);
    }
    return fragment;
}

class Packager {
public:
    Packager(Bytes file, const Bytes& key, Bytes kid)
        : m_file(std::move(file))
        , m_cipher(key)
        , m_kid(std::move(kid)) {}

    Bytes pack() {
        Bytes out;
        for (size_t at = 0; at < m_file.size(); at += readU32(m_file, at)) {
            const size_t end = at + readU32(m_file, at);
            const std::string type = typeAt(m_file, at);
            const Bytes content = slice(m_file, at + 8, end);
            Bytes packed = slice(m_file, at, end); // a `mdat` that a `moof` has encrypted
            if (type == "moov")
                packed = box(type, protect(content));
            if (type == "moof")
                packed = packMoof(content, at);
            m_grown = m_grown + packed.size() - (end - at);
            out = out + packed;
        }
        return out;
    }

private:
    /// What is in a `moov`, with protected sample entries.
    Bytes protect(const Bytes& boxes) {
        Bytes out;
        for (const Part& part : parts(boxes)) {
            Bytes content = part.content;
            if (part.type == "trak" || part.type == "mdia" || part.type == "minf" ||
                part.type == "stbl")
                content = protect(content);
            if (part.type == "stsd")
                content = slice(content, 0, 8) + protectEntries(slice(content, 8));
            out = out + box(part.type, content);
        }
        return out;
    }

    Bytes protectEntries(const Bytes& entries) {
        Bytes out;
        for (const Part& part : parts(entries)) {
            const bool isSound = part.type == "mp4a";
            out = out + box(isSound ? "enca" : "encv",
                            part.content + sinf(part.type, tenc(1, kIv, m_kid)));
        }
        return out;
    }

    Bytes packMoof(const Bytes& content, size_t moofAt) {
        size_t growth = 0;
        for (const Part& part : parts(content)) {
            if (part.type == "traf")
                growth += kAdded + kIv * readFragment(parts(part.content)).sizes.size();
        }
        Bytes out;
        for (const Part& part : parts(content)) {
            if (part.type == "traf")
                out = out + box("traf",
                                packTraf(parts(part.content), moofAt, growth, 8 + out.size() + 8));
            else
                out = out + box(part.type, part.content);
        }
        return box("moof", out);
    }

    /// @param at  where the content begins in the `moof`
    Bytes packTraf(const std::vector<Part>& traf, size_t moofAt, size_t growth, size_t at) {
        const Fragment fragment = readFragment(traf);
        const auto count = static_cast<unsigned int>(fragment.sizes.size());
        Bytes out;
        for (const Part& part : traf) {
            Bytes content = part.content;
            if (part.type == "tfhd" && fragment.hasBase)
                content = patched(content, 8, u64(fragment.base + m_grown));
            if (part.type == "trun")
                content =
                    patched(content, 8, u32(fragment.offset + static_cast<unsigned int>(growth)));
            out = out + box(part.type, content);
        }
        const auto ivs = static_cast<unsigned int>(at + out.size() + 16);
        const size_t samples =
            (fragment.hasBase ? static_cast<size_t>(fragment.base) : moofAt) + fragment.offset;
        return out + senc(0, count, encrypt(samples, fragment.sizes)) + saiz(kIv, count) +
               saio({ivs});
    }

    /// @return the IVs of all samples
    Bytes encrypt(size_t at, const std::vector<unsigned int>& sizes) {
        Bytes ivs;
        for (const unsigned int size : sizes) {
            const Bytes iv = u64(++m_iv << 16);
            if (at + size > m_file.size())
                throw std::runtime_error("a sample that is not there");
            m_cipher.apply(iv, m_file.data() + at, size);
            at += size;
            ivs = ivs + iv;
        }
        return ivs;
    }

    Bytes m_file;
    Cipher m_cipher;
    Bytes m_kid;
    unsigned long long m_iv = 0;
    size_t m_grown = 0;
};

} // namespace

std::vector<unsigned char> packCenc(const std::vector<unsigned char>& file,
                                    const std::vector<unsigned char>& key,
                                    const std::vector<unsigned char>& kid) {
    return Packager(file, key, kid).pack();
}

} // namespace test

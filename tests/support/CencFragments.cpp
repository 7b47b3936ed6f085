#include "CencFragments.h"

#include "Child.h"
#include "Mp4Boxes.h"

#include <fstream>
#include <map>
#include <stdexcept>
#include <vector>

namespace test {
namespace {

constexpr size_t kClear = 5; // length and header of a NAL unit

uint64_t numberAt(const std::string& bytes, size_t at, size_t size = 4) {
    uint64_t value = 0;
    for (const char byte : bytes.substr(at, size))
        value = value << 8 | static_cast<unsigned char>(byte);
    return value;
}

/// Calls `visit` for each box between two places, with the box's place, size and type.
template<typename Visit>
void eachBox(const std::string& bytes, size_t at, size_t end, const Visit& visit) {
    while (at + 8 <= end) {
        const auto size = static_cast<size_t>(numberAt(bytes, at));
        if (size < 8 || size > end - at)
            throw std::runtime_error("no run of boxes");
        visit(at, size, bytes.substr(at + 4, 4));
        at += size;
    }
}

/// One fragment of a track.
struct Fragment {
    uint64_t track = 0;
    size_t dataField = 0; ///< where its data offset stands, in the `moof`
    size_t dataOffset = 0;
    std::vector<size_t> sizes;
};

Fragment readFragment(const std::string& moof, size_t begin, size_t end) {
    Fragment fragment;
    size_t defaultSize = 0;
    eachBox(moof, begin, end, [&](size_t at, size_t, const std::string& type) {
        const uint64_t flags = numberAt(moof, at + 9, 3);
        if (type == "tfhd") {
            fragment.track = numberAt(moof, at + 12);
            const size_t before = 16 + ((flags & 0x8) != 0 ? 4 : 0);
            defaultSize = (flags & 0x10) != 0 ? numberAt(moof, at + before) : 0;
        } else if (type == "trun") {
            fragment.dataField = at + 16;
            fragment.dataOffset = static_cast<size_t>(numberAt(moof, at + 16));
            const size_t first = at + 20 + ((flags & 0x4) != 0 ? 4 : 0);
            const size_t before = (flags & 0x100) != 0 ? 4 : 0;
            const size_t size = (flags & 0x200) != 0 ? 4 : 0;
            const size_t step =
                before + size + ((flags & 0x400) != 0 ? 4 : 0) + ((flags & 0x800) != 0 ? 4 : 0);
            for (size_t i = 0; i < numberAt(moof, at + 12); ++i)
                fragment.sizes.push_back(size == 0 ? defaultSize
                                                   : numberAt(moof, first + i * step + before));
        }
    });
    return fragment;
}

/// The clear and protected sizes of an H.264 sample's parts, behind their count.
std::string subsamples(const std::string& sample) {
    std::string list;
    size_t count = 0;
    for (size_t at = 0; at < sample.size(); ++count) {
        const auto length = static_cast<size_t>(numberAt(sample, at));
        list += be(kClear, 2) + be(length - 1);
        at += 4 + length;
    }
    return be(count, 2) + list;
}

class Completer {
public:
    explicit Completer(const std::string& file)
        : m_file(file) {}

    std::string run() {
        eachBox(m_file, 0, m_file.size(), [&](size_t at, size_t size, const std::string& type) {
            if (type == "moov")
                m_out += movie(m_file.substr(at, size));
            else if (type == "moof")
                m_out += movieFragment(at, size);
            else if (type != "mfra") // left out, as the offsets in it are no longer true
                m_out += m_file.substr(at, size);
        });
        return m_out;
    }

private:
    /// The movie's own tables of sample encryption describe no sample, and confuse ffmpeg.
    std::string movie(std::string moov) {
        for (const char* type : {"senc", "saiz", "saio"}) {
            for (size_t at = 0; (at = moov.find(type, at)) != std::string::npos;)
                moov.replace(at, 4, "free");
        }
        m_hasVideo = moov.find("encv") != std::string::npos;
        return moov;
    }

    std::string movieFragment(size_t begin, size_t size) {
        const std::string moof = m_file.substr(begin, size);
        std::string out = moof.substr(0, 8);
        std::vector<std::pair<size_t, size_t>> fields; // of data offsets, with their values
        eachBox(moof, 8, size, [&](size_t at, size_t length, const std::string& type) {
            std::string box = moof.substr(at, length);
            if (type == "traf") {
                const Fragment fragment = readFragment(moof, at + 8, at + length);
                fields.emplace_back(out.size() + fragment.dataField - at, fragment.dataOffset);
                box += tables(fragment, begin, out.size() + length);
                box.replace(0, 4, be(box.size()));
            }
            out += box;
        });
        const size_t inserted = out.size() - size;
        for (const auto& [field, value] : fields)
            out.replace(field, 4, be(value + inserted));
        return out.replace(0, 4, be(out.size()));
    }

    /// The boxes that a track fragment lacks.
    /// @param place  where they will stand, in the `moof`
    std::string tables(const Fragment& fragment, size_t moof, size_t place) {
        const bool isVideo = m_hasVideo && fragment.track == 1;
        std::string entries;
        std::string sizes;
        size_t at = moof + fragment.dataOffset;
        for (const size_t size : fragment.sizes) {
            const std::string entry =
                be(m_ivs[fragment.track]++, 8) +
                (isVideo ? subsamples(m_file.substr(at, size)) : std::string());
            entries += entry;
            sizes += be(entry.size(), 1);
            at += size;
        }
        const uint64_t flags = isVideo ? 2 : 0;
        return fullBox("senc", 0, flags, be(fragment.sizes.size()) + entries) +
               fullBox("saiz", 0, 0, be(0, 1) + be(sizes.size()) + sizes) +
               fullBox("saio", 0, 0, be(1) + be(place + 16));
    }

    const std::string& m_file;
    std::string m_out;
    std::map<uint64_t, uint64_t> m_ivs;
    bool m_hasVideo = false; ///< then it is the first track
};

} // namespace

std::string withSampleEncryption(const std::string& file) {
    return Completer(file).run();
}

void makeEncryptedFragments(const std::string& path, bool hasAudio) {
    const std::string raw = path + ".raw.mp4";
    std::vector<std::string> command = {"ffmpeg", "-v",    "error", "-nostdin",
                                        "-f",     "lavfi", "-i",    "testsrc2=s=320x180"};
    if (hasAudio)
        command.insert(command.end(), {"-f", "lavfi", "-i", "sine", "-c:a", "aac"});
    command.insert(command.end(), {"-t",
                                   "3",
                                   "-c:v",
                                   "libx264",
                                   "-pix_fmt",
                                   "yuv420p",
                                   "-preset",
                                   "ultrafast",
                                   "-g",
                                   "25",
                                   "-fflags",
                                   "+bitexact",
                                   "-movflags",
                                   "frag_keyframe+empty_moov+default_base_moof",
                                   "-encryption_scheme",
                                   "cenc-aes-ctr",
                                   "-encryption_key",
                                   kMediaKey,
                                   "-encryption_kid",
                                   kMediaKeyId,
                                   raw});
    runOk(command);
    std::ofstream(path, std::ios::binary) << withSampleEncryption(readFile(raw));
}

std::string decryptedFrames(const std::string& path) {
    // With "ignidx" it reads fragment by fragment; else it mixes up their encryption tables.
    return runOk({"ffmpeg", "-v", "error", "-fflags", "+ignidx", "-nostdin", "-xerror",
                  "-decryption_key", kMediaKey, "-i", path, "-f", "framemd5", "-"});
}

} // namespace test

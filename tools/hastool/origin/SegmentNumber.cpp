#include "SegmentNumber.h"

#include <hastool/base/BoxView.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <string>
#include <vector>

namespace hastool {
namespace {

namespace fs = std::filesystem;

constexpr size_t kMaxBoxes = 100000; // at the top of a file; days of fragments

/// Where the fragments of a file begin.
std::vector<uint64_t> findFragments(const fs::path& path) {
    std::vector<uint64_t> result;
    std::ifstream file(path, std::ios::binary);
    uint64_t at = 0;
    for (size_t i = 0; i < kMaxBoxes; ++i) {
        char header[16];
        file.seekg(static_cast<std::streamoff>(at));
        file.read(header, sizeof header);
        ByteReader reader(
            {header, static_cast<size_t>(std::max<std::streamsize>(file.gcount(), 0))});
        auto size = reader.number(4);
        const auto type = reader.bytes(4);
        if (size == uint64_t{1})
            size = reader.number(8);
        if (!size || !type || *size < 8 || *size > uint64_t{1} << 62)
            break;
        if (*type == "moof")
            result.push_back(at);
        file.clear();
        at += *size;
    }
    return result;
}

/// A file's name, cut around its last group of digits.
struct NumberedName {
    std::string before;
    std::string digits; ///< without zeros in front
    std::string after;
};

bool isDigit(char letter) {
    return std::isdigit(static_cast<unsigned char>(letter)) != 0;
}

std::optional<NumberedName> split(const fs::path& path) {
    // Digits of the extension, as in "mp4", do not count.
    const std::string extension = path.extension().string();
    const std::string stem = path.stem().string();
    const auto end = std::find_if(stem.rbegin(), stem.rend(), isDigit).base();
    const auto begin =
        std::find_if_not(std::make_reverse_iterator(end), stem.rend(), isDigit).base();
    if (begin == end)
        return std::nullopt;
    std::string digits(begin, end);
    digits.erase(0, std::min(digits.find_first_not_of('0'), digits.size() - 1));
    return NumberedName{{stem.begin(), begin}, digits, std::string(end, stem.end()) + extension};
}

/// Whether the number of a name is smaller than that of another.
bool isBefore(const NumberedName& left, const NumberedName& right) {
    if (left.digits.size() != right.digits.size())
        return left.digits.size() < right.digits.size();
    return left.digits < right.digits;
}

std::optional<uint64_t> numberInFolder(const fs::path& path) {
    const auto own = split(path);
    if (!own)
        return std::nullopt;
    uint64_t number = 1;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(path.parent_path(), error)) {
        const auto other = split(entry.path());
        if (other && other->before == own->before && other->after == own->after &&
            isBefore(*other, *own))
            ++number;
    }
    return number;
}

/// Whether a file is media by its name: encrypted segments do not show it by their bytes.
bool hasMediaName(const fs::path& path) {
    const std::string extension = path.extension().string();
    return extension == ".ts" || extension == ".aac";
}

} // namespace

std::optional<uint64_t> segmentNumber(const fs::path& file, uint64_t offset) {
    if (hasMediaName(file))
        return numberInFolder(file);
    const std::vector<uint64_t> fragments = findFragments(file);
    if (fragments.empty())
        return std::nullopt;
    if (fragments.size() == 1)
        return numberInFolder(file);
    const auto behind = std::upper_bound(fragments.begin(), fragments.end(), offset);
    if (behind == fragments.begin())
        return std::nullopt;
    return static_cast<uint64_t>(behind - fragments.begin());
}

} // namespace hastool

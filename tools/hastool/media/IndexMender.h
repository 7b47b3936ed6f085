// Indexes of files whose boxes have changed their sizes.
#pragma once

#include <hastool/base/BlockSource.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace hastool {

/// Bytes that replace as many others at a place in a file.
struct BytePatch {
    uint64_t at = 0;
    std::string bytes;
};

/// Learns the sizes of the top-level boxes of a file that comes piece by piece.
class BoxSizes {
public:
    void push(const unsigned char* data, size_t size);
    const std::vector<uint64_t>& sizes() const { return m_sizes; }

private:
    std::string m_header; ///< the part of the current box's header that has come
    uint64_t m_left = 0;  ///< bytes of the current box's content that have not come
    bool m_isToEnd = false;
    std::vector<uint64_t> m_sizes;
};

/// Whether a file has an index at its top. @throws ToolError when it cannot be read
bool hasIndex(const BlockSource& source);

/// What has to change in the indexes of a file, `sidx` and `mfra` (ISO/IEC 14496-12, clauses 8.16.3
/// and 8.8.9 to 8.8.11), so that they lead to the same boxes after these have grown. An index that
/// cannot be mended becomes "free", and so does a `ssix`, whose sizes within the segments of a
/// `sidx` are no longer true.
/// @param before  the file as it was, a run of whole boxes
/// @param after   the sizes of its top-level boxes now, one for each
/// @return patches in the file as it is now, in order
/// @throws ToolError when the file cannot be read
std::vector<BytePatch> indexPatches(const BlockSource& before, const std::vector<uint64_t>& after);

/// A piece of a file with the patches that reach into it put in.
/// @param at  where the piece begins in the file
std::string withPatches(std::string_view piece, uint64_t at, const std::vector<BytePatch>& patches);

/// Mends the indexes of a part of a file, for instance a segment. An index that leads out of the
/// part becomes "free", and so does `mfra`, whose offsets count from the begin of the whole file.
/// @param before  the part as it was
/// @param after   the part now, with the same boxes
std::string withIndexesMended(std::string_view before, std::string after);

} // namespace hastool

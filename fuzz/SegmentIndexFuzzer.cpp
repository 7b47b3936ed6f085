// Segment indexes: the entries must follow each other without a gap.
#include <hastool/base/ToolError.h>
#include <hastool/formats/dash/SegmentIndex.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    try {
        const auto index = hastool::SegmentIndex::parse(bytes, 1000, "url");
        for (size_t i = 1; i < index.entries.size(); ++i) {
            const auto& last = index.entries[i - 1];
            if (index.entries[i].offset != last.offset + last.size ||
                index.entries[i].time != last.time + last.duration)
                abort();
        }
        if (index.timescale == 0 || (!index.entries.empty() && index.entries[0].offset < 1000))
            abort();
    } catch (const hastool::ToolError&) {
    }
    return 0;
}

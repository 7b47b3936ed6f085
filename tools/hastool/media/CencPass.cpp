#include "CencPass.h"

#include <hastool/base/ToolError.h>

#include <Hasutil/CDRMManager.h>
#include <Hasutil/ContentProtection_t.h>

#include <algorithm>
#include <list>
#include <vector>

namespace hastool {
namespace {

constexpr int kPeriod = 0;
constexpr int kRepresentation = 0;
constexpr uint64_t kPsshHeaderSize = 32; // of a box without key ids

class Pass {
public:
    Pass(const BlockSource& source, const std::string& path, const PsshBoxes& boxes,
         const CencContent& content)
        : m_source(source)
        , m_path(path)
        , m_boxes(boxes)
        , m_insertable(std::max<uint64_t>(boxes.largest, content.pssh.size()) + kPsshHeaderSize)
        , m_handler(handlerFor(content)) {
        begin(content);
    }

    void run(size_t chunk, const CencSink& sink) {
        check(m_handler.OnSegmentStart(kPeriod, kRepresentation, 0, nullptr, false), 0);
        std::vector<unsigned char> in;
        uint64_t at = 0;
        while (at < m_source.size) {
            in.resize(static_cast<size_t>(std::min<uint64_t>(chunk, m_source.size - at)));
            m_source.read(at, in.data(), in.size());
            pass(in, at, sink);
            at += in.size();
        }
        finish(sink);
        m_handler.OnContentEnd();
        m_manager.Cleanup();
    }

private:
    hascommon::IDRMHandler& handlerFor(const CencContent& content) {
        m_manager.setContentProtectSize(1);
        hascommon::IDRMHandler* const handler = m_manager.FindHandler(
            content.schemeId, "", hascommon::SYSTEM_TYPE_CENC,
            m_boxes.isAudio ? hascommon::MEDIA_TYPE_AUDIO : hascommon::MEDIA_TYPE_VIDEO,
            content.isSeparate);
        if (handler == nullptr)
            throw ToolError("--scheme-id", "no handler for " + inQuotes(content.schemeId));
        return *handler;
    }
    void begin(const CencContent& content) {
        std::list<dashengine::ContentProtection_t> descriptors(1);
        descriptors.front().schemeIdUri = content.schemeId;
        descriptors.front().pssh = content.pssh;
        m_handler.setContentProtectionInfo(kPeriod, kRepresentation, &descriptors);
        std::string marlin = "TYPE=MARLIN-MS3"; // only the Marlin handler looks at it
        check(m_handler.OnContentStart(&marlin), 0);
    }
    /// Makes room for the output up to a place in the file: the bytes that the handler has kept
    /// back, those that are handed over next, and the boxes that may be inserted among them.
    void makeRoom(uint64_t end) {
        unsigned int waiting = 0;
        m_handler.GetUndecryptedData(kPeriod, kRepresentation, waiting);
        const uint64_t begin = m_passed - std::min<uint64_t>(m_passed, waiting);
        const uint64_t inserted = m_boxes.parentsIn(begin, end) * m_insertable;
        m_out.resize(static_cast<size_t>(end - begin + inserted));
    }
    void pass(const std::vector<unsigned char>& in, uint64_t at, const CencSink& sink) {
        m_passed = at;
        makeRoom(at + in.size());
        unsigned int size = 0;
        check(m_handler.ProcessSegmentData(kPeriod, kRepresentation, in.data(),
                                           static_cast<unsigned int>(in.size()), m_out.data(),
                                           size),
              at);
        m_passed = at + in.size();
        sink(m_out.data(), size);
    }
    void finish(const CencSink& sink) {
        makeRoom(m_passed);
        unsigned char* out = m_out.data();
        unsigned int size = 0;
        check(m_handler.ProcessSegmentFinalData(kPeriod, kRepresentation, out, size), m_passed);
        sink(out, size);
        check(m_handler.OnSegmentEnd(kPeriod, kRepresentation), m_passed);
    }
    void check(int result, uint64_t at) const {
        if (result != 1)
            throw ToolError(m_path, "offset " + std::to_string(at) + ": the handler refuses it");
    }

    const BlockSource& m_source;
    const std::string& m_path;
    const PsshBoxes& m_boxes;
    const uint64_t m_insertable; ///< size of the largest box that can be inserted
    hascommon::CDRMManager m_manager;
    hascommon::IDRMHandler& m_handler;
    std::vector<unsigned char> m_out;
    uint64_t m_passed = 0;
};

} // namespace

void passThroughHandler(const BlockSource& source, const std::string& path, const PsshBoxes& boxes,
                        const CencContent& content, size_t chunk, const CencSink& sink) {
    Pass(source, path, boxes, content).run(chunk, sink);
}

} // namespace hastool

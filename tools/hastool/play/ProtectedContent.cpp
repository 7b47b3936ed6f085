#include "ProtectedContent.h"

#include <hastool/base/ToolError.h>
#include <hastool/media/IndexMender.h>

#include <Hasutil/ContentProtection_t.h>

#include <algorithm>
#include <list>
#include <vector>

namespace hastool {
namespace {

using hascommon::IDRMHandler;

constexpr size_t kChunk = 16384;
constexpr size_t kPsshHeader = 32;
constexpr size_t kMaxRoom = 512u << 20; // for one segment with all PSSH data that is inserted

hascommon::MediaType mediaTypeOf(const Protection& protection) {
    return protection.isAudio ? hascommon::MEDIA_TYPE_AUDIO : hascommon::MEDIA_TYPE_VIDEO;
}

/// The descriptors as the library takes them.
std::list<dashengine::ContentProtection_t> toLibrary(const Protection& protection) {
    std::list<dashengine::ContentProtection_t> result;
    for (const ProtectionDescriptor& it : protection.descriptors) {
        dashengine::ContentProtection_t descriptor;
        descriptor.schemeIdUri = it.schemeId;
        descriptor.value = it.value;
        descriptor.defaultKid = it.defaultKid;
        descriptor.pssh = it.pssh;
        result.push_back(std::move(descriptor));
    }
    return result;
}

size_t occurrences(const std::string& bytes, const char* type) {
    size_t count = 0;
    for (size_t at = bytes.find(type); at != std::string::npos; at = bytes.find(type, at + 4))
        ++count;
    return count;
}

/// The largest size that a piece can grow to: each moov and moof may get a box with PSSH data.
size_t roomFor(const std::string& bytes, size_t psshSize) {
    const size_t boxes = occurrences(bytes, "moov") + occurrences(bytes, "moof");
    if (boxes > 0 && psshSize + kPsshHeader > kMaxRoom / boxes)
        return SIZE_MAX;
    return bytes.size() + boxes * (psshSize + kPsshHeader);
}

/// Passes one segment through a handler, with the calls in the order that handlers expect.
class Rewriting {
public:
    Rewriting(IDRMHandler& handler, const Protection& protection, const std::string& name)
        : m_handler(handler)
        , m_period(protection.period)
        , m_representation(protection.representation)
        , m_name(name) {}

    /// @param room  the largest size that the handler may write in one call
    std::string run(const std::string& bytes, size_t room) {
        m_room.resize(room);
        check(m_handler.OnSegmentStart(m_period, m_representation, 0, nullptr, false));
        for (size_t at = 0; at < bytes.size(); at += kChunk)
            add(bytes.data() + at, std::min(kChunk, bytes.size() - at));
        unsigned char* out = m_room.data();
        unsigned int size = 0;
        check(m_handler.ProcessSegmentFinalData(m_period, m_representation, out, size));
        keep(size);
        check(m_handler.OnSegmentEnd(m_period, m_representation));
        return std::move(m_result);
    }

private:
    void add(const char* data, size_t size) {
        unsigned int written = 0;
        check(m_handler.ProcessSegmentData(
            m_period, m_representation, reinterpret_cast<const unsigned char*>(data),
            static_cast<unsigned int>(size), m_room.data(), written));
        keep(written);
    }
    void keep(unsigned int size) {
        m_result.append(reinterpret_cast<const char*>(m_room.data()), size);
    }
    void check(int result) const {
        if (result != 1)
            throw ToolError(m_name, "the DRM handler refuses it (" +
                                        std::to_string(m_handler.GetLastErrorCode()) + ")");
    }

    IDRMHandler& m_handler;
    const int m_period;
    const int m_representation;
    const std::string& m_name;
    std::vector<unsigned char> m_room;
    std::string m_result;
};

} // namespace

ProtectedContent::~ProtectedContent() {
    for (auto& [handler, session] : m_sessions)
        handler->OnContentEnd();
    m_manager.Cleanup();
}

std::string ProtectedContent::rewrite(const Protection& protection, const std::string& bytes,
                                      const std::string& name) {
    Session& session = sessionOf(protection, name);
    const Place place{protection.period, protection.representation};
    if (session.last != place && session.last != Place{-1, -1})
        session.handler->UpdateSchemeInformation(protection.period, protection.representation,
                                                 mediaTypeOf(protection), "");
    session.last = place;
    for (const ProtectionDescriptor& it : protection.descriptors)
        m_psshSize = std::max(m_psshSize, it.pssh.size());
    if (bytes.find("pssh") != std::string::npos)
        m_psshSize = std::max(m_psshSize, bytes.size()); // the handler keeps it for later pieces
    const size_t room = roomFor(bytes, m_psshSize);
    if (room > kMaxRoom)
        throw ToolError(name, "too much PSSH data for its fragments");
    return withIndexesMended(bytes, Rewriting(*session.handler, protection, name).run(bytes, room));
}

ProtectedContent::Session& ProtectedContent::sessionOf(const Protection& protection,
                                                       const std::string& name) {
    m_manager.setContentProtectSize(static_cast<int>(protection.descriptors.size()));
    IDRMHandler* const handler = findHandler(protection);
    if (handler == nullptr)
        throw ToolError(name, "protected by a system that is not supported");
    Session& session = m_sessions[handler];
    const bool isNew = session.handler == nullptr;
    session.handler = handler;
    if (session.known.emplace(protection.period, protection.representation).second)
        introduce(session, protection);
    // Only the Marlin handler reads this: it names the kind of Marlin that uses Common Encryption.
    std::string drmInfo = "TYPE=MARLIN-MS3";
    if (isNew && handler->OnContentStart(&drmInfo) != 1)
        throw ToolError(name, "the DRM handler refuses the content");
    return session;
}

/// The handler of the first descriptor that has one.
IDRMHandler* ProtectedContent::findHandler(const Protection& protection) {
    for (const ProtectionDescriptor& it : protection.descriptors) {
        IDRMHandler* const handler =
            m_manager.FindHandler(it.schemeId, it.value, hascommon::SYSTEM_TYPE_CENC,
                                  mediaTypeOf(protection), protection.isSeparate);
        if (handler != nullptr)
            return handler;
    }
    return nullptr;
}

void ProtectedContent::introduce(Session& session, const Protection& protection) {
    auto descriptors = toLibrary(protection);
    session.handler->setContentProtectionInfo(protection.period, protection.representation,
                                              &descriptors);
}

} // namespace hastool

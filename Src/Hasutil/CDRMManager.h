/// @file
/// Chooses and owns the DRM handlers of a DASH content.
#pragma once

#include <Hascommon/Export.h>
#include <Hasutil/DrmTypes.h>
#include <Hasutil/IDRMHandler.h>

#include <map>
#include <memory>
#include <string>

namespace hascommon {

/// Finds the handler for a ContentProtection descriptor (ISO/IEC 23009-1, clause 5.8.4.1) by its
/// scheme id and the kind of representation, and makes it when it is first asked for.
///
/// | scheme id | handler |
/// |---|---|
/// | urn:uuid:5E629AF5-38DA-4063-8977-97FFBD9902D4 | DashMarlinCencDRMHandler |
/// | urn:uuid:9A04F079-9840-4286-AB92-E65BE0885F95 | DashPlayReadyCencDRMHandler |
/// | urn:uuid:79f0049a-4098-8642-ab92-e65be0885f95 | DashPlayReadyCencDRMHandler |
/// | urn:uuid:78cbbd26-2235-a711-c890-f66a56ee12df | DashQDRMCencDRMHandler |
/// | urn:mpeg:dash:mp4protection:2011 | DashPlayReadyCencDRMHandler |
///
/// The first four are compared without regard to case. The last one, which announces Common
/// Encryption (ISO/IEC 23001-7) and no system, has to be written exactly so, and counts only where
/// it is the content's sole descriptor: such a stream is taken for PlayReady, which
/// engines count on.
///
/// **Order of calls.** setContentProtectSize(), then FindHandler() for each descriptor; Cleanup()
/// ends a content, and the next may begin.
///
/// **Ownership.** A handler made for system type 2 belongs to the manager: it stays the same for
/// its scheme id and kind, and is gone with Cleanup() and the manager. One made for another system
/// type is not kept: **the caller owns it and deletes it.**
///
/// **Failures** are null pointers. Memory that runs out is reported by std::bad_alloc.
///
/// Thread safety: one thread at a time.
class HAS_API CDRMManager {
public:
    /// No handlers; the number of descriptors is 0.
    CDRMManager();
    /// Deletes every handler it owns.
    ~CDRMManager();
    CDRMManager(const CDRMManager&) = delete;
    CDRMManager& operator=(const CDRMManager&) = delete;

    /// Notes how many ContentProtection descriptors the content has. It stays until the next call,
    /// beyond Cleanup() too.
    void setContentProtectSize(int count);

    /// Looks for a handler that was made before.
    /// @param schemeId  as it was written when the handler was made, in the same case
    /// @return the handler, which stays the manager's; null when it was never made
    IDRMHandler* FindHandler(const std::string& schemeId, MediaType mediaType);

    /// Looks for a handler, and makes it where it was not made before.
    /// @param schemeId    compared without regard to case when a handler is chosen, but exactly
    ///                    when one is looked for: another spelling makes another handler
    /// @param value       the descriptor's value attribute; not used
    /// @param systemType  Marlin and the generic scheme are handled for 2 only
    /// @param mediaType   handlers are made for 1 and 2
    /// @param flag        whether audio and video are separate representations
    /// @return the handler, the manager's for system type 2 and else the caller's; null for what is
    ///         not supported
    IDRMHandler* FindHandler(const std::string& schemeId, std::string value,
                             system_type_t systemType, MediaType mediaType, bool flag);

    /// Deletes every handler: those of media type 1, then of 2, then of 3.
    void Cleanup();

private:
    using Table = std::map<std::string, std::unique_ptr<IDRMHandler>>;

    HAS_LOCAL Table* tableOf(MediaType mediaType);
    HAS_LOCAL IDRMHandler* find(const std::string& schemeId, MediaType mediaType);

    Table m_video; ///< media type 2
    Table m_audio; ///< media type 1
    Table m_text;  ///< media type 3; stays empty
    int m_contentProtectSize = 0;
};

} // namespace hascommon

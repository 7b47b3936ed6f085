// Protected content on its way through the DRM handlers.
#pragma once

#include <hastool/formats/Presentation.h>

#include <Hasutil/CDRMManager.h>

#include <map>
#include <set>
#include <string>
#include <utility>

namespace hastool {

/// Passes initialisations and segments of protected representations through the handlers that the
/// DRM manager finds for them. What comes out is still encrypted, with the PSSH data where the
/// platform's decryptor looks for it.
class ProtectedContent {
public:
    ProtectedContent() = default;
    /// Tells all handlers that the content has ended.
    ~ProtectedContent();
    ProtectedContent(const ProtectedContent&) = delete;
    ProtectedContent& operator=(const ProtectedContent&) = delete;

    /// Rewrites one initialisation or one segment; an index in it is mended for the new sizes.
    /// @param name  of the piece, for messages. @throws ToolError when none of the descriptors has
    ///              a handler, or the handler refuses the piece
    std::string rewrite(const Protection& protection, const std::string& bytes,
                        const std::string& name);

private:
    using Place = std::pair<int, int>; ///< period and representation

    /// A handler and what it was told.
    struct Session {
        hascommon::IDRMHandler* handler = nullptr; ///< owned by the manager
        std::set<Place> known;                     ///< the places whose descriptors it has
        Place last{-1, -1};
    };

    Session& sessionOf(const Protection& protection, const std::string& name);
    hascommon::IDRMHandler* findHandler(const Protection& protection);
    static void introduce(Session& session, const Protection& protection);

    hascommon::CDRMManager m_manager;
    std::map<hascommon::IDRMHandler*, Session> m_sessions;
    size_t m_psshSize = 0; ///< the most PSSH data that has come up
};

} // namespace hastool

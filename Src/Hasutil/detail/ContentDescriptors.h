// The manifest's ContentProtection descriptors.
#pragma once

#include <Hasutil/ContentProtection_t.h>
#include <Hasutil/DrmTypes.h>
#include <Hasutil/detail/PsshBox.h>

#include <list>
#include <map>
#include <string>

namespace hascommon::detail {

/// Keeps the descriptors of each representation, and draws from them what a `pssh` box is built of.
class ContentDescriptors {
public:
    using List = std::list<dashengine::ContentProtection_t>;

    /// Chooses the system whose scheme ids match. No scheme id matches before that.
    void choose(eDRM_TYPE type) { m_type = type; }

    /// Stores a copy in place of what is stored; null only removes that.
    void store(int period, int representation, const List* descriptors);
    /// The first descriptor of the chosen system; null when the representation has no such one.
    const dashengine::ContentProtection_t* find(int period, int representation) const;

    /// The 16 bytes of the chosen system's id; empty for a scheme id of another.
    std::string systemIdOf(const std::string& schemeId) const;
    /// The first of a descriptor's two texts of PSSH data that is not empty, in base64.
    static const std::string& psshText(const dashengine::ContentProtection_t& descriptor);
    /// The box that a descriptor stands for.
    PsshBox boxOf(const dashengine::ContentProtection_t& descriptor) const;

private:
    eDRM_TYPE m_type = eDRM_TYPE_NONE;
    std::map<int, std::map<int, List>> m_lists; // by period and representation
};

} // namespace hascommon::detail

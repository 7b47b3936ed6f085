// What there is to check of a presentation.
#pragma once

#include "CheckSource.h"
#include "Evidence.h"
#include <hastool/base/TimeSource.h>

#include <memory>
#include <vector>

namespace hastool {

/// Fills the evidence with renditions and their segments, in a format's own way. What cannot be
/// read becomes the `trouble` of a document or a rendition.
class Lister {
public:
    virtual ~Lister() = default;

    /// Lists what there is by the manifest, which is the evidence's first document.
    virtual void list() = 0;
    /// Loads again what is due, and lists the segments that have come since.
    virtual void follow() = 0;
    /// When something is to be loaded again; never for what is not live.
    virtual TimeSource::Steady::time_point due() const = 0;
};

/// @param evidence  borrowed, as `source`
std::unique_ptr<Lister> makeHlsLister(Evidence& evidence, CheckSource& source,
                                      const TimeSource& time);
std::unique_ptr<Lister> makeDashLister(Evidence& evidence, CheckSource& source,
                                       const TimeSource& time);
std::unique_ptr<Lister> makeSmoothLister(Evidence& evidence, CheckSource& source,
                                         const TimeSource& time);

/// The most segments that a check lists of one rendition.
constexpr size_t kMaxCheckedSegments = 200000;

/// Makes the tree of the last of the documents, or shares that of the one before where the text is
/// the same.
void keepTree(std::vector<CheckedDocument>& documents);

/// Gives a rendition a name that no other has.
void nameRendition(Evidence& evidence, CheckedRendition& rendition, const std::string& name);

/// "640x360, 1050 kbit/s", of what is known.
std::string qualityName(int width, int height, uint64_t bitrate);

} // namespace hastool

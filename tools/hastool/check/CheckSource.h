// Where a check has its resources from.
#pragma once

#include "Evidence.h"
#include <hastool/net/ByteRange.h>

#include <string>
#include <vector>

namespace hastool {

class CheckSource {
public:
    struct Fetched {
        Answer answer;
        std::string bytes; ///< also of a resource that was not had whole: what there was
    };

    virtual ~CheckSource() = default;

    /// Tells what will be fetched next, in that order.
    virtual void expect(const std::vector<Resource>& resources) = 0;
    /// Waits for a resource.
    virtual Fetched fetch(const Resource& resource) = 0;
    /// Why nothing more is to be had, as the time is up; empty when all is well.
    virtual std::string troubleNow() const = 0;
};

/// The largest resource that a check looks at.
constexpr size_t kMaxCheckedBytes = 64u << 20;

} // namespace hastool

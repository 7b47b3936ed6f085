// A stretch of code without the lock of the unit table.
#pragma once

#include <Hasnet/detail/ItemLock.h>

namespace hascommon::detail {

/// Gives the lock up at every depth for its lifetime, and takes it again as deep; nothing on a
/// thread that does not hold it. For what waits for a thread that may need the lock. The compiler's
/// analysis does not follow: where the lock was held it counts as held throughout, so what stands
/// in such a stretch touches nothing that is guarded.
class ItemRelease {
public:
    explicit ItemRelease(ItemLock& lock) HAS_NO_THREAD_SAFETY_ANALYSIS
        : m_lock(lock),
          m_depth(lock.ReleaseAll()) {}
    ~ItemRelease() HAS_NO_THREAD_SAFETY_ANALYSIS { m_lock.Reacquire(m_depth); }
    ItemRelease(const ItemRelease&) = delete;
    ItemRelease& operator=(const ItemRelease&) = delete;

private:
    ItemLock& m_lock;
    const unsigned int m_depth;
};

} // namespace hascommon::detail

#include <support/FailingNew.h>

#include <cstdlib>
#include <new>

namespace {

constexpr int kNever = -1;

thread_local int t_allowed = kNever;
thread_local bool t_failed = false;

/// Null for an allocation that has to fail.
void* allocate(std::size_t size) {
    if (t_allowed == 0) {
        t_failed = true;
        return nullptr;
    }
    if (t_allowed > 0)
        --t_allowed;
    return malloc(size != 0 ? size : 1);
}

void* allocateOrThrow(std::size_t size) {
    void* const block = allocate(size);
    if (block == nullptr)
        throw std::bad_alloc();
    return block;
}

} // namespace

void* operator new(std::size_t size) {
    return allocateOrThrow(size);
}
void* operator new[](std::size_t size) {
    return allocateOrThrow(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
}
void operator delete(void* block) noexcept {
    free(block);
}
void operator delete[](void* block) noexcept {
    free(block);
}
void operator delete(void* block, std::size_t) noexcept {
    free(block);
}
void operator delete[](void* block, std::size_t) noexcept {
    free(block);
}

namespace test {

FailingNew::FailingNew(int allowed) {
    t_failed = false;
    t_allowed = allowed;
}

FailingNew::~FailingNew() {
    t_allowed = kNever;
}

bool FailingNew::hasFailed() const {
    return t_failed;
}

} // namespace test

// Where a virtual operation stands in its class's table.
#pragma once

#include <cstddef>
#include <cstring>

namespace test {

/// The slot counted from 0, the two of the destructor included, for a class without virtual bases.
/// The Itanium C++ ABI keeps the slot's offset in the pointer to the member.
template<typename Member>
std::size_t vtableSlot(Member member) {
    std::size_t offset = 0;
    static_assert(sizeof(member) >= sizeof(offset), "a pointer and an adjustment");
    memcpy(&offset, &member, sizeof(offset));
    return (offset & ~std::size_t{1}) / sizeof(void*);
}

} // namespace test

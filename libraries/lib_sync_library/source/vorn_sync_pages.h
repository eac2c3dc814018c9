#pragma once

#include <cstddef>

// Memory of the size of a directory, which goes back to the system with the pass that needed it. The C library keeps what
// is freed, up to twice the largest block it ever saw; what is large is therefore asked of the system. Callable from
// any thread.
namespace VornSyncPages {

// Blocks of less are the C library's.
constexpr std::size_t kSmallestBytes = std::size_t(256) * 1024;

// Throws std::bad_alloc when there is none.
void* take(std::size_t bytes);
// `bytes` as they were taken.
void giveBack(void* memory, std::size_t bytes) noexcept;

} // namespace VornSyncPages

// For the containers of the standard library.
template<typename Value> class VornSyncPageAllocator
{
public:
    using value_type = Value;

    VornSyncPageAllocator() = default;
    template<typename Other> VornSyncPageAllocator(const VornSyncPageAllocator<Other>&) noexcept {}

    Value* allocate(std::size_t count)
    {
        return static_cast<Value*>(VornSyncPages::take(count * sizeof(Value)));
    }
    void deallocate(Value* memory, std::size_t count) noexcept
    {
        VornSyncPages::giveBack(memory, count * sizeof(Value));
    }

    template<typename Other> bool operator==(const VornSyncPageAllocator<Other>&) const { return true; }
    template<typename Other> bool operator!=(const VornSyncPageAllocator<Other>&) const { return false; }
};

#include "vorn_sync_pages.h"

#include <sys/mman.h>

#include <new>

namespace VornSyncPages {

void* take(std::size_t bytes)
{
    if (bytes < kSmallestBytes)
        return ::operator new(bytes);
    void* memory = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
        throw std::bad_alloc();
    return memory;
}

void giveBack(void* memory, std::size_t bytes) noexcept
{
    if (bytes < kSmallestBytes)
        ::operator delete(memory);
    else
        ::munmap(memory, bytes);
}

} // namespace VornSyncPages

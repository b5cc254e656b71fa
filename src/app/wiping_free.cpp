// Overwrites every block of memory that the program gives back. It has no header: linking it is all there is to do.
//
// The player's password and session pass through libraries: a JSON document, a header, a socket's buffers. Each of them
// gives its copy back with the bytes still in it, out of our reach, and a later crash dump would show them. The GNU C
// library lets a program put functions of its own in the place of its allocator's, and keeps the originals under other
// names.

#include <malloc.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>

extern "C" void* originalMalloc(std::size_t size) asm("__libc_malloc");
extern "C" void originalFree(void* block) asm("__libc_free");

extern "C" void free(void* block) noexcept
{
    if (block == nullptr)
        return;
    const int error = errno; // callers free on their way out of a failure
    explicit_bzero(block, malloc_usable_size(block));
    originalFree(block);
    errno = error;
}

extern "C" void* realloc(void* block, std::size_t size) noexcept
{
    if (block == nullptr)
        return originalMalloc(size);
    if (size == 0) {
        free(block);
        return nullptr;
    }
    // The original would move the bytes and leave them where they were.
    void* moved = originalMalloc(size);
    if (moved == nullptr)
        return nullptr;
    std::memcpy(moved, block, std::min(malloc_usable_size(block), size));
    free(block);
    return moved;
}

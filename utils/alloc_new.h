// Allocation policy for reference-counted blocks: plain new[] arrays, filled
// straight from a file when a path is given.
#pragma once

#include <cstddef>

// Platform hook of the handheld build; ignored here.
struct android_app;

namespace basekit {

// Access wanted when a block is filled from a file; other values act as
// prot_read.
enum e_prot_t { prot_read = 0, prot_readwrite = 1 };

class alloc_new {
public:
    // Without `path`: a new array of `size` bytes. With `path`: when `size` is
    // 0 it first becomes the file's size; then `size` bytes are read from the
    // start of the file (`offset` is not used by this policy). Null when the
    // file is missing, cannot be opened with `prot` access, or is shorter.
    static void* allocate(std::size_t& size, const char* path, e_prot_t prot, std::size_t offset,
                          android_app* app);

    // A new array of `newsize` bytes holding the first min(size, newsize)
    // bytes of `old`, which is freed; `size` becomes `newsize`.
    static void* reallocate(std::size_t& size, void* old, std::size_t newsize);

    // Frees an array of this policy; null is allowed.
    static void deallocate(void* p);
};

} // namespace basekit

#pragma once

#include "Export.h"

#include <cstddef>

namespace OGL_ZEP6_AE {

// Allocation base of the library's resource classes. Every allocation of a subclass goes through
// the global allocator, whichever allocator the code that says `new` was built against; the
// forms with a source location (used by debugging allocators) ignore it.
class ZEP6_API Memory {
public:
    static void* operator new(std::size_t size);
    static void* operator new[](std::size_t size);
    static void* operator new(std::size_t size, const char* file, int line);
    static void* operator new[](std::size_t size, const char* file, int line);
    static void operator delete(void* block) noexcept;
    static void operator delete[](void* block) noexcept;
    // Called only when a constructor throws inside a located new.
    static void operator delete(void* block, const char* file, int line) noexcept;
    static void operator delete[](void* block, const char* file, int line) noexcept;
};

} // namespace OGL_ZEP6_AE

#include "Graphics/Memory.h"

#include "core/Failure.h"

#include <cstdlib>

namespace Graphics {

void* ProcessHeap::Alloc(unsigned long size) {
    void* p = std::malloc(size);
    if (!p) GRAPHICS_FAIL("Not enough memory");
    return p;
}

void ProcessHeap::Free(void* pointer) {
    if (pointer) std::free(pointer);
}

void* ProcessHeap::AllocAligned(unsigned long size, unsigned long alignment) {
    // glibc's malloc aligns to 16 bytes on 64-bit targets, which is all the
    // pixel code needs; the argument is accepted and not otherwise used.
    (void)alignment;
    void* p = std::malloc(size);
    if (!p) GRAPHICS_FAIL("Not enough memory");
    return p;
}

void ProcessHeap::FreeAligned(void* pointer) {
    if (pointer) std::free(pointer);
}

}  // namespace Graphics

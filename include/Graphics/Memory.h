#pragma once

#include <cstddef>
#include <new>

namespace Graphics {

class ProcessHeap {
public:
    static void* Alloc(unsigned long size);
    static void Free(void* pointer);
    // At least 16-byte aligned; the alignment argument is accepted for
    // callers that state their need.
    static void* AllocAligned(unsigned long size, unsigned long alignment);
    static void FreeAligned(void* pointer);
};

class AllocatorBase {
public:
    static void* Alloc(unsigned long size) { return ProcessHeap::Alloc(size); }
    static void Free(void* pointer) { ProcessHeap::Free(pointer); }
};

// Allocator for standard containers, through the library's heap.
template <typename T>
class Allocator : public AllocatorBase {
public:
    using value_type = T;

    Allocator() noexcept = default;
    template <typename U>
    Allocator(const Allocator<U>&) noexcept {}

    T* allocate(std::size_t n) { return static_cast<T*>(Alloc(static_cast<unsigned long>(n * sizeof(T)))); }
    void deallocate(T* p, std::size_t) noexcept { Free(p); }

    template <typename U>
    bool operator==(const Allocator<U>&) const noexcept { return true; }
    template <typename U>
    bool operator!=(const Allocator<U>&) const noexcept { return false; }
};

// Public objects derive from this so that they are made and freed on the
// library's heap.
class GraphicsBase {
public:
    static void* operator new(std::size_t size);
    static void* operator new[](std::size_t size);
    static void operator delete(void* pointer) noexcept;
    static void operator delete[](void* pointer) noexcept;
};

}  // namespace Graphics

#include "Graphics/Memory.h"

namespace Graphics {

void* GraphicsBase::operator new(std::size_t size) { return ProcessHeap::Alloc(static_cast<unsigned long>(size)); }

void* GraphicsBase::operator new[](std::size_t size) { return ProcessHeap::Alloc(static_cast<unsigned long>(size)); }

// noexcept: an exception arriving from the heap here ends the process.
void GraphicsBase::operator delete(void* pointer) noexcept { ProcessHeap::Free(pointer); }

void GraphicsBase::operator delete[](void* pointer) noexcept { ProcessHeap::Free(pointer); }

}  // namespace Graphics

#include "Graphics/Rasterizer.h"

#include <boost/pool/object_pool.hpp>

#include <new>

namespace Graphics {

// The nodes live in the pool until the buffer dies. Reset hands them to the
// buffer's own free list rather than back to the pool: giving one back to an
// object_pool is a search of its ordered free list, and a row only ever needs
// about as many nodes as the row before it.
struct CoverageBuffer::Pool {
    boost::object_pool<Span> nodes{32};
};

CoverageBuffer::CoverageBuffer() : pool(new Pool), cursor(&head), freeList(nullptr) {
    head.next = &tail;
    head.x = -2147483647 - 1;
    head.coverage = 0;
    tail.next = nullptr;
    tail.x = 2147483647;
    tail.coverage = 0;
}

CoverageBuffer::~CoverageBuffer() {}

CoverageBuffer::Span* CoverageBuffer::NewSpan(Span* after, int x, int coverage) {
    Span* node = freeList;
    if (node) {
        freeList = node->next;
    } else {
        node = pool->nodes.malloc();
        if (!node) throw std::bad_alloc();
    }
    node->x = x;
    node->coverage = coverage;
    node->next = after->next;
    after->next = node;
    return node;
}

// A node at node->x + 1 that carries node's present coverage, so that a
// change made to node afterwards stops after one pixel.
CoverageBuffer::Span* CoverageBuffer::EnsureNodeAfter(Span* node) {
    Span* next = node->next;
    if (next->x == node->x + 1) return next;
    return NewSpan(node, node->x + 1, node->coverage);
}

void CoverageBuffer::InsertSpan(int x0, int x1) {
    // The rasterizer only passes spans from left to right; anything else
    // would make no sense as coverage.
    if (x1 <= x0) return;
    const int a = x0 >> 3;
    const int b = x1 >> 3;

    // Spans of one sample row arrive from left to right, so the walk can
    // usually start where the last span ended.
    Span* previous = a > cursor->x ? cursor : &head;
    Span* node = previous->next;
    while (node->x < a) {
        previous = node;
        node = node->next;
    }
    if (node->x != a) node = NewSpan(previous, a, previous->coverage);

    if (a == b) {
        EnsureNodeAfter(node);
        node->coverage += x1 - x0;
        cursor = node;
        return;
    }

    if (x0 & 7) {
        EnsureNodeAfter(node);
        node->coverage -= x0 & 7;
    }
    node->coverage += 8;
    previous = node;
    node = node->next;
    while (node->x < b) {
        node->coverage += 8;
        previous = node;
        node = node->next;
    }
    // Every node between a and b has just been raised by 8, so the coverage
    // to continue with at b is the previous node's less those 8.
    if (node->x != b) node = NewSpan(previous, b, previous->coverage - 8);
    cursor = node;
    if ((x1 & 7) == 0) return;
    EnsureNodeAfter(node);
    node->coverage += x1 & 7;
}

void CoverageBuffer::Reset() {
    Span* first = head.next;
    if (first != &tail) {
        Span* last = first;
        while (last->next != &tail) last = last->next;
        last->next = freeList;
        freeList = first;
        head.next = &tail;
    }
    cursor = &head;
}

}  // namespace Graphics

#pragma once

#include "Graphics/Geometry.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <initializer_list>
#include <memory>
#include <type_traits>

namespace Graphics {

// A double-ended array of plain values that keeps its first few elements
// inline. Most figures are short (a rectangle, an ellipse), and building one
// should not cost a heap allocation per sequence; the stroker still needs
// cheap inserts at the front, so both ends have room to grow. Growth doubles
// the capacity, adding the new room on the side that ran out.
template <typename T, std::size_t N>
class FigureSequence {
    static_assert(std::is_trivially_copyable<T>::value, "FigureSequence holds plain values");
    static_assert(N > 0, "FigureSequence needs inline room");

public:
    using value_type = T;
    using size_type = std::size_t;
    using difference_type = std::ptrdiff_t;
    using reference = T&;
    using const_reference = const T&;
    using pointer = T*;
    using const_pointer = const T*;
    using iterator = T*;
    using const_iterator = const T*;

    FigureSequence() = default;
    FigureSequence(std::initializer_list<T> values) { Assign(values.begin(), values.size()); }
    FigureSequence(const FigureSequence& other) { Assign(other.begin(), other.size()); }
    FigureSequence& operator=(const FigureSequence& other) {
        if (this != &other) Assign(other.begin(), other.size());
        return *this;
    }
    FigureSequence& operator=(std::initializer_list<T> values) {
        Assign(values.begin(), values.size());
        return *this;
    }
    ~FigureSequence() { delete[] heap; }

    bool empty() const { return count == 0; }
    size_type size() const { return count; }

    iterator begin() { return Data() + head; }
    iterator end() { return Data() + head + count; }
    const_iterator begin() const { return Data() + head; }
    const_iterator end() const { return Data() + head + count; }

    T& operator[](size_type i) { return Data()[head + i]; }
    const T& operator[](size_type i) const { return Data()[head + i]; }
    T& front() { return Data()[head]; }
    const T& front() const { return Data()[head]; }
    T& back() { return Data()[head + count - 1]; }
    const T& back() const { return Data()[head + count - 1]; }

    void clear() {
        head = 0;
        count = 0;
    }

    void push_back(const T& value) {
        if (head + count == capacity) Grow(false);
        Data()[head + count] = value;
        count += 1;
    }

    void push_front(const T& value) {
        if (head == 0) Grow(true);
        head -= 1;
        Data()[head] = value;
        count += 1;
    }

private:
    T* Data() { return heap ? heap : inlineValues; }
    const T* Data() const { return heap ? heap : inlineValues; }

    void Assign(const T* values, size_type n) {
        count = 0;
        head = 0;
        if (n > capacity) {
            T* grown = new T[n];
            delete[] heap;
            heap = grown;
            capacity = n;
        }
        if (n) std::memcpy(Data(), values, n * sizeof(T));
        count = n;
    }

    // Called when one end is full. While the sequence fills at most half the
    // buffer it is moved to the middle instead, so that alternating clears
    // and pushes at the front cannot make the buffer grow without bound.
    // Otherwise the room already free on the other side is kept where it is.
    void Grow(bool atFront) {
        if (2 * (count + 1) <= capacity) {
            const size_type free = capacity - count;
            const size_type centredHead = atFront ? (free + 1) / 2 : free / 2;
            T* data = Data();
            if (count) std::memmove(data + centredHead, data + head, count * sizeof(T));
            head = centredHead;
            return;
        }
        const size_type grownCapacity = capacity * 2;
        const size_type grownHead = atFront ? head + (grownCapacity - capacity) : head;
        T* grown = new T[grownCapacity];
        if (count) std::memcpy(grown + grownHead, Data() + head, count * sizeof(T));
        delete[] heap;
        heap = grown;
        capacity = grownCapacity;
        head = grownHead;
    }

    T inlineValues[N];
    T* heap = nullptr;
    size_type capacity = N;
    size_type head = 0;
    size_type count = 0;
};

template <typename T, std::size_t N>
bool operator==(const FigureSequence<T, N>& a, const FigureSequence<T, N>& b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (!(a[i] == b[i])) return false;
    }
    return true;
}

template <typename T, std::size_t N>
bool operator!=(const FigureSequence<T, N>& a, const FigureSequence<T, N>& b) {
    return !(a == b);
}

// Compares with a deque of the same values, the form these sequences had
// before they kept values inline.
template <typename T, std::size_t N>
bool operator==(const FigureSequence<T, N>& a, const std::deque<T>& b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (!(a[i] == b[i])) return false;
    }
    return true;
}

template <typename T, std::size_t N>
bool operator==(const std::deque<T>& a, const FigureSequence<T, N>& b) {
    return b == a;
}

template <typename T, std::size_t N>
bool operator!=(const FigureSequence<T, N>& a, const std::deque<T>& b) {
    return !(a == b);
}

template <typename T, std::size_t N>
bool operator!=(const std::deque<T>& a, const FigureSequence<T, N>& b) {
    return !(b == a);
}

// One subpath as plain data. The first point is the start point; a line
// command owns the next point, a curve command the next three (control,
// control, end). Readers skip command values other than the two below.
//
// Both sequences are double-ended because the stroker builds one side of an
// outline from the back to the front.
class Figure {
public:
    enum : std::int32_t { Line = 0, Curve = 1 };

    // Room for an ellipse's points, and for the commands of the outer side
    // of a stroked rectangle (up to twelve), which the pen builds per stroke.
    FigureSequence<std::int32_t, 16> commands;
    FigureSequence<Point<float>, 16> points;
    bool closed = false;

    // Reset, then p is the only point.
    void StartAt(const Point<float>& p);
    void Reset();
    void Close() { closed = true; }

    // Nothing when p is exactly the last point.
    void LineTo(const Point<float>& p) {
        if (!points.empty() && points.back().x == p.x && points.back().y == p.y) return;
        commands.push_back(Line);
        points.push_back(p);
    }
    // Always appended, even when every point coincides.
    void CurveTo(const Point<float>& c1, const Point<float>& c2, const Point<float>& p);
    // Nothing when p is exactly the first point; else p becomes the new start.
    void LineToReverse(const Point<float>& p);
    // Puts a, b, c at the front in that order, with a curve command.
    void CurveToReverse(const Point<float>& a, const Point<float>& b, const Point<float>& c);

    // Appends other: a line to its start (dropped when it coincides), then its
    // segments. An empty figure takes other's start as its own.
    void JoinFigure(const std::shared_ptr<Figure>& other);
    // Puts other, reversed, ahead of this figure. Meant for figures of lines:
    // the point block of a curve keeps its stored order.
    void JoinFigureReverse(const std::shared_ptr<Figure>& other);
    void JoinFigureReverse(const Figure& other);

    bool GetStartPoint(Point<float>* point) const;
    // A closed figure ends where it started.
    bool GetLastPoint(Point<float>* point) const;

    // Exact compare of everything; NaN compares unequal.
    bool IsEqual(const std::shared_ptr<Figure>& other) const;
    // See Geometry::IsRectangle. The closed flag is not looked at.
    bool IsRectangle(const Matrix& matrix, Rect<float>* rect) const;

    void SendToSink(const std::shared_ptr<GeometrySink>& sink) const;
};

}  // namespace Graphics

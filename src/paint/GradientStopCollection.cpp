#include "Graphics/Gradient.h"

#include <iterator>

#include "core/PackedColor.h"

namespace Graphics {

namespace {

// Truncates toward zero and keeps the low eight bits. Values an int cannot
// hold (infinite or NaN ratios from extreme offsets) give 0 instead of
// undefined behaviour.
unsigned int _LowByte(float v) {
    if (!(v > -2147483648.0f && v < 2147483648.0f)) return 0;
    return static_cast<unsigned int>(static_cast<int>(v)) & 0xFFu;
}

}  // namespace

void GradientStopCollection::InsertStops(const GradientStop* stops, unsigned long count) {
    if (stops == nullptr) return;
    for (unsigned long i = 0; i < count; ++i) InsertStop(stops[i]);
}

void GradientStopCollection::InsertStop(const GradientStop& stop) { InsertStop(stop.offset, stop.color); }

void GradientStopCollection::InsertStop(float offset, unsigned int argb) {
    // A multimap puts a new key after the existing equal keys, which keeps
    // stops at one offset in their order of insertion.
    m_Stops.insert(StopMap::value_type(offset, argb));
}

void GradientStopCollection::InsertStop(float offset, const Color& color) { InsertStop(offset, color.ToARGB()); }

unsigned int GradientStopCollection::GetColor(float t) const {
    if (m_Stops.empty()) return 0;

    // First stop whose offset is not below t (the earliest inserted of equals).
    const StopMap::const_iterator next = m_Stops.lower_bound(t);
    if (next == m_Stops.end()) return 0;
    if (next->first == t) return next->second;
    // Below the first stop there is no previous colour to blend from; the
    // first stop's colour is the natural answer. (A NaN t lands here too.)
    if (next == m_Stops.begin()) return next->second;

    const StopMap::const_iterator previous = std::prev(next);
    const float ratio = (next->first - t) / (next->first - previous->first);
    const unsigned int f = _LowByte(ratio * 255.0f);
    if (f == 255) return previous->second;

    // The weights f + 1 and 256 - f sum to 257; the truncations keep each
    // byte of the sum within 255, so plain addition does not carry.
    const unsigned int nextPart = (f == 0) ? next->second : ScaleColor(next->second, 256 - f);
    return ScaleColor(previous->second, f + 1) + nextPart;
}

GradientStopCollection::StopMap GradientStopCollection::GetStopsCollection() const { return m_Stops; }

}  // namespace Graphics

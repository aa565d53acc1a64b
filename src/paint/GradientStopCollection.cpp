#include "Graphics/Gradient.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "core/PackedColor.h"
#include "paint/GradientStopLookup.h"

namespace Graphics {

void GradientStopCollection::InsertStops(const GradientStop* stops, unsigned long count) {
    if (stops == nullptr) return;
    for (unsigned long i = 0; i < count; ++i) InsertStop(stops[i]);
}

void GradientStopCollection::InsertStop(const GradientStop& stop) { InsertStop(stop.offset, stop.color); }

void GradientStopCollection::InsertStop(float offset, unsigned int argb) {
    // Room first, so that an allocation failure leaves map and arrays alike.
    const size_t size = m_Offsets.size() + 1;
    m_Offsets.reserve(size);
    m_Colors.reserve(size);
    m_Spans.reserve(size);

    // A multimap puts a new key after the existing equal keys, which keeps
    // stops at one offset in their order of insertion.
    m_Stops.insert(StopMap::value_type(offset, argb));
    if (std::isnan(offset)) {
        m_HasNaN = true;
        return;
    }

    // The arrays follow the map: after the equal offsets, like the map.
    const size_t at = static_cast<size_t>(std::upper_bound(m_Offsets.begin(), m_Offsets.end(), offset) -
                                          m_Offsets.begin());
    m_Offsets.insert(m_Offsets.begin() + static_cast<std::ptrdiff_t>(at), offset);
    m_Colors.insert(m_Colors.begin() + static_cast<std::ptrdiff_t>(at), argb);
    m_Spans.insert(m_Spans.begin() + static_cast<std::ptrdiff_t>(at), 0.0f);
    for (size_t i = (at == 0 ? 1 : at); i <= at + 1 && i < m_Offsets.size(); ++i)
        m_Spans[i] = m_Offsets[i] - m_Offsets[i - 1];
}

void GradientStopCollection::InsertStop(float offset, const Color& color) { InsertStop(offset, color.ToARGB()); }

unsigned int GradientStopCollection::GetColor(float t) const { return GradientStopLookup(this).Straight(t); }

GradientStopCollection::StopMap GradientStopCollection::GetStopsCollection() const { return m_Stops; }

uint32_t GradientStopLookup::MapLookup(const GradientStopCollection::StopMap& stops, float t) {
    if (stops.empty()) return 0;

    // First stop whose offset is not below t (the earliest inserted of equals).
    const auto next = stops.lower_bound(t);
    if (next == stops.end()) return 0;
    if (next->first == t) return next->second;
    // Below the first stop there is no previous colour to blend from; the
    // first stop's colour is the natural answer. (A NaN t lands here too.)
    if (next == stops.begin()) return next->second;

    const auto previous = std::prev(next);
    const float ratio = (next->first - t) / (next->first - previous->first);
    return Blend(previous->second, next->second, LowByte(ratio * 255.0f));
}

}  // namespace Graphics

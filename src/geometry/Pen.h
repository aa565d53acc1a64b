#pragma once

#include "Graphics/Geometry.h"
#include "geometry/Figure.h"

#include <memory>

namespace Graphics {

// Offsets a path by half the width on both sides and sends, per figure, the
// outline that covers the stroke when filled with the Winding rule. Joins are
// added on the outer side of each turn only; the inner side simply crosses
// itself. Caps close open figures. The output contains only lines.
//
// An open figure gives one closed outline: one side, the end cap, the other
// side reversed, the start cap. A closed figure gives two closed outlines, the
// outer and the inner one in opposite directions. A figure without a real
// segment gives a dot under Round caps and nothing otherwise.
//
// Curves are flattened at the tolerance, and no join is made anywhere inside
// or at the start of a curve: the sides of consecutive chords just connect.
// Only a LineTo makes a join at the point it starts from.
class Pen : public GeometrySink {
public:
    // Round joins and caps use at most this many chords for a full turn. The
    // chord count otherwise grows with the square root of half width over
    // tolerance; the bound only comes into play for strokes some 10^5 times
    // wider than the tolerance (and for a zero tolerance), where it keeps the
    // work per join fixed.
    static constexpr int MaxChordsPerTurn = 1024;
    // All the round joins and caps of one Pen together get at most this many
    // chords; once they are spent, a round cap takes the least two chords and
    // a round join one (a bevel). Without it, a dash pattern far finer than
    // a wide round-capped stroke (width 1e6, dashes of 1e-3) would spend
    // half a minute on caps nobody can tell apart. Ordinary strokes stay far
    // below it.
    static constexpr unsigned long MaxRoundChords = 1ul << 23;

    Pen(float tolerance, float width, LineCap::Enum cap, LineJoin::Enum join, float miterLimit,
        std::shared_ptr<GeometrySink> sink);
    ~Pen() override;

    // The fill rule of the source means nothing for the outline, which needs
    // Winding: it is not passed on.
    void SetFillRule(FillRule::Enum rule) override;
    void BeginFigure(const Point<float>& point) override;
    void EndFigure() override;
    void EndFigureClose() override;
    void LineTo(const Point<float>& point) override;
    void CurveTo(const Point<float>& control1, const Point<float>& control2, const Point<float>& end) override;

    // Lets the pen leave out the sides of curve chords that cannot reach the
    // visible rectangle: `toDevice` takes the pen's points to the space of
    // `visible`, where the outline is filled. A run of chords whose points
    // all lie beyond one side of it, farther than half the width (and than
    // the float error of the mapping), adds side points only inside that
    // half-plane. The pen's own state (current, previous, second point)
    // moves on as before, so every join and cap comes out the same, and
    // leaving the run's side points out changes the outline by closed loops
    // inside the half-plane, which wind round no visible point: the fill
    // stays the same pixel for pixel. Without a finite reach nothing is left
    // out.
    void SetVisible(const Matrix& toDevice, const Rect<float>& visible);

    // The vector of length half width at a right angle to the segment a to b,
    // pointing to the side called left here: ((a.y - b.y) * s, (b.x - a.x) * s)
    // with s = half width / |b - a|.
    Point<float> GetOffsetVector(const Point<float>& a, const Point<float>& b) const;

private:
    void AdvanceTo(const Point<float>& point, bool join);
    // The join at B of the path A, B, D; adds points only when the path turns
    // with a positive cross product, so of the two calls per corner (one with
    // the path reversed) only the one on the outer side adds anything.
    void DoJoin(LineJoin::Enum style, const Point<float>& a, const Point<float>& b, const Point<float>& d,
                Figure& figure);
    void DoMiterJoin(const Point<float>& a, const Point<float>& b, const Point<float>& d, Figure& figure) const;
    void DoRoundJoin(const Point<float>& a, const Point<float>& b, const Point<float>& d, Figure& figure);
    // The cap at B for travel from A to B; with reverse, points go to the front
    // of the figure.
    void DoCap(LineCap::Enum style, const Point<float>& a, const Point<float>& b, bool reverse, Figure& figure);
    void DoSquareCap(const Point<float>& a, const Point<float>& b, bool reverse, Figure& figure) const;
    void DoRoundCap(const Point<float>& a, const Point<float>& b, bool reverse, Figure& figure);
    // The angle of one chord of a round join or cap, bounded below.
    float GetRoundStep() const;
    // Takes n chords from the round budget, or gives least when it cannot.
    int SpendRoundChords(int n, int least);
    void FinishOpenFigure();
    void ProcessDegenerateSegment();

    // Which sides of the visible rectangle p lies beyond, out of reach, one
    // bit each; only under SetVisible.
    unsigned Beyond(const Point<float>& p) const;
    // runBeyond before it is worked out for the current point.
    static constexpr unsigned kBeyondUnknown = 16;

    float tolerance;
    LineCap::Enum cap;
    LineJoin::Enum join;
    float miterLimit;
    float halfWidth;
    Point<float> startPoint;
    Point<float> secondPoint;
    Point<float> previousPoint;
    Point<float> currentPoint;
    // The two sides of the present figure, kept from figure to figure for
    // their room; they hold a figure's points exactly while hasSides.
    Figure left;
    Figure right;
    bool hasSides = false;
    std::shared_ptr<GeometrySink> sink;
    unsigned long roundChordsLeft = MaxRoundChords;
    // SetVisible's mapping, its rectangle, and how far the outline reaches
    // from the path in that space.
    bool culling = false;
    Matrix toDevice;
    Rect<float> visible;
    float deviceReach = 0.0f;
    // The sides that every point since the last chord with sides lies
    // beyond, or kBeyondUnknown.
    unsigned runBeyond = kBeyondUnknown;
};

}  // namespace Graphics

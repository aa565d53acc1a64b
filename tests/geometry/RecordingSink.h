#pragma once

#include "Graphics/Geometry.h"

#include <ostream>
#include <vector>

namespace GraphicsTest {

using Graphics::FillRule;
using Graphics::Point;

// One call on a sink, with its arguments.
struct SinkEvent {
    enum Kind { Rule, Begin, End, Close, Line, Curve, BeginGeometry, EndGeometry };
    Kind kind = End;
    int rule = 0;
    Point<float> p[3];

    // Exact float compare, NaN unequal.
    bool operator==(const SinkEvent& o) const {
        if (kind != o.kind || rule != o.rule) return false;
        for (int i = 0; i < 3; ++i)
            if (!(p[i].x == o.p[i].x && p[i].y == o.p[i].y)) return false;
        return true;
    }
};

inline std::ostream& operator<<(std::ostream& os, const SinkEvent& e) {
    static const char* names[] = {"Rule", "Begin", "End", "Close", "Line", "Curve", "BeginGeometry", "EndGeometry"};
    os << names[e.kind];
    if (e.kind == SinkEvent::Rule) os << "(" << e.rule << ")";
    const int n = e.kind == SinkEvent::Curve ? 3 : (e.kind == SinkEvent::Begin || e.kind == SinkEvent::Line) ? 1 : 0;
    for (int i = 0; i < n; ++i) os << " (" << e.p[i].x << ", " << e.p[i].y << ")";
    return os;
}

inline SinkEvent RuleEvent(int rule) {
    SinkEvent e;
    e.kind = SinkEvent::Rule;
    e.rule = rule;
    return e;
}
inline SinkEvent BeginEvent(float x, float y) {
    SinkEvent e;
    e.kind = SinkEvent::Begin;
    e.p[0] = Point<float>(x, y);
    return e;
}
inline SinkEvent LineEvent(float x, float y) {
    SinkEvent e;
    e.kind = SinkEvent::Line;
    e.p[0] = Point<float>(x, y);
    return e;
}
inline SinkEvent CurveEvent(float x1, float y1, float x2, float y2, float x3, float y3) {
    SinkEvent e;
    e.kind = SinkEvent::Curve;
    e.p[0] = Point<float>(x1, y1);
    e.p[1] = Point<float>(x2, y2);
    e.p[2] = Point<float>(x3, y3);
    return e;
}
inline SinkEvent EndEvent() {
    SinkEvent e;
    e.kind = SinkEvent::End;
    return e;
}
inline SinkEvent CloseEvent() {
    SinkEvent e;
    e.kind = SinkEvent::Close;
    return e;
}

// Keeps every event it receives.
class RecordingSink : public Graphics::TessellationSink {
public:
    void SetFillRule(FillRule::Enum rule) override { events.push_back(RuleEvent(rule)); }
    void BeginFigure(const Point<float>& p) override { events.push_back(BeginEvent(p.x, p.y)); }
    void EndFigure() override { events.push_back(EndEvent()); }
    void EndFigureClose() override { events.push_back(CloseEvent()); }
    void LineTo(const Point<float>& p) override { events.push_back(LineEvent(p.x, p.y)); }
    void CurveTo(const Point<float>& a, const Point<float>& b, const Point<float>& c) override {
        events.push_back(CurveEvent(a.x, a.y, b.x, b.y, c.x, c.y));
    }
    void BeginGeometry() override {
        SinkEvent e;
        e.kind = SinkEvent::BeginGeometry;
        events.push_back(e);
    }
    void EndGeometry() override {
        SinkEvent e;
        e.kind = SinkEvent::EndGeometry;
        events.push_back(e);
    }

    std::vector<SinkEvent> events;
};

// Counts lines only, for streams too long to keep.
class CountingSink : public Graphics::GeometrySink {
public:
    void SetFillRule(FillRule::Enum) override {}
    void BeginFigure(const Point<float>&) override { ++figures; }
    void EndFigure() override {}
    void EndFigureClose() override {}
    void LineTo(const Point<float>& p) override {
        ++lines;
        last = p;
    }
    void CurveTo(const Point<float>&, const Point<float>&, const Point<float>&) override { ++curves; }

    unsigned long figures = 0, lines = 0, curves = 0;
    Point<float> last;
};

}  // namespace GraphicsTest

#pragma once

#include "Graphics/Geometry.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <ostream>
#include <vector>

namespace GraphicsTest {

using Graphics::FillRule;
using Graphics::GeometrySink;
using Graphics::Point;

const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();

// One call on a sink, with its arguments.
struct SinkEvent {
    enum Kind { Rule, Begin, End, Close, Line, Curve };
    Kind kind;
    Point<float> p[3];
    int rule;

    // Within tol on every coordinate (exact for 0, NaN unequal).
    bool Near(const SinkEvent& o, float tol) const {
        for (int i = 0; i < 3; ++i)
            if (!(std::fabs(p[i].x - o.p[i].x) <= tol && std::fabs(p[i].y - o.p[i].y) <= tol)) return false;
        return kind == o.kind && rule == o.rule;
    }
    bool operator==(const SinkEvent& o) const { return Near(o, 0); }
};
using Events = std::vector<SinkEvent>;

inline std::ostream& operator<<(std::ostream& os, const SinkEvent& e) {
    os << "RBECLQ"[e.kind];
    if (e.kind == SinkEvent::Rule) os << e.rule;
    const int points = e.kind == SinkEvent::Curve ? 3 : e.kind == SinkEvent::Begin || e.kind == SinkEvent::Line ? 1 : 0;
    for (int i = 0; i < points; ++i) os << " (" << e.p[i].x << ", " << e.p[i].y << ")";
    return os;
}

inline SinkEvent R(int rule) { return {SinkEvent::Rule, {}, rule}; }
inline SinkEvent B(float x, float y) { return {SinkEvent::Begin, {{x, y}}, 0}; }
inline SinkEvent L(float x, float y) { return {SinkEvent::Line, {{x, y}}, 0}; }
inline SinkEvent Q(float x1, float y1, float x2, float y2, float x3, float y3) {
    return {SinkEvent::Curve, {{x1, y1}, {x2, y2}, {x3, y3}}, 0};
}
inline SinkEvent E() { return {SinkEvent::End, {}, 0}; }
inline SinkEvent C() { return {SinkEvent::Close, {}, 0}; }

// Keeps every event it receives.
class RecordingSink : public GeometrySink {
public:
    void SetFillRule(FillRule::Enum rule) override { events.push_back(R(rule)); }
    void BeginFigure(const Point<float>& p) override { events.push_back(B(p.x, p.y)); }
    void EndFigure() override { events.push_back(E()); }
    void EndFigureClose() override { events.push_back(C()); }
    void LineTo(const Point<float>& p) override { events.push_back(L(p.x, p.y)); }
    void CurveTo(const Point<float>& a, const Point<float>& b, const Point<float>& c) override {
        events.push_back(Q(a.x, a.y, b.x, b.y, c.x, c.y));
    }
    Events events;
};

// Counts instead, for streams too long to keep.
class CountingSink : public GeometrySink {
public:
    void SetFillRule(FillRule::Enum) override {}
    void BeginFigure(const Point<float>&) override { ++figures; }
    void EndFigure() override {}
    void EndFigureClose() override {}
    void LineTo(const Point<float>& p) override { ++lines; last = p; }
    void CurveTo(const Point<float>&, const Point<float>&, const Point<float>&) override { ++curves; }
    unsigned long figures = 0, lines = 0, curves = 0;
    Point<float> last;
};

// What a stage sends on for the events that path gives it.
inline Events Through(const std::function<void(GeometrySink&)>& path,
                      const std::function<std::shared_ptr<GeometrySink>(std::shared_ptr<GeometrySink>)>& stage) {
    auto sink = std::make_shared<RecordingSink>();
    path(*stage(sink));
    return sink->events;
}

// The same kinds in the same order, points equal within tol.
inline void ExpectEvents(const Events& actual, const Events& expected, float tol = 0.0f) {
    bool same = actual.size() == expected.size();
    for (std::size_t i = 0; same && i < actual.size(); ++i) same = actual[i].Near(expected[i], tol);
    EXPECT_TRUE(same) << ::testing::PrintToString(actual) << "\n against " << ::testing::PrintToString(expected);
}

// Begins a figure at the first point and draws lines through the rest.
inline void Polyline(GeometrySink& sink, std::initializer_list<Point<float>> points, bool close = false) {
    sink.BeginFigure(*points.begin());
    for (auto p = points.begin() + 1; p != points.end(); ++p) sink.LineTo(*p);
    close ? sink.EndFigureClose() : sink.EndFigure();
}

}  // namespace GraphicsTest

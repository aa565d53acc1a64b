#include "TargetTestSupport.h"
#include <cmath>

using namespace Graphics;
using namespace TargetTest;

namespace {
// Rotation by the helpers: sine and cosine in double, narrowed.
Matrix Turn(double angle) {
    const float s = static_cast<float>(std::sin(angle)), c = static_cast<float>(std::cos(angle));
    return Matrix(c, s, -s, c, 0, 0);
}
}  // namespace

// The facade (RenderTarget) and the back end's helpers (RenderTargetBase) are
// separate code; each case runs through both.
TEST(RenderTargetTransform, ProductsPrependTheArgument) {
    for (int facade = 0; facade < 2; ++facade) {
        Canvas canvas(4, 4);
        RenderTargetBase& base = *SwOf(canvas.target);
        auto apply = [&](const Matrix& start, auto&& action) {
            canvas.target.SetTransform(start);
            facade ? action(canvas.target) : action(base);
            return canvas.target.GetTransform();
        };
        // The argument acts first: scaling after a move by 10 keeps dx at 10.
        EXPECT_EQ(apply(Matrix(1, 0, 0, 1, 10, 0), [](auto& t) { t.ScaleTransform(2.0f, 3.0f); }),
                  Matrix(2, 0, 0, 3, 10, 0));
        EXPECT_EQ(apply(Matrix(2, 0, 0, 2, 0, 0), [](auto& t) { t.TranslateTransform(3.0f, -4.0f); }),
                  Matrix(2, 0, 0, 2, 6, -8));
        EXPECT_EQ(apply(Matrix(1, 0, 0, 1, 1, 1), [](auto& t) { t.MultiplyTransform(Matrix(0, 1, -1, 0, 2, 0)); }),
                  Matrix(0, 1, -1, 0, 3, 1));
        // Neutral arguments change nothing; a full turn reduces to exactly 0; a
        // tiny angle whose cosine rounds to 1 still turns.
        EXPECT_EQ(apply(Matrix(), [](auto& t) { t.RotateTransform(6.2831855f), t.ScaleTransform(1.0f, 1.0f); }),
                  Matrix());
        EXPECT_NE(apply(Matrix(), [](auto& t) { t.RotateTransform(1e-6f); }).m12, 0.0f);
    }
    Canvas canvas(4, 4);
    canvas.target.SetTransform(Matrix(1, 0, 0, 1, 5, 7));
    canvas.target.ReflectXTransform();
    canvas.target.MultiplyTransform(Matrix(0, 1, -1, 0, 2, 0));
    EXPECT_EQ(canvas.target.GetTransform(), Matrix(0, 1, 1, 0, 3, 7));  // the turn first, then the mirror
    canvas.target.ReflectYTransform();
    EXPECT_EQ(canvas.target.GetTransform(), Matrix(0, 1, -1, 0, 3, 7));
}

TEST(RenderTargetTransform, RotationsAndCentres) {
    // From a full turn on the angle is reduced by fmod with the float value
    // of 2 pi, visible in the last bits; negative angles go in as they are.
    const double fullTurn = static_cast<double>(6.2831855f);
    Canvas canvas(4, 4);
    for (float angle : {7.0f, -7.0f, static_cast<float>(M_PI / 2)})
        for (int facade = 0; facade < 2; ++facade) {
            canvas.target.SetTransform(Matrix());
            facade ? canvas.target.RotateTransform(angle) : SwOf(canvas.target)->RotateTransform(angle);
            EXPECT_EQ(canvas.target.GetTransform(), Turn(angle >= fullTurn ? std::fmod(double(angle), fullTurn) : angle))
                << angle;
        }
    EXPECT_NE(Turn(std::fmod(7.0, fullTurn)).m12, Turn(7.0).m12);  // the reduction shows
    // Scaling and turning about a centre keep the centre, given in the current user space.
    canvas.target.SetTransform(Matrix());
    canvas.target.ScaleTransform(3.0f, 0.5f, Point<float>(10.0f, 20.0f));
    EXPECT_EQ(canvas.target.GetTransform(), Matrix(3, 0, 0, 0.5f, -20, 10));
    canvas.target.SetTransform(Matrix(2, 0, 0, 2, 100, 0));
    canvas.target.RotateTransform(7.0f, Point<float>(5.0f, 5.0f));
    const Point<float> p = canvas.target.GetTransform().Transform(Point<float>(5, 5));
    const Point<float> q = canvas.target.GetTransform().Transform(Point<float>(15, 5));
    EXPECT_NEAR(p.x, 110.0f, 1e-4f);
    EXPECT_NEAR(p.y, 10.0f, 1e-4f);
    EXPECT_NEAR(q.x - p.x, 20.0 * std::cos(std::fmod(7.0, fullTurn)), 1e-4);
    EXPECT_NEAR(q.y - p.y, 20.0 * std::sin(std::fmod(7.0, fullTurn)), 1e-4);
}

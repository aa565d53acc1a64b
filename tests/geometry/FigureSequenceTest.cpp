#include "geometry/Figure.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <deque>
#include <limits>
#include <random>

using namespace Graphics;

namespace {

template <typename Seq, typename T>
void ExpectSame(const Seq& s, const std::deque<T>& d) {
    ASSERT_EQ(s.size(), d.size());
    ASSERT_EQ(s.empty(), d.empty());
    for (std::size_t i = 0; i < d.size(); ++i) ASSERT_EQ(s[i], d[i]) << i;
    if (!d.empty()) {
        EXPECT_EQ(s.front(), d.front());
        EXPECT_EQ(s.back(), d.back());
    }
    std::size_t n = 0;
    for (const T& v : s) {
        ASSERT_EQ(v, d[n]);
        n += 1;
    }
    EXPECT_EQ(n, d.size());
    EXPECT_TRUE(s == d);
    EXPECT_TRUE(d == s);
}

}  // namespace

// Random pushes at both ends, clears, copies and assignments, checked step by
// step against a deque, across the inline room and several growths.
TEST(FigureSequence, MatchesDeque) {
    std::mt19937 rng(12345);
    for (int round = 0; round < 200; ++round) {
        FigureSequence<std::int32_t, 4> s;
        std::deque<std::int32_t> d;
        const int steps = static_cast<int>(rng() % 300);
        for (int step = 0; step < steps; ++step) {
            const std::uint32_t op = rng() % 100;
            const std::int32_t v = static_cast<std::int32_t>(rng());
            if (op < 45) {
                s.push_back(v);
                d.push_back(v);
            } else if (op < 90) {
                s.push_front(v);
                d.push_front(v);
            } else if (op < 92) {
                s.clear();
                d.clear();
            } else if (op < 95) {
                FigureSequence<std::int32_t, 4> copy(s);
                ExpectSame(copy, d);
                copy.push_front(v);
                copy.push_back(v);
                EXPECT_EQ(copy.size(), d.size() + 2);
                s = copy;
                d.push_front(v);
                d.push_back(v);
            } else if (op < 97) {
                s = {v, 1, 2};
                d = {v, 1, 2};
            } else {
                FigureSequence<std::int32_t, 4> other;
                for (int k = 0; k < static_cast<int>(rng() % 12); ++k) other.push_front(k);
                other = s;
                s = other;
            }
            ExpectSame(s, d);
            if (HasFatalFailure()) return;
        }
    }
}

TEST(FigureSequence, PointsAndEquality) {
    FigureSequence<Point<float>, 2> a;
    a.push_back({1, 2});
    a.push_front({0, 0});
    a.push_back({3, 4});
    a.push_front({-1, -1});
    EXPECT_TRUE(a == (std::deque<Point<float>>{{-1, -1}, {0, 0}, {1, 2}, {3, 4}}));
    EXPECT_FALSE(a == (std::deque<Point<float>>{{-1, -1}, {0, 0}, {1, 2}}));
    FigureSequence<Point<float>, 2> b = a;
    EXPECT_TRUE(a == b);
    b[1].x = 7;
    EXPECT_TRUE(a != b);
    EXPECT_EQ(a[1].x, 0.0f);
    const FigureSequence<Point<float>, 2>& alias = a;
    a = alias;
    EXPECT_EQ(a.size(), 4u);
    const float nan = std::numeric_limits<float>::quiet_NaN();
    FigureSequence<Point<float>, 2> n{{nan, 0}};
    EXPECT_FALSE(n == n);
}

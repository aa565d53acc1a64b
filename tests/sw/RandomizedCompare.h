#pragma once

// One harness for holding a fast path against a plain reference on random
// inputs: each round draws a case, runs both, and the words must agree.

#include <gtest/gtest.h>
#include <cstddef>
#include <cstdint>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace RandomizedCompare {

typedef std::vector<uint32_t> Words;
struct Round {
    explicit Round(std::mt19937& r) : random(r) {}
    // Keeps the first mismatch of the round.
    void Compare(const char* path, const Words& fast, const Words& reference) {
        if (!failure.empty() || fast == reference) return;
        std::ostringstream out;
        out << path << ": " << fast.size() << " words, reference " << reference.size();
        for (std::size_t i = 0; i < fast.size() && i < reference.size(); ++i)
            if (fast[i] != reference[i]) {
                out << "; at " << i << ": " << std::hex << fast[i] << " instead of " << reference[i];
                break;
            }
        failure = out.str();
    }
    std::mt19937& random;
    std::ostringstream note;  // the case, for the failure message
    std::string failure;
};
template <class Body>
::testing::AssertionResult AllRoundsMatch(uint32_t seed, int rounds, Body body) {
    std::mt19937 random(seed);
    for (int i = 0; i < rounds; ++i) {
        Round round(random);
        body(round);
        if (!round.failure.empty())
            return ::testing::AssertionFailure() << "round " << i << " (" << round.note.str() << "): " << round.failure;
    }
    return ::testing::AssertionSuccess();
}
// From lo to hi, both included.
inline int Int(std::mt19937& random, int lo, int hi) {
    return lo + static_cast<int>(random() % static_cast<uint32_t>(hi - lo + 1));
}
template <class T, std::size_t N>
T Pick(std::mt19937& random, const T (&values)[N]) {
    return values[random() % N];
}
// Often one of the composites' special cases: alpha 0 with colour left over,
// opaque, alpha 1.
inline uint32_t Word(std::mt19937& random) {
    const uint32_t w = static_cast<uint32_t>(random());
    switch (random() % 5) {
        case 0: return w & 0x00FFFFFFu;
        case 1: return w | 0xFF000000u;
        case 2: return w & 0x01FFFFFFu;
        default: return w;
    }
}
// A coverage byte, 0 and 255 as often as all others together.
inline unsigned char Shape(std::mt19937& random) {
    const uint32_t kind = random() % 4;
    return kind == 0 ? 0 : kind == 1 ? 255 : static_cast<unsigned char>(random());
}

}  // namespace RandomizedCompare

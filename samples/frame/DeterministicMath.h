#pragma once

// The functions of the picture's mathematics whose last bit differs between C libraries, made of
// the operations that IEEE 754 defines to the bit: + - * / and the square root.

#include <cmath>

namespace frame {

// The sine of an angle given in turns (1 is the full circle). Taylor's series over a quarter turn;
// the error is below 1e-9.
inline double SinTurns(double turns) {
    double t = turns - std::floor(turns + 0.5);
    if (t > 0.25) {
        t = 0.5 - t;
    } else if (t < -0.25) {
        t = -0.5 - t;
    }
    const double x = t * 6.283185307179586;
    const double s = x * x;
    double sum = -1.0 / 1307674368000.0;
    for (const double factor : {1.0 / 6227020800.0, -1.0 / 39916800.0, 1.0 / 362880.0,
                                -1.0 / 5040.0, 1.0 / 120.0, -1.0 / 6.0, 1.0}) {
        sum = sum * s + factor;
    }
    return sum * x;
}

inline double CosTurns(double turns) {
    return SinTurns(turns + 0.25);
}

// The base to the power of 2^doublings.
inline float PowerOfTwoPower(float base, int doublings) {
    for (int i = 0; i < doublings; ++i) {
        base *= base;
    }
    return base;
}

// The sRGB transfer function for 0 <= linear <= 1 as a fit of three nested square roots; at most
// half a step of 255 off the exact curve above the darkest steps.
inline float EncodeSrgb(float linear) {
    const float a = std::sqrt(linear);
    const float b = std::sqrt(a);
    const float c = std::sqrt(b);
    const float fit =
        0.662002687f * a + 0.684122060f * b - 0.323583601f * c - 0.0225411470f * linear;
    return linear < 0.0031308f ? 12.92f * linear : fit;
}

}  // namespace frame

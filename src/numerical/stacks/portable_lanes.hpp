#pragma once

// Vectors of two doubles, which every x86-64 processor has, under the names that the lane kernels
// use. Unnamed, as the other widths are.

#include <cstddef>

namespace numerical::detail {
namespace {

struct lanes
{
    using vector [[gnu::vector_size(16)]] = double;
    using mask [[gnu::vector_size(16)]] = long long;
    static constexpr std::size_t width = 2;
    static constexpr bool fuses = false;

    static vector load(const double* x)
    {
        vector v;
        __builtin_memcpy(&v, x, sizeof v);
        return v;
    }

    static void store(double* x, vector v) { __builtin_memcpy(x, &v, sizeof v); }

    static vector all(double x) { return vector{x, x}; }

    static vector plus(vector a, vector b) { return a + b; }

    static vector minus(vector a, vector b) { return a - b; }

    static vector times(vector a, vector b) { return a * b; }

    static vector over(vector a, vector b) { return a / b; }

    static vector root(vector a) { return vector{__builtin_sqrt(a[0]), __builtin_sqrt(a[1])}; }

    static vector negated(vector a) { return -a; }

    static vector magnitude(vector a) { return vector{__builtin_fabs(a[0]), __builtin_fabs(a[1])}; }

    // The portable path fuses nothing.
    static vector more(vector sum, vector a, vector b) { return sum + a * b; }

    static vector less(vector sum, vector a, vector b) { return sum - a * b; }

    static mask none() { return mask{0, 0}; }

    static mask greater(vector a, vector b) { return a > b; }

    static mask at_least(vector a, vector b) { return a >= b; }

    static mask equal(vector a, vector b) { return a == b; }

    static mask is_nan(vector a) { return a != a; }

    static mask either(mask a, mask b) { return a | b; }

    static mask both(mask a, mask b) { return a & b; }

    static mask without(mask a, mask b) { return a & ~b; }

    static mask inverted(mask a) { return ~a; }

    static vector chosen(mask where, vector yes, vector no) { return where ? yes : no; }

    static unsigned bits(mask m)
    {
        return static_cast<unsigned>(-m[0]) | static_cast<unsigned>(-m[1]) << 1;
    }

    static mask from_bits(unsigned bits)
    {
        return mask{-static_cast<long long>(bits & 1), -static_cast<long long>(bits >> 1 & 1)};
    }

    // The first `count` elements, 0 < count <= width, and anything in the lanes after them.
    static vector load_first(const double* x, std::size_t count)
    {
        return count == width ? load(x) : all(x[0]);
    }

    static void store_first(double* x, std::size_t count, vector v)
    {
        for (std::size_t l = 0; l < count; ++l)
            x[l] = v[l];
    }

    static void transpose(vector (&r)[width])
    {
        const vector top = r[0];
        r[0] = vector{top[0], r[1][0]};
        r[1] = vector{top[1], r[1][1]};
    }
};

} // namespace
} // namespace numerical::detail

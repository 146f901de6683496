#pragma once

// One name for the two element types, so that real and complex algorithms are one template.
//
// Products and quotients of std::complex<double> are the built-in ones, which follow C99 Annex G:
// the textbook formula, recovered by __muldc3 if a part is NaN, and __divdc3. That holds only in
// files built without -mfma (g++ 12 fuses complex products there in spite of -ffp-contract=off),
// that is in all but the kernel files. Complex times double multiplies by parts, and differs from
// the product with (x, 0) in signed zeros and NaN.

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>

namespace numerical::detail {

using complex = std::complex<double>;

// 2^-500: magnitudes below it are scaled before they are squared or divided by.
constexpr double tiny_magnitude = 0x1p-500;

inline double conjugate(double x)
{
    return x;
}

inline complex conjugate(const complex& z)
{
    return std::conj(z);
}

// The conjugates of n elements, in their place.
inline void conjugate_all(double*, std::size_t) {}

inline void conjugate_all(complex* z, std::size_t n)
{
    for (std::size_t i = 0; i < n; ++i)
        z[i] = std::conj(z[i]);
}

// The elements as doubles: a complex number is its real part, then its imaginary one.
inline double* as_doubles(double* x)
{
    return x;
}

inline const double* as_doubles(const double* x)
{
    return x;
}

inline double* as_doubles(complex* z)
{
    return reinterpret_cast<double*>(z);
}

inline const double* as_doubles(const complex* z)
{
    return reinterpret_cast<const double*>(z);
}

inline double modulus(double x)
{
    return std::abs(x);
}

// The true modulus, cabs: neither overflows nor underflows where the result does not.
inline double modulus(const complex& z)
{
    return std::abs(z);
}

// max(largest, |z|). The square root is computed only if |Re z| + |Im z| is above `largest`.
inline double larger_modulus(double largest, double x)
{
    const double magnitude = std::abs(x); // std::max takes references, and would go through memory
    return magnitude > largest ? magnitude : largest;
}

inline double larger_modulus(double largest, const complex& z)
{
    if (std::abs(z.real()) + std::abs(z.imag()) <= largest)
        return largest;
    return std::max(largest, std::abs(z));
}

// The largest modulus of n elements, 0 for none. NaN elements are ignored.
template <class T>
double largest_modulus(const T* x, std::size_t n)
{
    constexpr std::size_t lanes = 8; // a single maximum would be bound by latency
    double largest[lanes] = {};
    std::size_t i = 0;
    for (; i + lanes <= n; i += lanes)
        for (std::size_t l = 0; l < lanes; ++l)
            largest[l] = larger_modulus(largest[l], x[i + l]);
    for (; i < n; ++i)
        largest[0] = larger_modulus(largest[0], x[i]);
    return *std::max_element(largest, largest + lanes);
}

// Whether any part of n elements is beyond the limit. NaN is not.
template <class T>
bool any_part_above(const T* x, std::size_t n, double limit)
{
    return largest_modulus(as_doubles(x), n * (sizeof(T) / sizeof(double))) > limit;
}

inline double real_part(double x)
{
    return x;
}

inline double real_part(const complex& z)
{
    return z.real();
}

// Both sign bits flipped: -0.0 for 0.0, and a NaN keeps its payload.
inline double negated(double x)
{
    return -x;
}

inline complex negated(const complex& z)
{
    return {-z.real(), -z.imag()};
}

inline bool is_finite(double x)
{
    return std::isfinite(x);
}

inline bool is_finite(const complex& z)
{
    return std::isfinite(z.real()) && std::isfinite(z.imag());
}

// Whether a part is NaN.
inline bool has_nan(double x)
{
    return std::isnan(x);
}

inline bool has_nan(const complex& z)
{
    return std::isnan(z.real()) || std::isnan(z.imag());
}

// a·b by the textbook formula alone. It equals the built-in product unless that overflows or is
// NaN, and loops over it can be vectorised.
inline double finite_product(double a, double b)
{
    return a * b;
}

inline complex finite_product(const complex& a, const complex& b)
{
    return {a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real()};
}

// x·2^exponent, exact short of overflow and underflow; the power itself need not be a double.
inline double scaled_by_power(double x, int exponent)
{
    return std::scalbn(x, exponent);
}

inline complex scaled_by_power(const complex& z, int exponent)
{
    return {std::scalbn(z.real(), exponent), std::scalbn(z.imag(), exponent)};
}

// The power of two that brings a magnitude below 2^-500 to [1, 2), and 1 for any other; a subnormal
// or zero magnitude counts as the smallest normal number.
double tiny_scale(double magnitude);

// z/|z|, and 1 for zero. Tiny numbers, and those whose modulus overflows, are scaled by a power of
// two first, so that they keep their angle.
double phase_of(double x);
complex phase_of(const complex& z);

} // namespace numerical::detail

#pragma once

// Numbers of the matrices that lie side by side: one real or complex number of each, so that an
// algorithm is written once for all widths and both types. For the kernels' own sources only, after
// the header that defines `lanes`; unnamed, as the vectors are.
//
// An element of a tile is a vector, or for complex numbers the vector of the real parts and that of
// the imaginary ones. Operations are named by their rounding, which is that of the single call:
// `fused` ones fuse on the vector paths, where the portable path rounds twice; `rounded` ones round
// every product and every sum.

#include <cstddef>

namespace numerical::detail {
namespace {

using vector = lanes::vector;
using mask = lanes::mask;

struct real_number
{
    static constexpr std::size_t doubles = 1; // of an element
    static constexpr std::size_t stride = lanes::width;
    vector re;

    static real_number load(const double* x) { return {lanes::load(x)}; }

    static real_number all(double x) { return {lanes::all(x)}; }

    static real_number of_real(vector x) { return {x}; }

    void store(double* x) const { lanes::store(x, re); }

    real_number conjugated() const { return *this; }

    mask has_nan() const { return lanes::is_nan(re); }

    // NaN in lanes that hold an infinity or a NaN, zero in the others.
    vector times_zero() const { return lanes::times(re, lanes::all(0)); }

    static real_number chosen(mask where, real_number yes, real_number no)
    {
        return {lanes::chosen(where, yes.re, no.re)};
    }
};

struct complex_number
{
    static constexpr std::size_t doubles = 2;
    static constexpr std::size_t stride = 2 * lanes::width;
    vector re;
    vector im;

    static complex_number load(const double* x)
    {
        return {lanes::load(x), lanes::load(x + lanes::width)};
    }

    static complex_number all(double x) { return {lanes::all(x), lanes::all(0)}; }

    static complex_number of_real(vector x) { return {x, lanes::all(0)}; }

    void store(double* x) const
    {
        lanes::store(x, re);
        lanes::store(x + lanes::width, im);
    }

    complex_number conjugated() const { return {re, lanes::negated(im)}; }

    mask has_nan() const { return lanes::either(lanes::is_nan(re), lanes::is_nan(im)); }

    vector times_zero() const
    {
        const vector zero = lanes::all(0);
        return lanes::plus(lanes::times(re, zero), lanes::times(im, zero));
    }

    static complex_number chosen(mask where, complex_number yes, complex_number no)
    {
        return {lanes::chosen(where, yes.re, no.re), lanes::chosen(where, yes.im, no.im)};
    }
};

// a·b by the textbook formula.
inline real_number product(real_number a, real_number b)
{
    return {lanes::times(a.re, b.re)};
}

inline complex_number product(complex_number a, complex_number b)
{
    return {lanes::minus(lanes::times(a.re, b.re), lanes::times(a.im, b.im)),
            lanes::plus(lanes::times(a.re, b.im), lanes::times(a.im, b.re))};
}

// How sums gain and lose products. A complex product is fused in two steps, by the real part of its
// first factor, then by the imaginary one.
struct rounded
{
    static real_number more(real_number sum, real_number a, real_number b)
    {
        return {lanes::plus(sum.re, product(a, b).re)};
    }

    static real_number less(real_number sum, real_number a, real_number b)
    {
        return {lanes::minus(sum.re, product(a, b).re)};
    }

    static complex_number more(complex_number sum, complex_number a, complex_number b)
    {
        const complex_number p = product(a, b);
        return {lanes::plus(sum.re, p.re), lanes::plus(sum.im, p.im)};
    }

    static complex_number less(complex_number sum, complex_number a, complex_number b)
    {
        const complex_number p = product(a, b);
        return {lanes::minus(sum.re, p.re), lanes::minus(sum.im, p.im)};
    }
};

struct fused
{
    static real_number more(real_number sum, real_number a, real_number b)
    {
        return {lanes::more(sum.re, a.re, b.re)};
    }

    static real_number less(real_number sum, real_number a, real_number b)
    {
        return {lanes::less(sum.re, a.re, b.re)};
    }

    static complex_number less(complex_number sum, complex_number a, complex_number b)
    {
        if constexpr (!lanes::fuses)
            return rounded::less(sum, a, b);
        return {lanes::more(lanes::less(sum.re, a.re, b.re), a.im, b.im),
                lanes::less(lanes::less(sum.im, a.re, b.im), a.im, b.re)};
    }
};

// rows × cols elements, row-major, rows without gaps.
template <class number>
struct tile
{
    double* first;
    std::size_t cols;

    double* at(std::size_t i, std::size_t j) const
    {
        return first + (i * cols + j) * number::stride;
    }

    number operator()(std::size_t i, std::size_t j) const { return number::load(at(i, j)); }

    void set(std::size_t i, std::size_t j, number x) const { x.store(at(i, j)); }
};

// Lanes that can't be trusted to hold the single call's bits, or that fail: they are done again.
struct suspicion
{
    mask found = lanes::none();

    void add(mask more) { found = lanes::either(found, more); }

    unsigned bits() const { return lanes::bits(found); }
};

// Lanes where an entry of the `count` elements is infinite or NaN.
template <class number>
mask not_finite(const double* first, std::size_t count)
{
    vector sum = lanes::all(0);
    for (std::size_t e = 0; e < count; ++e)
        sum = lanes::plus(sum, number::load(first + e * number::stride).times_zero());
    return lanes::is_nan(sum);
}

// Division by one number for each matrix, by each element's own quotient.
struct real_divisor
{
    vector by;

    explicit real_divisor(real_number divisor) : by(divisor.re) {}

    mask is_unsafe() const { return lanes::none(); }

    real_number divide(real_number x, suspicion&) const { return {lanes::over(x.re, by)}; }
};

// Magnitudes between which, and at zero, no step of a complex quotient overflows or loses digits
// and the formula of Smith (1962) gives the bits of the built-in one.
inline mask is_extreme(vector x)
{
    const vector size = lanes::magnitude(x);
    const mask inside = lanes::both(lanes::at_least(size, lanes::all(0x1p-400)),
                                    lanes::at_least(lanes::all(0x1p400), size));
    return lanes::inverted(lanes::either(inside, lanes::equal(size, lanes::all(0))));
}

// For c + di the quotient is (p + q·ratio)/scale and (q - p·ratio)/scale with (p, q) = (a, b),
// ratio = d/c where |c| >= |d|; with (p, q) = (b, a), ratio = c/d and the other sign of the second
// part elsewhere.
struct complex_divisor
{
    mask by_imag; // |c| < |d|
    vector ratio;
    vector scale;
    mask unsafe;

    explicit complex_divisor(complex_number z)
        : by_imag(lanes::greater(lanes::magnitude(z.im), lanes::magnitude(z.re)))
    {
        const vector greater = lanes::chosen(by_imag, z.im, z.re);
        const vector lesser = lanes::chosen(by_imag, z.re, z.im);
        ratio = lanes::over(lesser, greater);
        scale = lanes::plus(lanes::times(lesser, ratio), greater);
        unsafe = lanes::either(
            lanes::equal(greater, lanes::all(0)),
            lanes::either(lanes::either(is_extreme(z.re), is_extreme(z.im)), is_extreme(ratio)));
    }

    mask is_unsafe() const { return unsafe; }

    complex_number divide(complex_number x, suspicion& suspects) const
    {
        suspects.add(lanes::either(is_extreme(x.re), is_extreme(x.im)));
        const vector p = lanes::chosen(by_imag, x.im, x.re);
        const vector q = lanes::chosen(by_imag, x.re, x.im);
        const vector p_ratio = lanes::times(p, ratio);
        // A difference turned round has the other sign of zero than one that is negated.
        const vector im =
            lanes::chosen(by_imag, lanes::minus(p_ratio, q), lanes::minus(q, p_ratio));
        return {lanes::over(lanes::plus(p, lanes::times(q, ratio)), scale), lanes::over(im, scale)};
    }
};

template <class number>
struct divisor_of;

template <>
struct divisor_of<real_number> : real_divisor
{
    using real_divisor::real_divisor;
};

template <>
struct divisor_of<complex_number> : complex_divisor
{
    using complex_divisor::complex_divisor;
};

} // namespace
} // namespace numerical::detail

#pragma once

// Vectors of numbers for the loops of bidiagonal_step_loops.hpp, real ones or complex ones whose
// parts are vectors of their own. For the kernels' own sources only: unnamed, as the vectors are.

#include "numerical/svd/bidiagonal_step.hpp"

namespace numerical::detail {
namespace {

template <class Lanes>
struct real_numbers
{
    using lanes = Lanes;
    static constexpr std::size_t parts = 1;

    typename Lanes::vector re;

    static real_numbers zero() { return {Lanes::zero()}; }

    static real_numbers load(const double* x) { return {Lanes::load(x)}; }

    static real_numbers all(const double* x) { return {Lanes::all(*x)}; }

    void store(double* x) const { Lanes::store(x, re); }

    // Vector h of each part's line.
    template <class Line>
    void put(Line* lines, std::size_t h) const
    {
        lines[0][h] = re;
    }

    void multiply(typename Lanes::vector by) { re = Lanes::times(re, by); }

    void add(const real_numbers& a) { re = Lanes::plus(re, a.re); }

    void add_product(const real_numbers& a, const real_numbers& b)
    {
        re = Lanes::more(re, a.re, b.re);
    }

    void subtract_product(const real_numbers& a, const real_numbers& b)
    {
        re = Lanes::less(re, a.re, b.re);
    }

    // Of the conjugate of a with b.
    void add_adjoint_product(const real_numbers& a, const real_numbers& b) { add_product(a, b); }
};

template <class Lanes>
struct complex_numbers
{
    using lanes = Lanes;
    static constexpr std::size_t parts = 2;

    typename Lanes::vector re;
    typename Lanes::vector im;

    static complex_numbers zero() { return {Lanes::zero(), Lanes::zero()}; }

    static complex_numbers load(const double* x)
    {
        return {Lanes::load(x), Lanes::load(x + step_row_block)};
    }

    static complex_numbers all(const double* x) { return {Lanes::all(x[0]), Lanes::all(x[1])}; }

    void store(double* x) const
    {
        Lanes::store(x, re);
        Lanes::store(x + step_row_block, im);
    }

    template <class Line>
    void put(Line* lines, std::size_t h) const
    {
        lines[0][h] = re;
        lines[1][h] = im;
    }

    void multiply(typename Lanes::vector by)
    {
        re = Lanes::times(re, by);
        im = Lanes::times(im, by);
    }

    void add(const complex_numbers& a)
    {
        re = Lanes::plus(re, a.re);
        im = Lanes::plus(im, a.im);
    }

    void add_product(const complex_numbers& a, const complex_numbers& b)
    {
        re = Lanes::less(Lanes::more(re, a.re, b.re), a.im, b.im);
        im = Lanes::more(Lanes::more(im, a.re, b.im), a.im, b.re);
    }

    void subtract_product(const complex_numbers& a, const complex_numbers& b)
    {
        re = Lanes::more(Lanes::less(re, a.re, b.re), a.im, b.im);
        im = Lanes::less(Lanes::less(im, a.re, b.im), a.im, b.re);
    }

    // Of the conjugate of a with b.
    void add_adjoint_product(const complex_numbers& a, const complex_numbers& b)
    {
        re = Lanes::more(Lanes::more(re, a.re, b.re), a.im, b.im);
        im = Lanes::less(Lanes::more(im, a.re, b.im), a.im, b.re);
    }
};

} // namespace
} // namespace numerical::detail

#pragma once

// Reflectors down a strip for vectors of any width. For the kernels' own sources only: unnamed, as
// the vectors are.

#include "numerical/nonsymmetric/strip_kernels.hpp"

#include <cstddef>

namespace numerical::detail {
namespace {

// Three vectors of a row.
template <class Lanes>
struct three_vectors
{
    typename Lanes::vector a;
    typename Lanes::vector b;
    typename Lanes::vector c;

    static three_vectors load(const double* x)
    {
        return {Lanes::load(x), Lanes::load(x + Lanes::width), Lanes::load(x + 2 * Lanes::width)};
    }

    void store(double* x) const
    {
        Lanes::store(x, a);
        Lanes::store(x + Lanes::width, b);
        Lanes::store(x + 2 * Lanes::width, c);
    }

    // this - f·x, fused.
    three_vectors less(typename Lanes::vector f, const three_vectors& x) const
    {
        return {Lanes::less(a, f, x.a), Lanes::less(b, f, x.b), Lanes::less(c, f, x.c)};
    }

    three_vectors swapped() const
    {
        return {Lanes::swapped(a), Lanes::swapped(b), Lanes::swapped(c)};
    }
};

template <class Lanes>
void real_columns(double* x, const double* h, std::size_t count)
{
    using row = three_vectors<Lanes>;
    row r0 = row::load(x);
    row r1 = row::load(x + strip_doubles);
    for (std::size_t i = 0; i < count; ++i, h += 5, x += strip_doubles) {
        const row r2 = row::load(x + 2 * strip_doubles);
        row t = r0.less(Lanes::all(-h[1]), r1);
        t = t.less(Lanes::all(-h[2]), r2);
        r0.less(Lanes::all(h[0]), t).store(x);
        r0 = r1.less(Lanes::all(h[3]), t);
        r1 = r2.less(Lanes::all(h[4]), t);
    }
    r0.store(x);
    r1.store(x + strip_doubles);
}

// With x' the parts of x exchanged, conj(w)·x = Re w·x + (Im w, -Im w)∘x' and
// w·t = Re w·t + (-Im w, Im w)∘t'.
template <class Lanes>
void complex_columns(double* x, const double* h, std::size_t count)
{
    using row = three_vectors<Lanes>;
    row r0 = row::load(x);
    row r1 = row::load(x + strip_doubles);
    for (std::size_t i = 0; i < count; ++i, h += 9, x += strip_doubles) {
        const row r2 = row::load(x + 2 * strip_doubles);
        row t = r0.less(Lanes::all(-h[1]), r1);
        t = t.less(Lanes::all(-h[2], h[2]), r1.swapped());
        t = t.less(Lanes::all(-h[3]), r2);
        t = t.less(Lanes::all(-h[4], h[4]), r2.swapped());
        const row turned = t.swapped();
        r0.less(Lanes::all(h[0]), t).store(x);
        r0 = r1.less(Lanes::all(h[5]), t).less(Lanes::all(-h[6], h[6]), turned);
        r1 = r2.less(Lanes::all(h[7]), t).less(Lanes::all(-h[8], h[8]), turned);
    }
    r0.store(x);
    r1.store(x + strip_doubles);
}

template <class Lanes>
void reflect_real_strip(double* rows, const double* reflectors, std::size_t count)
{
    for (std::size_t j = 0; j < strip_doubles; j += 3 * Lanes::width)
        real_columns<Lanes>(rows + j, reflectors, count);
}

template <class Lanes>
void reflect_complex_strip(double* rows, const double* reflectors, std::size_t count)
{
    for (std::size_t j = 0; j < strip_doubles; j += 3 * Lanes::width)
        complex_columns<Lanes>(rows + j, reflectors, count);
}

} // namespace
} // namespace numerical::detail

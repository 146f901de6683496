#pragma once

// Reflectors down a strip for vectors of any width. For the kernels' own sources only: unnamed, as
// the vectors are.

#include "numerical/nonsymmetric/strip_kernels.hpp"

#include <cstddef>

namespace numerical::detail {
namespace {

// Vectors of a row that lie side by side.
template <class Lanes, std::size_t vectors>
struct row_part
{
    typename Lanes::vector of[vectors];

    static row_part load(const double* x)
    {
        row_part part;
#pragma GCC unroll 8
        for (std::size_t v = 0; v < vectors; ++v)
            part.of[v] = Lanes::load(x + v * Lanes::width);
        return part;
    }

    void store(double* x) const
    {
#pragma GCC unroll 8
        for (std::size_t v = 0; v < vectors; ++v)
            Lanes::store(x + v * Lanes::width, of[v]);
    }

    // this - f·x, fused.
    row_part less(typename Lanes::vector f, const row_part& x) const
    {
        row_part part;
#pragma GCC unroll 8
        for (std::size_t v = 0; v < vectors; ++v)
            part.of[v] = Lanes::less(of[v], f, x.of[v]);
        return part;
    }

    row_part swapped() const
    {
        row_part part;
#pragma GCC unroll 8
        for (std::size_t v = 0; v < vectors; ++v)
            part.of[v] = Lanes::swapped(of[v]);
        return part;
    }
};

template <class Lanes, std::size_t vectors>
void real_columns(double* x, const double* h, std::size_t count)
{
    using row = row_part<Lanes, vectors>;
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
template <class Lanes, std::size_t vectors>
void complex_columns(double* x, const double* h, std::size_t count)
{
    using row = row_part<Lanes, vectors>;
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

} // namespace
} // namespace numerical::detail

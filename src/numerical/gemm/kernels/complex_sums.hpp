#pragma once

// The running sums of a complex row times a vector v, by which its dot is formed with or without
// conjugation. They are cleared by a function, as the compiler would clear an array of
// initialized ones byte by byte. For the kernels' own sources only: unnamed, as the vectors are.

#include <complex>

namespace numerical::detail {
namespace {

template <class Lanes>
struct complex_sums
{
    using vector = typename Lanes::vector;
    vector parts;   // row·v, part by part
    vector crossed; // row times the swapped v

    void clear() { parts = crossed = Lanes::zero(); }

    void add(vector row, vector v, vector swapped_v)
    {
        parts = Lanes::more(parts, row, v);
        crossed = Lanes::more(crossed, row, swapped_v);
    }

    // The sum of row[j]·v[j].
    std::complex<double> dot() const
    {
        return {Lanes::alternating_fold(parts), Lanes::fold(crossed)};
    }

    // The sum of conj(row[j])·v[j].
    std::complex<double> conjugate_dot() const
    {
        return {Lanes::fold(parts), Lanes::alternating_fold(crossed)};
    }
};

} // namespace
} // namespace numerical::detail

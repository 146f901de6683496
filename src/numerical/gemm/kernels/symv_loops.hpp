#pragma once

// The row passes of symv.hpp for vectors of any width. For the kernels' own sources only: unnamed,
// as the vectors are.

#include "numerical/gemm/kernels/complex_sums.hpp"
#include "numerical/gemm/kernels/dot_loops.hpp"
#include "numerical/gemm/kernels/lanes/access.hpp"
#include "numerical/gemm/kernels/symv.hpp"

namespace numerical::detail {
namespace {

template <class Lanes>
double symmetric_row_pass(const double* row, const double* x, double alpha, double* y,
                          std::size_t n)
{
    constexpr std::size_t width = Lanes::width;
    const auto scale = Lanes::all(alpha);
    typename Lanes::vector sums[4] = {Lanes::zero(), Lanes::zero(), Lanes::zero(), Lanes::zero()};
    std::size_t j = 0;
    for (; j + 4 * width <= n; j += 4 * width)
#pragma GCC unroll 4
        for (std::size_t v = 0; v < 4; ++v) {
            const std::size_t at = j + v * width;
            const auto entries = Lanes::load(row + at);
            Lanes::store(y + at, Lanes::more(Lanes::load(y + at), scale, entries));
            sums[v] = Lanes::more(sums[v], entries, Lanes::load(x + at));
        }
    double sum = folded_in_order<Lanes>(sums);
    for (; j < n; ++j) {
        sum = __builtin_fma(row[j], x[j], sum);
        y[j] = __builtin_fma(alpha, row[j], y[j]);
    }
    return sum;
}

// The rows of a triangle are read once: this far ahead they are prefetched.
constexpr std::size_t doubles_ahead = 32;

template <std::size_t rows>
void prefetch_rows(const double* first, std::size_t stride)
{
#pragma GCC unroll 8
    for (std::size_t r = 0; r < rows; ++r)
        __builtin_prefetch(first + r * stride + doubles_ahead);
}

// One vector of four rows in both roles: y gains all four rows in one update. It is stored before
// the sums are formed, as the compiler would otherwise load the rows once for each role.
template <class Lanes>
void pass_four_rows(const double* rows, std::size_t stride, const double* x, double* y,
                    const typename Lanes::vector (&scale)[4], typename Lanes::vector (&sums)[4])
{
    typename Lanes::vector entries[4];
#pragma GCC unroll 4
    for (std::size_t r = 0; r < 4; ++r)
        entries[r] = Lanes::load(rows + r * stride);
    auto gain = Lanes::times(scale[0], entries[0]);
#pragma GCC unroll 3
    for (std::size_t r = 1; r < 4; ++r)
        gain = Lanes::more(gain, scale[r], entries[r]);
    Lanes::store(y, Lanes::plus(Lanes::load(y), gain));
    const auto with = Lanes::load(x);
#pragma GCC unroll 4
    for (std::size_t r = 0; r < 4; ++r)
        sums[r] = Lanes::more(sums[r], entries[r], with);
}

// Vectors go in turn to `chains` sets of sums, 1 or 2: four sums alone may be bound by the latency
// of an addition.
template <class Lanes, std::size_t chains>
std::array<double, 4> symmetric_rows_pass(const double* rows, std::size_t stride, const double* x,
                                          double* y, std::size_t n)
{
    constexpr std::size_t width = Lanes::width;
    using vector = typename Lanes::vector;
    const vector zero = Lanes::zero();
    const vector scale[4] = {Lanes::all(x[n]), Lanes::all(x[n + 1]), Lanes::all(x[n + 2]),
                             Lanes::all(x[n + 3])};
    vector sums[chains][4];
#pragma GCC unroll 2
    for (std::size_t c = 0; c < chains; ++c)
#pragma GCC unroll 4
        for (std::size_t r = 0; r < 4; ++r)
            sums[c][r] = zero;
    std::size_t j = 0;
    for (; j + chains * width <= n; j += chains * width) {
        prefetch_rows<4>(rows + j, stride);
#pragma GCC unroll 2
        for (std::size_t c = 0; c < chains; ++c) {
            const std::size_t at = j + c * width;
            pass_four_rows<Lanes>(rows + at, stride, x + at, y + at, scale, sums[c]);
        }
    }
    for (; j + width <= n; j += width)
        pass_four_rows<Lanes>(rows + j, stride, x + j, y + j, scale, sums[0]);
    std::array<double, 4> dots;
#pragma GCC unroll 4
    for (std::size_t r = 0; r < 4; ++r)
        dots[r] = Lanes::fold(chains == 1 ? sums[0][r] : Lanes::plus(sums[0][r], sums[1][r]));
    symmetric_rows_tail(rows, stride, x, y, n, j, dots);
    return dots;
}

// The part of eight rows that lies in the 8 × 8 block at the diagonal: what symmetric_rows_tail
// does for the upper four from column n on, and for the lower four from there again. All bounds are
// constants, so that the loops are unrolled and the ends of x and y stay in registers. `dots` has
// the eight sums of the columns before; y is given from n on.
inline void finish_eight_rows(const double* block, std::size_t stride, const double* x, double* y,
                              const double (&dots)[8])
{
    double own[8];
#pragma GCC unroll 8
    for (std::size_t j = 0; j < 8; ++j)
        own[j] = y[j];
#pragma GCC unroll 2
    for (std::size_t half = 0; half < 8; half += 4) {
        double sums[4];
#pragma GCC unroll 4
        for (std::size_t i = 0; i < 4; ++i) {
            const std::size_t r = half + i;
            const double* const row = block + r * stride;
            sums[i] = dots[r];
#pragma GCC unroll 8
            for (std::size_t j = 0; j < r; ++j) {
                sums[i] += row[j] * x[j];
                own[j] += row[j] * x[r];
            }
            sums[i] += x[r] * row[r];
        }
#pragma GCC unroll 4
        for (std::size_t i = 0; i < 4; ++i)
            own[half + i] += sums[i];
    }
#pragma GCC unroll 8
    for (std::size_t j = 0; j < 8; ++j)
        y[j] = own[j];
}

// Vectors of eight doubles. Two groups of four rows have their own gain, added to y one after the
// other, and each row its own sum.
template <class Lanes, bool prefetched>
void symmetric_eight_rows_pass(const double* rows, std::size_t stride, const double* x, double* y,
                               std::size_t n)
{
    constexpr std::size_t width = Lanes::width;
    static_assert(width == 8); // no columns are left before the block at the diagonal
    using vector = typename Lanes::vector;
    vector scale[8];
    vector sums[8];
#pragma GCC unroll 8
    for (std::size_t r = 0; r < 8; ++r) {
        scale[r] = Lanes::all(x[n + r]);
        sums[r] = Lanes::zero();
    }
    for (std::size_t j = 0; j < n; j += width) {
        if constexpr (prefetched)
            prefetch_rows<8>(rows + j, stride);
        vector entries[8];
#pragma GCC unroll 8
        for (std::size_t r = 0; r < 8; ++r)
            entries[r] = Lanes::load(rows + r * stride + j);
        vector gains[2];
#pragma GCC unroll 2
        for (std::size_t half = 0; half < 2; ++half) {
            gains[half] = Lanes::times(scale[4 * half], entries[4 * half]);
#pragma GCC unroll 3
            for (std::size_t r = 4 * half + 1; r < 4 * half + 4; ++r)
                gains[half] = Lanes::more(gains[half], scale[r], entries[r]);
        }
        Lanes::store(y + j, Lanes::plus(Lanes::plus(Lanes::load(y + j), gains[0]), gains[1]));
        const vector with = Lanes::load(x + j);
#pragma GCC unroll 8
        for (std::size_t r = 0; r < 8; ++r)
            sums[r] = Lanes::more(sums[r], entries[r], with);
    }
    double dots[8];
#pragma GCC unroll 8
    for (std::size_t r = 0; r < 8; ++r)
        dots[r] = Lanes::fold(sums[r]);
    finish_eight_rows(rows + n, stride, x + n, y + n, dots);
}

// alpha·conj(r) = (Re a·Re r + Im a·Im r, -Re a·Im r + Im a·Re r). A last number that fills no
// vector is a masked one on AVX-512 and added to the folded sums on AVX2.
template <class Lanes>
std::complex<double> hermitian_row_pass(const double* row, const double* x,
                                        std::complex<double> alpha, double* y, std::size_t n)
{
    constexpr std::size_t width = Lanes::width;
    const auto real = Lanes::alternating(-alpha.real());
    const auto imag = Lanes::all(alpha.imag());
    auto parts = Lanes::zero();   // Re·Re, Im·Im
    auto crossed = Lanes::zero(); // Im·Re, Re·Im
    const auto pass = [&](std::size_t j, const auto& access) {
        const auto entries = access.load(row + j);
        const auto swapped = Lanes::swapped(entries);
        const auto with = access.load(x + j);
        parts = Lanes::more(parts, entries, with);
        crossed = Lanes::more(crossed, swapped, with);
        const auto gained = Lanes::more(access.load(y + j), real, entries);
        access.store(y + j, Lanes::more(gained, imag, swapped));
    };
    const std::size_t doubles = 2 * n;
    std::size_t j = 0;
    for (; j + width <= doubles; j += width)
        pass(j, whole_vector<Lanes>());
    if constexpr (width > 4)
        if (j < doubles)
            pass(j, last_vector<Lanes>(doubles - j));
    double p[width];
    double c[width];
    Lanes::store(p, parts);
    Lanes::store(c, crossed);
    double sum_real = p[0] - p[1];
    double sum_imag = c[0] + c[1];
    for (std::size_t l = 2; l < width; l += 2) {
        sum_real = sum_real + p[l] - p[l + 1];
        sum_imag = sum_imag + c[l] + c[l + 1];
    }
    if constexpr (width == 4)
        if (j < doubles) {
            sum_real = __builtin_fma(-row[j + 1], x[j + 1], __builtin_fma(row[j], x[j], sum_real));
            sum_imag = __builtin_fma(row[j], x[j + 1], __builtin_fma(row[j + 1], x[j], sum_imag));
            const double re = __builtin_fma(alpha.real(), row[j], y[j]);
            const double im = __builtin_fma(-alpha.real(), row[j + 1], y[j + 1]);
            y[j] = __builtin_fma(alpha.imag(), row[j + 1], re);
            y[j + 1] = __builtin_fma(alpha.imag(), row[j], im);
        }
    return {sum_real, sum_imag};
}

// A vector of four rows in both roles. x·conj(a) is Re x·a with signs (+1, -1) and Im x times the
// swapped a: the signs are taken and the parts swapped once for the sum over the rows. `scale` is
// the rows' own part of x.
template <class Lanes, class Access>
void pass_four_hermitian_rows(const double* rows, std::size_t stride, const double* x,
                              const double* scale, double* y, complex_sums<Lanes> (&sums)[4],
                              const Access& access)
{
    using vector = typename Lanes::vector;
    vector entries[4];
#pragma GCC unroll 4
    for (std::size_t r = 0; r < 4; ++r)
        entries[r] = access.load(rows + r * stride);
    vector by_re = Lanes::times(Lanes::all(scale[0]), entries[0]);
    vector by_im = Lanes::times(Lanes::all(scale[1]), entries[0]);
#pragma GCC unroll 3
    for (std::size_t r = 1; r < 4; ++r) {
        by_re = Lanes::more(by_re, Lanes::all(scale[2 * r]), entries[r]);
        by_im = Lanes::more(by_im, Lanes::all(scale[2 * r + 1]), entries[r]);
    }
    const vector gain = Lanes::more(Lanes::swapped(by_im), Lanes::alternating(-1), by_re);
    access.store(y, Lanes::plus(access.load(y), gain));
    const vector with = access.load(x);
    const vector swapped = Lanes::swapped(with);
#pragma GCC unroll 4
    for (std::size_t r = 0; r < 4; ++r)
        sums[r].add(entries[r], with, swapped);
}

template <class Lanes>
std::array<std::complex<double>, 4> hermitian_rows_pass(const double* rows, std::size_t stride,
                                                        const double* x, double* y, std::size_t n)
{
    const std::size_t doubles = 2 * n;
    complex_sums<Lanes> sums[4];
#pragma GCC unroll 4
    for (std::size_t r = 0; r < 4; ++r)
        sums[r].clear();
    std::size_t j = 0;
    for (; j + Lanes::width <= doubles; j += Lanes::width) {
        prefetch_rows<4>(rows + j, 2 * stride);
        pass_four_hermitian_rows(rows + j, 2 * stride, x + j, x + doubles, y + j, sums,
                                 whole_vector<Lanes>());
    }
    if (j < doubles)
        pass_four_hermitian_rows(rows + j, 2 * stride, x + j, x + doubles, y + j, sums,
                                 last_vector<Lanes>(doubles - j));
    return {sums[0].dot(), sums[1].dot(), sums[2].dot(), sums[3].dot()};
}

} // namespace
} // namespace numerical::detail

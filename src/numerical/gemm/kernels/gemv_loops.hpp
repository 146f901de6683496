#pragma once

// The row dots of gemv.hpp for vectors of any width. For the kernels' own sources only: unnamed, as
// the vectors are.

#include "numerical/gemm/kernels/complex_sums.hpp"
#include "numerical/gemm/kernels/lanes/access.hpp"

#include <cstddef>

namespace numerical::detail {
namespace {

// One accumulator of a row, with the doubles of its dot.
template <class Lanes>
struct real_row_sum
{
    using vector = typename Lanes::vector;
    static constexpr std::size_t doubles = 1;
    vector sum;

    void clear() { sum = Lanes::zero(); }

    void add(vector row, vector v, vector /*swapped_v*/) { sum = Lanes::more(sum, row, v); }

    void join(const real_row_sum& other) { sum = Lanes::plus(sum, other.sum); }

    void store(double* out) const { *out = Lanes::fold(sum); }
};

template <class Lanes>
struct complex_row_sum : complex_sums<Lanes>
{
    static constexpr std::size_t doubles = 2;

    void store(double* out) const
    {
        const std::complex<double> dot = this->conjugate_dot();
        out[0] = dot.real();
        out[1] = dot.imag();
    }
};

// Without conjugation.
template <class Lanes>
struct complex_row_product : complex_sums<Lanes>
{
    static constexpr std::size_t doubles = 2;

    void join(const complex_row_product& other)
    {
        this->parts = Lanes::plus(this->parts, other.parts);
        this->crossed = Lanes::plus(this->crossed, other.crossed);
    }

    void store(double* out) const
    {
        const std::complex<double> product = this->dot();
        out[0] = product.real();
        out[1] = product.imag();
    }
};

template <class Lanes, class Sum, std::size_t rows, class Access>
void add_entries(Sum (&sums)[rows], const double* row, std::size_t stride, const double* v,
                 const Access& access)
{
    const auto with = access.load(v);
    const auto swapped = Lanes::swapped(with);
#pragma GCC unroll 4
    for (std::size_t r = 0; r < rows; ++r)
        sums[r].add(access.load(row + r * stride), with, swapped);
}

// `rows` rows side by side, vectors taken in turn by `chains` accumulators of each. Stride and n in
// doubles.
template <class Lanes, class Sum, std::size_t rows, std::size_t chains>
void dots_of_rows(double* out, const double* v, const double* row, std::size_t stride,
                  std::size_t n)
{
    constexpr std::size_t width = Lanes::width;
    const auto whole = every_lane<Lanes, Sum::doubles>();
    Sum sums[chains][rows];
#pragma GCC unroll 2
    for (std::size_t c = 0; c < chains; ++c)
#pragma GCC unroll 4
        for (std::size_t r = 0; r < rows; ++r)
            sums[c][r].clear();
    std::size_t j = 0;
    for (; j + chains * width <= n; j += chains * width)
#pragma GCC unroll 2
        for (std::size_t c = 0; c < chains; ++c)
            add_entries<Lanes>(sums[c], row + j + c * width, stride, v + j + c * width, whole);
    for (; j + width <= n; j += width)
        add_entries<Lanes>(sums[0], row + j, stride, v + j, whole);
    if (j < n)
        add_entries<Lanes>(sums[chains - 1], row + j, stride, v + j, last_vector<Lanes>(n - j));
#pragma GCC unroll 4
    for (std::size_t r = 0; r < rows; ++r) {
        if constexpr (chains == 2)
            sums[0][r].join(sums[1][r]);
        sums[0][r].store(out + r * Sum::doubles);
    }
}

// Four rows at a time, with `chains` accumulators each, then one by one.
template <class Lanes, template <class> class Sum, std::size_t chains>
void dots_of_all_rows(double* out, const double* v, const double* rows, std::size_t stride,
                      std::size_t count, std::size_t n)
{
    using sum = Sum<Lanes>;
    constexpr std::size_t doubles = sum::doubles;
    const std::size_t step = stride * doubles;
    std::size_t t = 0;
    for (; t + 4 <= count; t += 4)
        dots_of_rows<Lanes, sum, 4, chains>(out + t * doubles, v, rows + t * step, step,
                                            n * doubles);
    for (; t < count; ++t)
        dots_of_rows<Lanes, sum, 1, 1>(out + t * doubles, v, rows + t * step, step, n * doubles);
}

// The doubles of a row go to eight partial sums in turn, which are `vectors` vectors. Stride and n
// in doubles.
template <class Lanes, class Sum, std::size_t rows>
void products_of_rows(double* y, const double* row, std::size_t stride, const double* x,
                      std::size_t n)
{
    constexpr std::size_t width = Lanes::width;
    constexpr std::size_t vectors = 8 / width;
    Sum sums[vectors][rows];
#pragma GCC unroll 2
    for (std::size_t v = 0; v < vectors; ++v)
#pragma GCC unroll 4
        for (std::size_t r = 0; r < rows; ++r)
            sums[v][r].clear();
    const auto whole = every_lane<Lanes, Sum::doubles>();
    std::size_t j = 0;
    for (; j + 8 <= n; j += 8)
#pragma GCC unroll 2
        for (std::size_t v = 0; v < vectors; ++v)
            add_entries<Lanes>(sums[v], row + j + v * width, stride, x + j + v * width, whole);
#pragma GCC unroll 2
    for (std::size_t v = 0; v < vectors; ++v, j += width) {
        if (j + width <= n)
            add_entries<Lanes>(sums[v], row + j, stride, x + j, whole);
        else if (j < n)
            add_entries<Lanes>(sums[v], row + j, stride, x + j, last_vector<Lanes>(n - j));
    }
#pragma GCC unroll 4
    for (std::size_t r = 0; r < rows; ++r) {
        if constexpr (vectors == 2)
            sums[0][r].join(sums[1][r]);
        sums[0][r].store(y + r * Sum::doubles);
    }
}

// `together` rows at a time, then those that are left.
template <class Lanes, template <class> class Sum, std::size_t together>
void products_of_all_rows(double* y, const double* rows, std::size_t stride, std::size_t count,
                          const double* x, std::size_t n)
{
    using sum = Sum<Lanes>;
    constexpr std::size_t doubles = sum::doubles;
    const std::size_t step = stride * doubles;
    for (; count >= together; count -= together) {
        products_of_rows<Lanes, sum, together>(y, rows, step, x, n * doubles);
        y += together * doubles;
        rows += together * step;
    }
    if constexpr (together > 1)
        if (count != 0)
            products_of_all_rows<Lanes, Sum, together - 1>(y, rows, stride, count, x, n);
}

} // namespace
} // namespace numerical::detail

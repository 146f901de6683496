#pragma once

// The added row dots of gemv.hpp for vectors of any width. For the kernels' own sources only:
// unnamed, as the vectors are.

#include "numerical/gemm/kernels/lanes/access.hpp"

#include <cstddef>

namespace numerical::detail {
namespace {

// The sums of `rows` rows: `each` is one of a real row, and two of a complex one, whose second sum
// takes x with its parts exchanged. Last entries, which fill no vector, are masked ones on AVX-512;
// on AVX2 they have sums of their own.
template <class Lanes, std::size_t rows, std::size_t each>
struct short_sums
{
    static constexpr std::size_t count = rows * each;
    static constexpr bool masks_last = Lanes::width > 4;
    using vector = typename Lanes::vector;
    vector sum[count];
    vector last;

    template <class Access>
    void add(const double* const (&row)[rows], const double* x, std::size_t j, const Access& access)
    {
        vector with[each];
        with[0] = access.load(x + j);
        if constexpr (each == 2)
            with[1] = Lanes::swapped(with[0]);
#pragma GCC unroll 4
        for (std::size_t r = 0; r < rows; ++r) {
            const vector entries = access.load(row[r] + j);
#pragma GCC unroll 2
            for (std::size_t k = 0; k < each; ++k)
                sum[r * each + k] = Lanes::more(sum[r * each + k], entries, with[k]);
        }
    }

    void add_all(const double* const (&row)[rows], const double* x, std::size_t n)
    {
#pragma GCC unroll 8
        for (std::size_t s = 0; s < count; ++s)
            sum[s] = Lanes::zero();
        last = Lanes::zero();
        const auto every = every_lane<Lanes, each>();
        std::size_t j = 0;
#pragma GCC unroll 2
        for (; j + Lanes::width <= n; j += Lanes::width)
            add(row, x, j, every);
        if (j == n)
            return;
        if constexpr (masks_last) {
            add(row, x, j, last_vector<Lanes>(n - j));
        } else {
            double rest[count];
#pragma GCC unroll 4
            for (std::size_t s = 0; s < count; ++s) {
                rest[s] = 0;
                for (std::size_t l = j; l < n; ++l)
                    rest[s] = __builtin_fma(row[s / each][l], factor(s % each, x, l), rest[s]);
            }
            last = Lanes::load(rest);
        }
    }

    // What entry l of a row is multiplied by in the row's sum k.
    static double factor(std::size_t k, const double* x, std::size_t l)
    {
        if constexpr (each == 1)
            return x[l];
        else
            return k == 1 ? x[l ^ 1] : (l % 2 == 0 ? x[l] : -x[l]);
    }

    // Lanes are added by neighbours, (0 + 1) + (2 + 3), but by halves where AVX-512 takes one
    // vector.
    void add_to(double* w, std::size_t valid_rows) const
    {
        if constexpr (masks_last && each == 1) {
#pragma GCC unroll 4
            for (std::size_t r = 0; r < rows; ++r)
                if (r < valid_rows)
                    w[r] += Lanes::fold(sum[r]);
        } else {
            static_assert(count == Lanes::width);
            vector dots = each == 1 ? Lanes::sums_of(sum) : Lanes::complex_sums_of(sum);
            if constexpr (!masks_last)
                dots = Lanes::plus(dots, last);
            if (valid_rows == rows)
                return Lanes::store(w, Lanes::plus(Lanes::load(w), dots));
            const last_vector<Lanes> valid(valid_rows * each);
            valid.store(w, Lanes::plus(valid.load(w), dots));
        }
    }
};

// `together` rows at a time; beyond the last row the last one is repeated.
template <class Lanes, std::size_t together, std::size_t each>
void add_short_dots(double* w, const double* rows, std::size_t stride, std::size_t count,
                    const double* x, std::size_t n)
{
    for (std::size_t i = 0; i < count; i += together) {
        const std::size_t valid = count - i < together ? count - i : together;
        const double* row[together];
        for (std::size_t r = 0; r < together; ++r)
            row[r] = rows + (i + (r < valid ? r : valid - 1)) * stride;
        short_sums<Lanes, together, each> sums;
        sums.add_all(row, x, n);
        sums.add_to(w + i * each, valid);
    }
}

} // namespace
} // namespace numerical::detail

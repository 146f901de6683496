#pragma once

// The passes of both_roles.hpp for vectors of any width. For the kernels' own sources only:
// unnamed, as the vectors are.

#include "numerical/gemm/kernels/both_roles.hpp"
#include "numerical/gemm/kernels/complex_sums.hpp"
#include "numerical/gemm/kernels/lanes/access.hpp"

#include <cstddef>

namespace numerical::detail {
namespace {

// Some rows side by side: their running sums, and their own factors throughout a vector.
template <class Lanes, std::size_t rows>
struct real_roles
{
    using vector = typename Lanes::vector;
    static constexpr std::size_t doubles = 1;
    vector factors[rows];
    vector sums[rows];

    void begin(const double* w)
    {
#pragma GCC unroll 4
        for (std::size_t r = 0; r < rows; ++r) {
            factors[r] = Lanes::all(w[r]);
            sums[r] = Lanes::zero();
        }
    }

    vector gained(vector u, const vector (&entries)[rows]) const
    {
#pragma GCC unroll 4
        for (std::size_t r = 0; r < rows; ++r)
            u = Lanes::more(u, factors[r], entries[r]);
        return u;
    }

    void add(const vector (&entries)[rows], vector x)
    {
#pragma GCC unroll 4
        for (std::size_t r = 0; r < rows; ++r)
            sums[r] = Lanes::more(sums[r], entries[r], x);
    }

    void finish(double* y) const
    {
#pragma GCC unroll 4
        for (std::size_t r = 0; r < rows; ++r)
            y[r] = Lanes::fold(sums[r]);
    }
};

template <class Lanes, std::size_t rows>
struct complex_roles
{
    using vector = typename Lanes::vector;
    static constexpr std::size_t doubles = 2;
    vector real[rows];
    vector imag[rows];
    complex_sums<Lanes> sums[rows];

    void begin(const double* w)
    {
#pragma GCC unroll 4
        for (std::size_t r = 0; r < rows; ++r) {
            real[r] = Lanes::all(w[2 * r]);
            imag[r] = Lanes::all(w[2 * r + 1]);
            sums[r].clear();
        }
    }

    // (Re w + i·Im w)·a: the sum of Im w·a is multiplied by i once for all rows.
    vector gained(vector u, const vector (&entries)[rows]) const
    {
        u = Lanes::more(u, real[0], entries[0]);
        vector by_imag = Lanes::times(imag[0], entries[0]);
#pragma GCC unroll 3
        for (std::size_t r = 1; r < rows; ++r) {
            u = Lanes::more(u, real[r], entries[r]);
            by_imag = Lanes::more(by_imag, imag[r], entries[r]);
        }
        return Lanes::more(u, Lanes::alternating(1), Lanes::swapped(by_imag));
    }

    void add(const vector (&entries)[rows], vector x)
    {
        const vector swapped = Lanes::swapped(x);
#pragma GCC unroll 4
        for (std::size_t r = 0; r < rows; ++r)
            sums[r].add(entries[r], x, swapped);
    }

    void finish(double* y) const
    {
#pragma GCC unroll 4
        for (std::size_t r = 0; r < rows; ++r) {
            const std::complex<double> product = sums[r].dot();
            y[2 * r] = product.real();
            y[2 * r + 1] = product.imag();
        }
    }
};

// One vector of the rows. u is stored before the sums are formed, as the compiler would otherwise
// load the rows once for each role.
template <class Lanes, class Roles, std::size_t rows, class Access>
void pass_vector(Roles& roles, const double* (&row)[rows], std::size_t j, const double* x,
                 double* u, const Access& access)
{
    typename Lanes::vector entries[rows];
#pragma GCC unroll 4
    for (std::size_t r = 0; r < rows; ++r)
        entries[r] = access.load(row[r] + j);
    access.store(u + j, roles.gained(access.load(u + j), entries));
    roles.add(entries, access.load(x + j));
}

template <class Lanes, template <class, std::size_t> class Roles, std::size_t rows>
void pass_rows(const double* first, std::size_t stride, std::size_t n, const double* x, double* y,
               const double* w, double* u)
{
    const double* row[rows];
#pragma GCC unroll 4
    for (std::size_t r = 0; r < rows; ++r)
        row[r] = first + r * stride;
    Roles<Lanes, rows> roles;
    roles.begin(w);
    const auto whole = every_lane<Lanes, 2>();
    std::size_t j = 0;
    for (; j + Lanes::width <= n; j += Lanes::width)
        pass_vector<Lanes>(roles, row, j, x, u, whole);
    if (j < n)
        pass_vector<Lanes>(roles, row, j, x, u, last_vector<Lanes>(n - j));
    roles.finish(y);
}

// `together` rows at a time, then one by one. The pass as doubles.
template <class Lanes, template <class, std::size_t> class Roles, std::size_t together>
void pass_all_rows(const both_roles_pass<double>& pass)
{
    constexpr std::size_t doubles = Roles<Lanes, 1>::doubles;
    std::size_t i = 0;
    for (; i + together <= pass.count; i += together)
        pass_rows<Lanes, Roles, together>(pass.rows + i * pass.stride, pass.stride, pass.n, pass.x,
                                          pass.y + i * doubles, pass.w + i * doubles, pass.u);
    for (; i < pass.count; ++i)
        pass_rows<Lanes, Roles, 1>(pass.rows + i * pass.stride, pass.stride, pass.n, pass.x,
                                   pass.y + i * doubles, pass.w + i * doubles, pass.u);
}

inline both_roles_pass<double> of_doubles(const both_roles_pass<std::complex<double>>& pass)
{
    return {.rows = reinterpret_cast<const double*>(pass.rows),
            .stride = 2 * pass.stride,
            .count = pass.count,
            .n = 2 * pass.n,
            .x = reinterpret_cast<const double*>(pass.x),
            .y = reinterpret_cast<double*>(pass.y),
            .w = reinterpret_cast<const double*>(pass.w),
            .u = reinterpret_cast<double*>(pass.u)};
}

} // namespace
} // namespace numerical::detail

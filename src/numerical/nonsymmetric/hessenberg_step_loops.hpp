#pragma once

// The passes of hessenberg_step.hpp for vectors of any width. For the kernels' own sources only:
// unnamed, as the vectors are.

#include "numerical/gemm/kernels/complex_sums.hpp"
#include "numerical/nonsymmetric/hessenberg_step.hpp"

namespace numerical::detail {
namespace {

// The numbers of some rows times `factor`, each in all lanes.
template <class Lanes, std::size_t count>
struct row_factors
{
    typename Lanes::vector of[count];

    explicit row_factors(const double* numbers, double factor = 1)
    {
#pragma GCC unroll 8
        for (std::size_t i = 0; i < count; ++i)
            of[i] = Lanes::all(factor * numbers[i]);
    }
};

// The parts of complex numbers times a factor each. Imaginary ones multiply vectors with their
// parts exchanged.
template <class Lanes, std::size_t count>
struct complex_row_factors
{
    typename Lanes::vector re[count];
    typename Lanes::vector im[count]; // (-im, im, -im, im, ...)

    complex_row_factors(const double* numbers, double of_re, double of_im)
    {
#pragma GCC unroll 8
        for (std::size_t i = 0; i < count; ++i) {
            re[i] = Lanes::all(of_re * numbers[2 * i]);
            im[i] = Lanes::alternating(of_im * numbers[2 * i + 1]);
        }
    }
};

bool has_column(const hessenberg_rows& rows)
{
    return rows.left <= rows.column && rows.column < rows.right;
}

// `count` rows from row r on. Their products are added to those of other columns.
template <class Lanes, std::size_t count>
void step_in_rows(const hessenberg_rows& rows, std::size_t r, const hessenberg_vectors& vectors)
{
    using vector = typename Lanes::vector;
    const double* const v = vectors.v;
    const double* const z = vectors.z;
    const double* const x = vectors.x;
    double* const u = vectors.u;
    double* const a = rows.matrix + r * rows.stride;
    const std::size_t stride = rows.stride; // not read again after each store
    const std::size_t right = rows.right;
    const row_factors<Lanes, count> row_v(v + r);
    const row_factors<Lanes, count> row_y(vectors.y + r, 2);
    const row_factors<Lanes, count> row_x(x + r);
    vector products[count];
#pragma GCC unroll 8
    for (std::size_t i = 0; i < count; ++i)
        products[i] = Lanes::zero();
    for (std::size_t j = rows.left; j < right; j += Lanes::width) {
        const vector column_z = Lanes::load(z + j);
        const vector column_v = Lanes::load(v + j);
        const vector with = Lanes::load(x + j);
        vector sums = Lanes::load(u + j);
#pragma GCC unroll 8
        for (std::size_t i = 0; i < count; ++i) {
            double* const at = a + i * stride + j;
            const vector half = Lanes::less(Lanes::load(at), row_v.of[i], column_z);
            const vector entries = Lanes::less(half, row_y.of[i], column_v);
            Lanes::store(at, entries);
            products[i] = Lanes::more(products[i], entries, with);
            sums = Lanes::more(sums, row_x.of[i], entries);
        }
        Lanes::store(u + j, sums);
    }
#pragma GCC unroll 8
    for (std::size_t i = 0; i < count; ++i) {
        vectors.product[r + i] += Lanes::fold(products[i]);
        if (has_column(rows))
            vectors.copied[r + i] = a[i * stride + rows.column];
    }
}

template <class Lanes, std::size_t count>
void complex_step_in_rows(const hessenberg_rows& rows, std::size_t r,
                          const hessenberg_vectors& vectors)
{
    using vector = typename Lanes::vector;
    const auto [v, z, x, y, product, u, copied] = vectors;
    double* const a = rows.matrix + 2 * r * rows.stride;
    const std::size_t stride = 2 * rows.stride; // not read again after each store
    const std::size_t right = 2 * rows.right;
    const complex_row_factors<Lanes, count> row_v(v + 2 * r, 1, -1);
    const complex_row_factors<Lanes, count> row_y(y + 2 * r, 2, 2);
    const complex_row_factors<Lanes, count> row_x(x + 2 * r, 1, 1);
    complex_sums<Lanes> products[count];
#pragma GCC unroll 8
    for (std::size_t i = 0; i < count; ++i)
        products[i].clear();
    for (std::size_t j = 2 * rows.left; j < right; j += Lanes::width) {
        const vector column_z = Lanes::load(z + j);
        const vector column_v = Lanes::load(v + j);
        const vector with = Lanes::load(x + j);
        const vector swapped_z = Lanes::swapped(column_z);
        const vector swapped_v = Lanes::swapped(column_v);
        const vector swapped_x = Lanes::swapped(with);
        vector sums = Lanes::load(u + j);
#pragma GCC unroll 8
        for (std::size_t i = 0; i < count; ++i) {
            double* const at = a + i * stride + j;
            vector entries = Lanes::less(Lanes::load(at), row_v.re[i], column_z);
            entries = Lanes::less(entries, row_v.im[i], swapped_z);
            entries = Lanes::less(entries, row_y.re[i], column_v);
            entries = Lanes::less(entries, row_y.im[i], swapped_v);
            Lanes::store(at, entries);
            products[i].add(entries, with, swapped_x);
            sums = Lanes::more(sums, row_x.re[i], entries);
            sums = Lanes::more(sums, row_x.im[i], Lanes::swapped(entries));
        }
        Lanes::store(u + j, sums);
    }
#pragma GCC unroll 8
    for (std::size_t i = 0; i < count; ++i) {
        const std::complex<double> sum = products[i].conjugate_dot();
        product[2 * (r + i)] += sum.real();
        product[2 * (r + i) + 1] -= sum.imag();
        if (has_column(rows)) {
            copied[2 * (r + i)] = a[i * stride + 2 * rows.column];
            copied[2 * (r + i) + 1] = a[i * stride + 2 * rows.column + 1];
        }
    }
}

// The groups of rows of a pass, `together` rows each, and then the rest one by one, or all of it
// from the end.
template <std::size_t together, class Whole, class Single>
void in_groups(const hessenberg_rows& rows, const Whole& whole, const Single& single)
{
    const std::size_t groups = (rows.to - rows.from) / together;
    const std::size_t rest = rows.from + groups * together;
    if (rows.upwards) {
        for (std::size_t r = rows.to; r-- > rest;)
            single(r);
        for (std::size_t g = groups; g-- > 0;)
            whole(rows.from + g * together);
        return;
    }
    for (std::size_t g = 0; g < groups; ++g)
        whole(rows.from + g * together);
    for (std::size_t r = rest; r < rows.to; ++r)
        single(r);
}

// The rows in blocks of at most `most` columns, about equal ones, in the order of the rows: the
// parts of the vectors that belong to a block stay in L1.
template <std::size_t most, class Block>
void in_blocks_of_columns(const hessenberg_rows& rows, const Block& run_block)
{
    constexpr std::size_t line = 8;
    const std::size_t lines = (rows.right - rows.left + line - 1) / line;
    const std::size_t count = (lines * line + most - 1) / most;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t b = rows.upwards ? count - 1 - i : i;
        hessenberg_rows block = rows;
        block.left = rows.left + lines * b / count * line;
        if (b + 1 < count)
            block.right = rows.left + lines * (b + 1) / count * line;
        run_block(block);
    }
}

template <class Lanes, std::size_t together>
void hessenberg_step(const hessenberg_rows& rows, const hessenberg_vectors& vectors)
{
    for (std::size_t r = rows.from; r < rows.to; ++r)
        vectors.product[r] = 0;
    in_blocks_of_columns<hessenberg_columns_at_once>(rows, [&](const hessenberg_rows& block) {
        in_groups<together>(
            block, [&](std::size_t r) { step_in_rows<Lanes, together>(block, r, vectors); },
            [&](std::size_t r) { step_in_rows<Lanes, 1>(block, r, vectors); });
    });
}

template <class Lanes, std::size_t together>
void complex_hessenberg_step(const hessenberg_rows& rows, const hessenberg_vectors& vectors)
{
    for (std::size_t r = 2 * rows.from; r < 2 * rows.to; ++r)
        vectors.product[r] = 0;
    in_blocks_of_columns<complex_hessenberg_columns_at_once>(rows, [&](const auto& block) {
        in_groups<together>(
            block, [&](std::size_t r) { complex_step_in_rows<Lanes, together>(block, r, vectors); },
            [&](std::size_t r) { complex_step_in_rows<Lanes, 1>(block, r, vectors); });
    });
}

} // namespace
} // namespace numerical::detail

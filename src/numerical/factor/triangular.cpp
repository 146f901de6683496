#include "numerical/factor/triangular.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/gemm/kernels/scale.hpp"
#include "numerical/gemm/kernels/trsm.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <complex>

namespace numerical::detail {

namespace {

using four_row_kernel = void (*)(double*, std::size_t, const double*, std::size_t, const double*,
                                 std::size_t, std::size_t, four_rows);

four_row_kernel four_row_kernel_on(int path, const double*)
{
    return path == avx512_path ? avx512_subtract_from_four : avx2_subtract_from_four;
}

four_row_kernel four_row_kernel_on(int path, const complex*)
{
    return path == avx512_path ? avx512_subtract_complex_from_four
                               : avx2_subtract_complex_from_four;
}

// Subtracts the multiples of the rows [from, i) from row i.
template <class T>
void subtract_rows_above(int path, block_view<const T> l, block_view<T> x, std::size_t from,
                         std::size_t i)
{
    subtract_products_on(path, x.row(i), l.row(i) + from, x.row(from), x.stride, i - from, x.cols);
}

// Subtracts the multiples of the rows above from rows [i, i + 4).
template <class T>
void subtract_from_four_on(int path, block_view<const T> l, block_view<T> x, std::size_t i,
                           four_rows among)
{
    four_row_kernel_on(path, x.first)(as_doubles(x.row(i)), x.stride, as_doubles(l.row(i)),
                                      l.stride, as_doubles(x.first), i, x.cols, among);
}

// The columns of X that the four-row kernels take; the others are left to kernels of one row.
template <class T>
std::size_t columns_by_four_rows(int path, block_view<T> x)
{
    return path == portable_path ? 0 : x.cols / substitution_strip<T> * substitution_strip<T>;
}

// The rows of X that come in groups of four.
template <class T>
std::size_t rows_in_fours(block_view<T> x)
{
    return x.rows / rows_together * rows_together;
}

} // namespace

template <class T>
void substitute_unit_lower(int path, block_view<const T> l, block_view<T> x)
{
    const std::size_t whole = columns_by_four_rows(path, x);
    const std::size_t fours = whole == 0 ? 0 : rows_in_fours(x);
    const block_view<T> strips = x.sub(0, x.rows, 0, whole);
    for (std::size_t i = 0; i < fours; i += rows_together)
        subtract_from_four_on(path, l, strips, i, four_rows::unit_triangle);
    for (std::size_t i = fours; i < x.rows; ++i)
        subtract_rows_above(path, l, strips, 0, i);
    const block_view<T> rest = x.sub(0, x.rows, whole, x.cols);
    if (rest.cols != 0)
        for (std::size_t i = 1; i < x.rows; ++i)
            subtract_rows_above(path, l, rest, 0, i);
}

template <class T>
void substitute_lower(int path, block_view<const T> l, block_view<T> x)
{
    const bool whole = x.cols != 0 && columns_by_four_rows(path, x) == x.cols;
    const std::size_t fours = whole ? rows_in_fours(x) : 0;
    for (std::size_t i = 0; i < x.rows; ++i) {
        if (i < fours && i % rows_together == 0)
            subtract_from_four_on(path, l, x, i, four_rows::apart);
        subtract_rows_above(path, l, x, i < fours ? i / rows_together * rows_together : 0, i);
        divide_row(path, x.row(i), l(i, i), x.cols);
    }
}

template <class T>
void substitute_upper(int path, block_view<const T> u, block_view<T> x)
{
    for (std::size_t i = x.rows; i-- > 0;) {
        subtract_products_on(path, x.row(i), u.row(i) + i + 1, x.row(i + 1), x.stride,
                             x.rows - 1 - i, x.cols);
        divide_row(path, x.row(i), u(i, i), x.cols);
    }
}

namespace {

// By substitution from unit vectors, in a tile of its own.
template <class T>
void invert_small_upper(int path, block_view<const T> r, block_view<T> x)
{
    aligned_vector<T> store = zeros<T>(r.rows * r.rows);
    const block_view<T> tile{store.data(), r.rows, r.rows};
    for (std::size_t i = 0; i < r.rows; ++i)
        tile(i, i) = T(1);
    substitute_upper(path, r, tile);
    copy_block<T>(tile, x);
}

// Up to this order the halves of a triangle are inverted side by side, each by one thread; of
// larger ones only where there are no more than two threads, as others share the products.
constexpr std::size_t greatest_in_halves = 512;

// Columns or rows of a triangle that are multiplied together, without what is zero beside them.
constexpr std::size_t inverse_band = 128;

// C += A·U for an upper triangle U.
template <class T>
void multiply_by_upper(block_view<const T> a, block_view<const T> u, block_view<T> c)
{
    for (std::size_t from = 0; from < u.cols; from += inverse_band) {
        const std::size_t to = std::min(from + inverse_band, u.cols);
        add_product<T>(a.sub(0, a.rows, 0, to), u.sub(0, to, from, to), c.sub(0, c.rows, from, to));
    }
}

// C += U·B.
template <class T>
void multiply_upper(block_view<const T> u, block_view<const T> b, block_view<T> c)
{
    for (std::size_t from = 0; from < u.rows; from += inverse_band) {
        const std::size_t to = std::min(from + inverse_band, u.rows);
        add_product<T>(u.sub(from, to, from, u.cols), b.sub(from, b.rows, 0, b.cols),
                       c.sub(from, to, 0, c.cols));
    }
}

// By halves, so that all but the leaves' work is in products; X is zero at the start:
//     [ R0  R01 ]⁻¹   [ X0  -X0·R01·X1 ]
//     [     R1  ]   = [         X1     ]
template <class T>
void invert_upper(int path, block_view<const T> r, block_view<T> x)
{
    const std::size_t n = r.rows;
    if (n <= triangular_tile)
        return invert_small_upper(path, r, x);
    const std::size_t mid = round_up(n / 2, triangular_tile);
    const block_view<T> x0 = x.sub(0, mid, 0, mid);
    const block_view<T> x1 = x.sub(mid, n, mid, n);
    const auto invert_half = [&](std::size_t half) { // writes X0 or X1
        half == 0 ? invert_upper<T>(path, r.sub(0, mid, 0, mid), x0)
                  : invert_upper<T>(path, r.sub(mid, n, mid, n), x1);
    };
    const bool on_two = n <= greatest_in_halves || allowed_threads() == 2;
    parallel_for(2, on_two ? mid * mid * mid * (sizeof(T) / sizeof(double)) / 24 : 0, invert_half);

    aligned_vector<T> store = zeros<T>(mid * x1.cols);
    const block_view<T> product{store.data(), mid, x1.cols};
    multiply_by_upper<T>(r.sub(0, mid, mid, n), x1, product);
    const aligned_vector<T> minus_x0 = negated_copy(x0);
    multiply_upper<T>({minus_x0.data(), mid, mid}, product, x.sub(0, mid, mid, n));
}

} // namespace

template <class T>
aligned_vector<T> upper_inverse(const aligned_vector<T>& r, std::size_t n)
{
    aligned_vector<T> inverse = zeros<T>(n * n);
    invert_upper<T>(gemm_path_current(), {r.data(), n, n}, {inverse.data(), n, n});
    return inverse;
}

template void substitute_unit_lower(int, block_view<const double>, block_view<double>);
template void substitute_unit_lower(int, block_view<const complex>, block_view<complex>);
template void substitute_lower(int, block_view<const double>, block_view<double>);
template void substitute_lower(int, block_view<const complex>, block_view<complex>);
template void substitute_upper(int, block_view<const double>, block_view<double>);
template void substitute_upper(int, block_view<const complex>, block_view<complex>);
template aligned_vector<double> upper_inverse(const aligned_vector<double>&, std::size_t);
template aligned_vector<complex> upper_inverse(const aligned_vector<complex>&, std::size_t);

} // namespace numerical::detail

#include "numerical/factor/lu_panel.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/kernels/largest.hpp"
#include "numerical/gemm/kernels/lu_columns.hpp"
#include "numerical/gemm/kernels/scale.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/scalar.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <type_traits>
#include <utility>

namespace numerical::detail {
namespace {

// Columns that are factored without recursion.
constexpr std::size_t leaf_columns = 16;

double square_of_modulus(const complex& z)
{
    return z.real() * z.real() + z.imag() * z.imag();
}

// Bounds that let a pivot be compared by its squared modulus, without a square root. A square in
// the safe range is right to two units in the last place and the modulus to one, so that beyond
// eight of them the squares decide. Between the bounds, and for NaN, the moduli are compared.
struct square_bounds
{
    double surely_less;    // a square below it belongs to a smaller modulus
    double surely_greater; // a square above it belongs to a greater one

    explicit square_bounds(double square)
    {
        constexpr double least_safe = 0x1p-900;
        constexpr double greatest_safe = 0x1p1000;
        constexpr double margin = 8 * std::numeric_limits<double>::epsilon();
        surely_less = square < least_safe ? 0 : std::min(square, greatest_safe) * (1 - margin);
        surely_greater = std::max(square, least_safe) * (1 + margin);
    }
};

// The greatest magnitude, in lanes so that the compiler can use vectors; a NaN is never it.
double largest_magnitude(const double* x, std::size_t n)
{
    constexpr std::size_t lanes = 8;
    std::array<double, lanes> largest{};
    std::size_t i = 0;
    for (; i + lanes <= n; i += lanes)
        for (std::size_t l = 0; l < lanes; ++l)
            largest[l] = std::abs(x[i + l]) > largest[l] ? std::abs(x[i + l]) : largest[l];
    for (; i < n; ++i)
        largest[0] = std::abs(x[i]) > largest[0] ? std::abs(x[i]) : largest[0];
    return *std::max_element(largest.begin(), largest.end());
}

} // namespace

std::size_t first_largest(int path, const double* x, std::size_t n)
{
    if (path != portable_path)
        return path == avx512_path ? avx512_first_largest(x, n) : avx2_first_largest(x, n);
    if (std::isnan(x[0]))
        return 0;
    const double largest = largest_magnitude(x, n);
    std::size_t i = 0;
    while (std::abs(x[i]) != largest)
        ++i;
    return i;
}

// The square root in the modulus would cost more than all else of the search.
std::size_t first_largest(int, const complex* x, std::size_t n)
{
    std::size_t best = 0;
    square_bounds bounds(square_of_modulus(x[0]));
    for (std::size_t i = 1; i < n; ++i) {
        const double square = square_of_modulus(x[i]);
        if (square < bounds.surely_less)
            continue;
        if (square > bounds.surely_greater || modulus(x[i]) > modulus(x[best])) {
            best = i;
            bounds = square_bounds(square);
        }
    }
    return best;
}

namespace {

using apply_kernel = void (*)(std::size_t, const double*, double*, std::size_t, std::size_t,
                              std::size_t);

apply_kernel kernel_of(int path, const double*)
{
    return path == avx512_path ? avx512_apply_columns : avx2_apply_columns;
}

apply_kernel kernel_of(int path, const complex*)
{
    return path == avx512_path ? avx512_apply_complex_columns : avx2_apply_complex_columns;
}

// Columns of L, row t of `l` being the t-th, applied to those of `dest`; see lu_columns.hpp.
template <class T>
void apply_columns_on(int path, block_view<const T> l, block_view<T> dest)
{
    if (path != portable_path) {
        kernel_of(path, l.first)(l.rows, as_doubles(l.first), as_doubles(dest.first), dest.rows,
                                 l.stride, l.cols);
        return;
    }
    for (std::size_t j = 0; j < dest.rows; ++j)
        for (std::size_t t = 0; t < l.rows; ++t) {
            const T factor = dest(j, t);
            for (std::size_t r = t + 1; r < l.cols; ++r)
                dest(j, r) -= factor * l(t, r);
        }
}

} // namespace

template <class T>
lu_panel<T>::lu_panel(block_view<T> panel_columns, std::size_t first_row, std::size_t block_width,
                      std::size_t* exchanged_with)
    : columns(panel_columns), rows(panel_columns.cols), panel_first(first_row), block(block_width),
      exchanges(exchanged_with), path(gemm_path_current())
{
}

// By halves, so that all but the leaves' work is in the product (Toledo 1997):
//      from  mid   to
//    [ L\U   A01 ]  from     left half; U01 = L⁻¹·A01;
//    [ L10   A11 ]  mid      A11 -= L10·U01; right half.
// The panel is stored by columns, so the row-major product sees the update transposed,
// A11ᵀ += (-U01)ᵀ·L10ᵀ.
template <class T>
void lu_panel<T>::factorize_columns(std::size_t from, std::size_t to)
{
    if (to - from <= leaf_columns || rows - from < 2 * block) {
        factorize_leaf(from, to);
        return;
    }
    const std::size_t mid = from + (to - from) / 2;
    factorize_columns(from, mid);

    solve_unit_lower(from, mid, to);
    const aligned_vector<T> minus_u01 = negated_copy(columns.sub(mid, to, from, mid));
    add_product({minus_u01.data(), to - mid, mid - from}, columns.sub(from, mid, mid, rows),
                columns.sub(mid, to, mid, rows));

    factorize_columns(mid, to);
}

// The columns of a leaf are applied in runs of at most four: those of the open run [run, k] to
// column k + 1 as soon as column k is divided by its pivot, a full run to all columns after it.
// Each element receives the columns in ascending order. A column without pivot is left alone,
// applied to none, and ends the run before it.
template <class T>
void lu_panel<T>::factorize_leaf(std::size_t from, std::size_t to)
{
    if (from == to)
        return;
    std::size_t run = from;
    std::size_t largest = largest_from(from);
    for (std::size_t k = from; k < to; ++k) {
        T* const column = columns.row(k);
        const bool is_last = k + 1 == to;
        if (column[largest] == T(0)) {
            met_zero_pivot = true;
            apply_columns(run, k, k + 1, to);
            run = k + 1;
            largest = is_last ? 0 : largest_from(run);
            continue;
        }
        if (largest != k)
            exchange_rows(k, largest);
        if (is_last)
            return divide_row(path, column + k + 1, column[k], rows - k - 1);
        largest = eliminate_next_column(run, k);
        if (k + 1 - run == column_run) {
            apply_columns(run, k + 1, k + 2, to);
            run = k + 1;
        }
    }
}

// The row of the pivot of column k.
template <class T>
std::size_t lu_panel<T>::largest_from(std::size_t k) const
{
    return k + first_largest(path, columns.row(k) + k, rows - k);
}

// Column k is divided by its pivot, and the columns [run, k] are applied to the next one, whose
// pivot's row is returned.
template <class T>
std::size_t lu_panel<T>::eliminate_next_column(std::size_t run, std::size_t k)
{
    if constexpr (std::is_same_v<T, double>)
        if (path != portable_path) {
            const auto eliminate =
                path == avx512_path ? avx512_eliminate_next_column : avx2_eliminate_next_column;
            return run + eliminate(k + 1 - run, &columns(run, run), columns.stride, rows - run);
        }
    divide_row(path, columns.row(k) + k + 1, columns(k, k), rows - k - 1);
    apply_columns(run, k + 1, k + 1, k + 2);
    return largest_from(k + 1);
}

// The columns [run, end) of L are applied to the columns [from, to) over all rows below.
template <class T>
void lu_panel<T>::apply_columns(std::size_t run, std::size_t end, std::size_t from, std::size_t to)
{
    if (run != end && from != to)
        apply_columns_on<T>(path, columns.sub(run, end, run, rows),
                            columns.sub(from, to, run, rows));
}

// Rows [from, mid) of the columns [mid, to) become U.
template <class T>
void lu_panel<T>::solve_unit_lower(std::size_t from, std::size_t mid, std::size_t to)
{
    static_assert(leaf_columns / 2 % column_run == 0);
    for (std::size_t run = from; run < mid; run += column_run)
        apply_columns_on<T>(path, columns.sub(run, run + column_run, run, mid),
                            columns.sub(mid, to, run, mid));
}

template <class T>
void lu_panel<T>::exchange_rows(std::size_t k, std::size_t p)
{
    for (std::size_t j = 0; j < columns.rows; ++j)
        std::swap(columns(j, k), columns(j, p));
    exchanges[k] = panel_first + p;
}

template class lu_panel<double>;
template class lu_panel<std::complex<double>>;

} // namespace numerical::detail

#include "numerical/factor/lu_panel.hpp"

#include "numerical/factor/triangular.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/scalar.hpp"

#include <array>
#include <cmath>
#include <limits>
#include <utility>

namespace numerical::detail {
namespace {

// Columns that are factored without recursion.
constexpr std::size_t leaf_columns = 16;

// The greatest of `of(x[i])` and their sum, in lanes so that the compiler can use vectors; a NaN is
// never the greatest.
struct largest_and_sum
{
    double largest;
    double sum;
};

template <class T, class F>
largest_and_sum survey(const T* x, std::size_t n, F of)
{
    constexpr std::size_t lanes = 8;
    std::array<double, lanes> largest{};
    std::array<double, lanes> sum{};
    std::size_t i = 0;
    for (; i + lanes <= n; i += lanes)
        for (std::size_t l = 0; l < lanes; ++l) {
            const double value = of(x[i + l]);
            largest[l] = value > largest[l] ? value : largest[l];
            sum[l] += value;
        }
    for (; i < n; ++i) {
        const double value = of(x[i]);
        largest[0] = value > largest[0] ? value : largest[0];
        sum[0] += value;
    }
    for (std::size_t l = 1; l < lanes; ++l) {
        largest[0] = largest[l] > largest[0] ? largest[l] : largest[0];
        sum[0] += sum[l];
    }
    return {largest[0], sum[0]};
}

double square_of_modulus(const std::complex<double>& z)
{
    return z.real() * z.real() + z.imag() * z.imag();
}

} // namespace

std::size_t first_largest(const double* x, std::size_t n)
{
    if (std::isnan(x[0]))
        return 0;
    const auto magnitude = [](double value) { return std::abs(value); };
    const double largest = survey(x, n, magnitude).largest;
    std::size_t i = 0;
    while (std::abs(x[i]) != largest)
        ++i;
    return i;
}

// The square root in the modulus costs more than all else of the search, so squares choose who may
// be the greatest. A square of a number in the safe range is right to two units in the last place,
// the modulus to one, so what lies below the greatest square by more than eight can't win.
std::size_t first_largest(const std::complex<double>* x, std::size_t n)
{
    const auto [largest, sum] = survey(x, n, square_of_modulus);
    const bool safe = largest >= 0x1p-900 && std::isfinite(sum);
    const double contends = safe ? largest * (1 - 8 * std::numeric_limits<double>::epsilon()) : 0.0;
    std::size_t best = 0;
    double best_modulus = safe ? 0.0 : modulus(x[0]);
    for (std::size_t i = 0; i < n; ++i) {
        if (square_of_modulus(x[i]) < contends)
            continue;
        const double contender = modulus(x[i]);
        if (contender > best_modulus) {
            best = i;
            best_modulus = contender;
        }
    }
    return best;
}

template <class T>
lu_panel<T>::lu_panel(block_view<T> panel_columns, std::size_t matrix_first_row,
                      std::size_t block_width, std::size_t* exchanged_with)
    : columns(panel_columns), rows(panel_columns.cols), first_row(matrix_first_row),
      block(block_width), exchanges(exchanged_with), path(gemm_path_current())
{
}

// By halves, so that all but the leaves' work is in the product (Toledo 1997):
//      from  mid   to
//    [ L\U   A01 ]  from     left half; U01 = L⁻¹·A01;
//    [ L10   A11 ]  mid      A11 -= L10·U01; right half.
// The panel lies by columns, so the row-major product sees the update transposed,
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

    for (std::size_t j = mid; j < to; ++j)
        solve_unit_lower(from, mid, j);
    const std::vector<T> minus_u01 = negated_copy(columns.sub(mid, to, from, mid));
    add_product({minus_u01.data(), to - mid, mid - from, mid - from},
                columns.sub(from, mid, mid, rows), columns.sub(mid, to, mid, rows));

    factorize_columns(mid, to);
}

// Column by column: what stands left of a column is applied when its turn comes, all at once, so
// that it passes through the registers only once; each element still meets the columns in ascending
// order. A column without pivot is applied to none. Before it falls out of the run [pending, k) of
// columns that are still to be applied, the run is applied to all columns after it.
template <class T>
void lu_panel<T>::factorize_leaf(std::size_t from, std::size_t to)
{
    std::size_t pending = from;
    for (std::size_t k = from; k < to; ++k) {
        subtract_columns(pending, k, k);
        T* const column = columns.row(k);
        const std::size_t p = k + first_largest(column + k, rows - k);
        if (column[p] == T(0)) {
            met_zero_pivot = true;
            for (std::size_t j = k + 1; j < to; ++j)
                subtract_columns(pending, k, j);
            pending = k + 1;
            continue;
        }
        if (p != k)
            exchange_rows(k, p);
        divide_row(column + k + 1, column[k], rows - k - 1);
    }
}

// Rows [from, to) of column j become U.
template <class T>
void lu_panel<T>::solve_unit_lower(std::size_t from, std::size_t to, std::size_t j)
{
    T* const column = columns.row(j);
    for (std::size_t k = from; k + 1 < to; ++k)
        subtract_scaled_on(path, column + k + 1, columns.row(k) + k + 1, column[k], to - k - 1);
}

// Columns [from, to) of L, already factored, are applied to the whole of column j.
template <class T>
void lu_panel<T>::subtract_columns(std::size_t from, std::size_t to, std::size_t j)
{
    solve_unit_lower(from, to, j);
    T* const column = columns.row(j);
    subtract_products_on(path, column + to, column + from, columns.row(from) + to, columns.stride,
                         to - from, rows - to);
}

template <class T>
void lu_panel<T>::exchange_rows(std::size_t k, std::size_t p)
{
    for (std::size_t j = 0; j < columns.rows; ++j)
        std::swap(columns(j, k), columns(j, p));
    exchanges[k] = first_row + p;
}

template class lu_panel<double>;
template class lu_panel<std::complex<double>>;

} // namespace numerical::detail

#include "numerical/factor/reflector.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/factor/reflector_products.hpp"
#include "numerical/gemm/kernels/gemv_unfused.hpp"
#include "numerical/gemm/kernels/ger.hpp"
#include "numerical/gemm/kernels/scale.hpp"
#include "numerical/gemm/sum_by_halves.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"

#include <algorithm>
#include <cmath>

namespace numerical::detail {
namespace {

constexpr std::size_t tile_columns = 64;

double largest_modulus(const auto& x)
{
    double largest = 0;
    for (const auto& element : x)
        largest = larger_modulus(largest, element);
    return largest;
}

// Scales x if it is tiny and gives the norm that it then has. A sum of squares in the safe range
// says by itself that x is not tiny, since that would take 2^100 elements; so the search for the
// largest modulus is left to the others.
template <class T>
double rescaled_norm(aligned_vector<T>& x, double& scale)
{
    const auto* const parts = as_doubles(x.data());
    const std::size_t count = x.size() * (sizeof(T) / sizeof(double));
    const double square = long_dot_on(gemm_path_current(), parts, parts, count);
    if (is_safe_square(square)) {
        scale = 1;
        return std::sqrt(square);
    }
    scale = rescale_tiny(x);
    return scaled_norm(x.data(), x.size());
}

// The reflector of an x with the given non-zero norm, and β.
template <class T>
T reflector_of(aligned_vector<T>& x, double norm)
{
    const T reach = phase_of(x[0]) * T(norm);
    x[0] += reach;
    const double length = scaled_norm(x.data(), x.size());
    divide_row(gemm_path_current(), as_doubles(x.data()), length,
               x.size() * sizeof(T) / sizeof(double));
    return -reach;
}

// y := H·y for `count` rows of v's length.
void reflect_stretches(int path, double* rows, std::size_t stride, std::size_t count,
                       const aligned_vector<double>& v)
{
    for (std::size_t r = 0; r < count; ++r) {
        double* const y = rows + r * stride;
        const double d = long_dot_on(path, v.data(), y, v.size());
        scaled_add_on(path, y, v.data(), -2 * d, v.size());
    }
}

// As conjugate_dots, in runs whose sums are added by halves.
void long_conjugate_dots(int path, complex* sums, const complex* v, block_view<const complex> rows)
{
    const auto [first, count, n, stride] = rows;
    if (n <= longest_dot_run)
        return conjugate_dots(path, sums, v, first, stride, count, n);
    const std::size_t half = first_half(n, longest_dot_run);
    long_conjugate_dots(path, sums, v, rows.sub(0, count, 0, half));
    complex later[rows_at_once];
    long_conjugate_dots(path, later, v + half, rows.sub(0, count, half, n));
    for (std::size_t r = 0; r < count; ++r)
        sums[r] += later[r];
}

void reflect_stretches(int path, complex* rows, std::size_t stride, std::size_t count,
                       const aligned_vector<complex>& v)
{
    complex sums[rows_at_once];
    for (std::size_t r0 = 0; r0 < count; r0 += rows_at_once) {
        const std::size_t height = std::min(rows_at_once, count - r0);
        complex* const group = rows + r0 * stride;
        long_conjugate_dots(path, sums, v.data(),
                            {.first = group, .rows = height, .cols = v.size(), .stride = stride});
        for (std::size_t r = 0; r < height; ++r)
            sums[r] *= complex(2);
        subtract_from_rows_on(path, group, stride, height, sums, v.data(), v.size());
    }
}

} // namespace

template <class T>
double rescale_tiny(aligned_vector<T>& x)
{
    const double scale = tiny_scale(largest_modulus(x));
    if (scale != 1)
        for (T& element : x)
            element *= scale;
    return scale;
}

template <class T>
T householder_in_place(aligned_vector<T>& x)
{
    double scale = 1;
    const double norm = rescaled_norm(x, scale);
    return reflector_of(x, norm) / scale;
}

template <class T>
void make_reflector(aligned_vector<T>& x)
{
    double scale = 1;
    const double norm = rescaled_norm(x, scale);
    if (norm == 0)
        x.clear();
    else
        reflector_of(x, norm);
}

template <class T>
void reflect_rows(block_view<T> rows, const aligned_vector<T>& v)
{
    const int path = gemm_path_current();
    aligned_vector<T> minus_conjugate(v.size());
    aligned_vector<T> twice(v.size());
    for (std::size_t l = 0; l < v.size(); ++l) {
        minus_conjugate[l] = negated(conjugate(v[l]));
        twice[l] = T(2) * v[l];
    }

    // sums = vᴴ·tile, then tile -= 2·v·sums.
    const auto reflect_tile = [&](std::size_t t) {
        const std::size_t left = tile_columns * t;
        const std::size_t width = std::min(rows.cols - left, tile_columns);
        T* const tile = rows.first + left;
        T sums[tile_columns] = {};
        subtract_products_on(path, sums, minus_conjugate.data(), tile, rows.stride, v.size(),
                             width);
        subtract_from_rows_on(path, tile, rows.stride, v.size(), twice.data(), sums, width);
    };
    parallel_for(ceil_div(rows.cols, tile_columns), v.size() << 7, reflect_tile);
}

template <class T>
void reflect_rows(aligned_vector<T>& a, std::size_t ld, const aligned_vector<T>& v,
                  std::size_t first_row, std::size_t first_column)
{
    const std::size_t column_end = ld;
    reflect_rows(block_view<T>{.first = a.data() + first_row * ld + first_column,
                               .rows = v.size(),
                               .cols = column_end - first_column,
                               .stride = ld},
                 v);
}

template <class T>
void reflect_columns(block_view<T> stretches, const aligned_vector<T>& v)
{
    if (!v.empty())
        reflect_stretches(gemm_path_current(), stretches.first, stretches.stride, stretches.rows,
                          v);
}

template <class T>
void reflect_columns(aligned_vector<T>& a, std::size_t ld, const aligned_vector<T>& v,
                     std::size_t column, std::size_t row_from, std::size_t row_to)
{
    if (row_from < row_to)
        reflect_columns(block_view<T>{.first = a.data() + row_from * ld + column,
                                      .rows = row_to - row_from,
                                      .cols = v.size(),
                                      .stride = ld},
                        v);
}

template double rescale_tiny(aligned_vector<double>&);
template double rescale_tiny(aligned_vector<complex>&);
template double householder_in_place(aligned_vector<double>&);
template complex householder_in_place(aligned_vector<complex>&);
template void make_reflector(aligned_vector<double>&);
template void make_reflector(aligned_vector<complex>&);
template void reflect_rows(block_view<double>, const aligned_vector<double>&);
template void reflect_rows(block_view<complex>, const aligned_vector<complex>&);
template void reflect_columns(block_view<double>, const aligned_vector<double>&);
template void reflect_columns(block_view<complex>, const aligned_vector<complex>&);
template void reflect_rows(aligned_vector<double>&, std::size_t, const aligned_vector<double>&,
                           std::size_t, std::size_t);
template void reflect_rows(aligned_vector<complex>&, std::size_t, const aligned_vector<complex>&,
                           std::size_t, std::size_t);
template void reflect_columns(aligned_vector<double>&, std::size_t, const aligned_vector<double>&,
                              std::size_t, std::size_t, std::size_t);
template void reflect_columns(aligned_vector<complex>&, std::size_t, const aligned_vector<complex>&,
                              std::size_t, std::size_t, std::size_t);

} // namespace numerical::detail

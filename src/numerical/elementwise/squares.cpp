#include "numerical/elementwise/squares.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/elementwise/reduction_kernels.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/block_view.hpp"

#include <algorithm>
#include <cmath>
#include <complex>

namespace numerical::detail {
namespace {

double squared(double x)
{
    return x * x;
}

double squared(const complex& z)
{
    return z.real() * z.real() + z.imag() * z.imag();
}

// Sum of (scale·|row[i] - centre|)², cut in halves as by pairwise_sum.
template <class T>
double row_sum(const T* row, std::size_t n, const T& centre, double scale)
{
    if (n > pairwise_limit) {
        const std::size_t half = pairwise_half(n);
        const double left = row_sum(row, half, centre, scale);
        return left + row_sum(row + half, n - half, centre, scale);
    }
    double squares[pairwise_limit];
    for (std::size_t i = 0; i < n; ++i)
        squares[i] = squared((row[i] - centre) * scale);
    return pairwise_sum(squares, n, 1);
}

// The number of elements whose squares are held at a time where the sums run down columns.
constexpr std::size_t block_elements = std::size_t{1} << 16;

// The squares of a block of columns at one outer index.
template <class T>
void square_block(block_view<const T> block, const T* centres, const double* scales,
                  double* squares)
{
    const std::size_t width = block.cols;
    for (std::size_t r = 0; r < block.rows; ++r) {
        const T* const row = block.row(r);
        double* const out = squares + r * width;
        if (centres != nullptr)
            for (std::size_t k = 0; k < width; ++k)
                out[k] = squared(row[k] - centres[k]);
        else if (scales != nullptr)
            for (std::size_t k = 0; k < width; ++k)
                out[k] = squared(row[k] * scales[k]);
        else
            for (std::size_t k = 0; k < width; ++k)
                out[k] = squared(row[k]);
    }
}

template <class T>
void column_sums(const T* data, const walk_shape& walk, const T* centres, const double* scales,
                 double* out)
{
    const auto [outer, extent, inner] = walk;
    const std::size_t tile =
        std::clamp<std::size_t>(block_elements / std::max<std::size_t>(extent, 1), 1, inner);
    aligned_vector<double> squares = uninitialized<double>(extent * tile);
    for (std::size_t k = 0; k < inner; k += tile) {
        const std::size_t width = std::min(tile, inner - k);
        square_block<T>({.first = data + k, .rows = extent, .cols = width, .stride = inner},
                        centres == nullptr ? nullptr : centres + k,
                        scales == nullptr ? nullptr : scales + k, squares.data());
        const aligned_vector<double> sums_of_tile =
            sums(static_cast<const double*>(squares.data()), {1, extent, width});
        std::copy(sums_of_tile.begin(), sums_of_tile.end(), out + k);
    }
}

// The reciprocal of the largest power of two up to x; 1 if x is zero or isn't finite.
double inverse_power(double x)
{
    if (!(x > 0) || std::isinf(x))
        return 1.0;
    return std::ldexp(1.0, -std::clamp(std::ilogb(x), -1021, 1021));
}

// The scales that bring the largest modulus of each sum near 1.
template <class T>
aligned_vector<double> scales_of(const T* data, const walk_shape& walk)
{
    const auto [outer, extent, inner] = walk;
    aligned_vector<double> largest(outer * inner, 0.0);
    for (std::size_t row = 0; row < outer * extent; ++row) {
        double* const of_row = largest.data() + row / extent * inner;
        for (std::size_t k = 0; k < inner; ++k)
            of_row[k] = larger_modulus(of_row[k], data[row * inner + k]);
    }
    std::transform(largest.begin(), largest.end(), largest.begin(), inverse_power);
    return largest;
}

// The norm of consecutive elements, by the dot product of their parts with themselves.
template <class T>
double row_norm(const T* row, std::size_t n)
{
    const auto* parts = as_doubles(row);
    const std::size_t count = n * (sizeof(T) / sizeof(double));
    const double square = chunked_dot(parts, parts, count);
    if (is_safe_square(square))
        return std::sqrt(square);
    const double* const infinite =
        std::find_if(parts, parts + count, [](double x) { return std::isinf(x); });
    if (std::isnan(square) || infinite != parts + count)
        return square; // NaN or infinity, like the sum
    return scaled_norm(row, n);
}

} // namespace

template <class T>
aligned_vector<double> sums_of_squares(const T* data, const walk_shape& walk,
                                       const aligned_vector<T>& centres,
                                       const aligned_vector<double>& scales)
{
    const auto [outer, extent, inner] = walk;
    aligned_vector<double> out = uninitialized<double>(outer * inner);
    for (std::size_t o = 0; o < outer; ++o) {
        const T* const first = data + o * extent * inner;
        const std::size_t at = o * inner;
        if (inner == 1)
            out[at] = row_sum(first, extent, centres.empty() ? T(0) : centres[at],
                              scales.empty() ? 1.0 : scales[at]);
        else
            column_sums(first, {1, extent, inner}, centres.empty() ? nullptr : centres.data() + at,
                        scales.empty() ? nullptr : scales.data() + at, out.data() + at);
    }
    return out;
}

template <class T>
aligned_vector<double> euclidean_norms(const T* data, const walk_shape& walk)
{
    if (walk.inner == 1) {
        aligned_vector<double> norms = uninitialized<double>(walk.outer);
        for (std::size_t o = 0; o < walk.outer; ++o)
            norms[o] = row_norm(data + o * walk.extent, walk.extent);
        return norms;
    }
    aligned_vector<double> norms = sums_of_squares(data, walk, {}, {});
    if (std::all_of(norms.begin(), norms.end(), is_safe_square)) {
        for (double& norm : norms)
            norm = std::sqrt(norm);
        return norms;
    }
    const aligned_vector<double> scales = scales_of(data, walk);
    norms = sums_of_squares(data, walk, {}, scales);
    for (std::size_t i = 0; i < norms.size(); ++i)
        norms[i] = std::sqrt(norms[i]) / scales[i];
    return norms;
}

template aligned_vector<double> sums_of_squares(const double*, const walk_shape&,
                                                const aligned_vector<double>&,
                                                const aligned_vector<double>&);
template aligned_vector<double> sums_of_squares(const complex*, const walk_shape&,
                                                const aligned_vector<complex>&,
                                                const aligned_vector<double>&);
template aligned_vector<double> euclidean_norms(const double*, const walk_shape&);
template aligned_vector<double> euclidean_norms(const complex*, const walk_shape&);

} // namespace numerical::detail

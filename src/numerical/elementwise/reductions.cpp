#include "numerical/elementwise/reductions.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/checks.hpp"
#include "numerical/elementwise/reduction_kernels.hpp"
#include "numerical/errors.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <complex>
#include <limits>
#include <string>
#include <type_traits>
#include <utility>

namespace numerical {
namespace {

using detail::as_doubles;
using detail::complex;
using detail::reduction_kernels;
using detail::walk_shape;

constexpr double canonical_nan = std::numeric_limits<double>::quiet_NaN();

const reduction_kernels& kernels_in_force()
{
    return detail::avx2_in_force(detail::gemm_path_current()) ? detail::avx2_unfused_reduction
                                                              : detail::portable_reduction;
}

// Complex numbers are summed part by part: as plain doubles the accumulators fill vector registers.
// `stride` is a number, or the constant 1, for which the compiler makes vector code.
template <class T, class Stride>
T sum_of_run(const T* p, std::size_t n, Stride stride)
{
    constexpr std::size_t parts = sizeof(T) / sizeof(double);
    const auto part = [x = as_doubles(p), stride](std::size_t i) {
        return x[i / parts * stride * parts + i % parts];
    };
    double r[8 * parts];
    for (std::size_t j = 0; j < 8 * parts; ++j)
        r[j] = part(j);
    std::size_t i = 8;
    for (; i + 8 <= n; i += 8)
        for (std::size_t j = 0; j < 8 * parts; ++j)
            r[j] += part(i * parts + j);
    double sums[parts];
    for (std::size_t q = 0; q < parts; ++q)
        sums[q] = ((r[q] + r[parts + q]) + (r[2 * parts + q] + r[3 * parts + q])) +
                  ((r[4 * parts + q] + r[5 * parts + q]) + (r[6 * parts + q] + r[7 * parts + q]));
    for (; i < n; ++i)
        for (std::size_t q = 0; q < parts; ++q)
            sums[q] += part(i * parts + q);
    if constexpr (parts == 1)
        return sums[0];
    else
        return T(sums[0], sums[1]);
}

template <class T, class Stride>
T strided_sum(const T* p, std::size_t n, Stride stride)
{
    if (n < 8) {
        T sum(0);
        for (std::size_t i = 0; i < n; ++i)
            sum += p[i * stride];
        return sum;
    }
    if (n <= detail::pairwise_limit)
        return sum_of_run(p, n, stride);
    const std::size_t half = detail::pairwise_half(n);
    const T left = strided_sum(p, half, stride); // first, so that memory is read forwards
    return left + strided_sum(p + half * stride, n - half, stride);
}

shape_list without_axis(const shape_list& shape, std::size_t axis)
{
    shape_list rest;
    rest.reserve(shape.size());
    for (std::size_t i = 0; i < shape.size(); ++i)
        if (i != axis)
            rest.push_back(shape[i]);
    return rest;
}

// The number of columns that are summed in one pass down the rows: many where rows are read in long
// pieces, few where there are so few rows that the hardware prefetcher follows each as a stream.
constexpr std::size_t columns_at_once(std::size_t rows)
{
    return rows < 16 ? 32 : 4096;
}

// Complex numbers are summed part by part, as two columns of doubles.
template <class T>
void sum_columns(const T* data, const walk_shape& walk, T* out)
{
    constexpr std::size_t parts = sizeof(T) / sizeof(double);
    const reduction_kernels& kernels = kernels_in_force();
    const auto* numbers = as_doubles(data);
    auto* sums = as_doubles(out);
    const std::size_t columns = walk.inner * parts;
    const std::size_t tile = std::min(columns, columns_at_once(walk.extent));
    aligned_vector<double> scratch =
        detail::uninitialized<double>(detail::column_sum_scratch(walk.extent, tile));
    for (std::size_t o = 0; o < walk.outer; ++o) {
        for (std::size_t k = 0; k < columns; k += tile)
            kernels.column_sums({.first = numbers + k,
                                 .rows = walk.extent,
                                 .stride = columns,
                                 .width = std::min(tile, columns - k)},
                                sums + k, scratch.data());
        numbers += walk.extent * columns;
        sums += columns;
    }
}

// A sum is divided by its count by the rules of C, for complex sums with a divisor of imaginary
// part zero.
template <class T>
T count_as(std::size_t n)
{
    return T(static_cast<double>(n));
}

[[noreturn]] void throw_no_identity()
{
    throw dimension_error("a zero-size reduction to a maximum or a minimum has no identity");
}

template <class C>
constexpr bool is_minimum = std::is_same_v<C, std::less<double>>;

template <class C>
void extremes_of_columns(const double* data, const walk_shape& walk, double* out)
{
    const reduction_kernels& kernels = kernels_in_force();
    const auto kernel = is_minimum<C> ? kernels.least_of_columns : kernels.greatest_of_columns;
    const std::size_t tile = std::min(walk.inner, columns_at_once(walk.extent));
    for (std::size_t o = 0; o < walk.outer; ++o) {
        for (std::size_t k = 0; k < walk.inner; k += tile) {
            const std::size_t width = std::min(tile, walk.inner - k);
            kernel({.first = data + k, .rows = walk.extent, .stride = walk.inner, .width = width},
                   out + k);
            std::replace_if(
                out + k, out + k + width, [](double x) { return x != x; }, canonical_nan);
        }
        data += walk.extent * walk.inner;
        out += walk.inner;
    }
}

} // namespace

namespace detail {

walk_shape walk_along(const shape_list& shape, std::size_t axis)
{
    if (axis >= shape.size())
        throw dimension_error("axis " + std::to_string(axis) +
                              " is out of bounds for a tensor of rank " +
                              std::to_string(shape.size()));
    walk_shape walk{1, shape[axis], 1};
    for (std::size_t i = 0; i < axis; ++i)
        walk.outer *= shape[i];
    for (std::size_t i = axis + 1; i < shape.size(); ++i)
        walk.inner *= shape[i];
    return walk;
}

template <class T>
T pairwise_sum(const T* p, std::size_t n, std::size_t stride)
{
    if (stride == 1)
        return strided_sum(p, n, std::integral_constant<std::size_t, 1>());
    return strided_sum(p, n, stride);
}

template <class C>
double contiguous_extreme(const double* p, std::size_t n, const C&)
{
    const reduction_kernels& kernels = kernels_in_force();
    const extreme_found found = is_minimum<C> ? kernels.least(p, n) : kernels.greatest(p, n);
    return found.nan ? canonical_nan : found.value;
}

template <class T>
aligned_vector<T> sums(const T* data, const walk_shape& walk)
{
    aligned_vector<T> out = uninitialized<T>(checked_mul(walk.outer, walk.inner));
    if (!out.empty() && walk.inner != 1)
        sum_columns(data, walk, out.data());
    if (walk.inner == 1)
        for (std::size_t o = 0; o < out.size(); ++o)
            out[o] = pairwise_sum(data + o * walk.extent, walk.extent, 1);
    return out;
}

template <class T>
aligned_vector<T> means(const T* data, const walk_shape& walk)
{
    aligned_vector<T> out = sums(data, walk);
    const T count = count_as<T>(walk.extent);
    for (T& x : out)
        x = x / count;
    return out;
}

template <class C>
aligned_vector<double> extremes(const double* data, const walk_shape& walk, const C& compare)
{
    if (walk.extent == 0)
        throw_no_identity();
    aligned_vector<double> out = uninitialized<double>(checked_mul(walk.outer, walk.inner));
    if (!out.empty() && walk.inner != 1)
        extremes_of_columns<C>(data, walk, out.data());
    if (walk.inner == 1)
        for (std::size_t o = 0; o < out.size(); ++o)
            out[o] = contiguous_extreme(data + o * walk.extent, walk.extent, compare);
    return out;
}

template <class C>
tensor<double> extremes_along(const tensor<double>& a, std::size_t axis, const C& compare)
{
    const walk_shape walk = walk_along(a.shape, axis);
    return tensor<double>(without_axis(a.shape, axis), extremes(a.data.data(), walk, compare));
}

template aligned_vector<double> sums(const double*, const walk_shape&);
template aligned_vector<complex> sums(const complex*, const walk_shape&);
template aligned_vector<double> means(const double*, const walk_shape&);
template aligned_vector<complex> means(const complex*, const walk_shape&);
template aligned_vector<double> extremes(const double*, const walk_shape&,
                                         const std::less<double>&);
template aligned_vector<double> extremes(const double*, const walk_shape&,
                                         const std::greater<double>&);

template double pairwise_sum(const double*, std::size_t, std::size_t);
template complex pairwise_sum(const complex*, std::size_t, std::size_t);
template double contiguous_extreme(const double*, std::size_t, const std::less<double>&);
template double contiguous_extreme(const double*, std::size_t, const std::greater<double>&);
template tensor<double> extremes_along(const tensor<double>&, std::size_t,
                                       const std::less<double>&);
template tensor<double> extremes_along(const tensor<double>&, std::size_t,
                                       const std::greater<double>&);

} // namespace detail

template <class T>
T sum(const tensor<T>& a)
{
    return detail::pairwise_sum(a.data.data(), a.data.size(), 1);
}

template <class T>
T mean(const tensor<T>& a)
{
    return sum(a) / count_as<T>(a.data.size());
}

template <class T>
tensor<T> sum_along(const tensor<T>& a, std::size_t axis)
{
    const walk_shape walk = detail::walk_along(a.shape, axis);
    return tensor<T>(without_axis(a.shape, axis), detail::sums(a.data.data(), walk));
}

template <class T>
tensor<T> mean_along(const tensor<T>& a, std::size_t axis)
{
    const walk_shape walk = detail::walk_along(a.shape, axis);
    return tensor<T>(without_axis(a.shape, axis), detail::means(a.data.data(), walk));
}

template <class C>
double extreme(const tensor<double>& a, const C& compare)
{
    if (a.data.empty())
        throw_no_identity();
    return detail::contiguous_extreme(a.data.data(), a.data.size(), compare);
}

template double sum(const tensor<double>&);
template complex sum(const tensor<complex>&);
template double mean(const tensor<double>&);
template complex mean(const tensor<complex>&);
template tensor<double> sum_along(const tensor<double>&, std::size_t);
template tensor<complex> sum_along(const tensor<complex>&, std::size_t);
template tensor<double> mean_along(const tensor<double>&, std::size_t);
template tensor<complex> mean_along(const tensor<complex>&, std::size_t);
template double extreme(const tensor<double>&, const std::less<double>&);
template double extreme(const tensor<double>&, const std::greater<double>&);

} // namespace numerical

#include "numerical/eigen/lower_triangle.hpp"

#include "numerical/counts.hpp"
#include "numerical/errors.hpp"
#include "numerical/gemm/kernels/scale.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/runtime/longest_at_ends.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/strided/dense_passes.hpp"

#include <algorithm>
#include <complex>
#include <limits>
#include <numeric>
#include <vector>

namespace numerical::detail {
namespace {

double larger_in_row(double largest, const double* row, std::size_t n)
{
    return std::max(largest, largest_modulus(row, n));
}

// Stretches whose parts are too small for a larger modulus are passed over: the parts are compared
// in vectors, while a modulus is a root.
double larger_in_row(double largest, const complex* row, std::size_t n)
{
    constexpr std::size_t stretch = 32;
    constexpr double most = 1.4143; // of a modulus to the greater part, above √2
    for (std::size_t from = 0; from < n; from += stretch) {
        const std::size_t to = std::min(from + stretch, n);
        if (most * largest_modulus(as_doubles(row + from), 2 * (to - from)) > largest)
            for (std::size_t j = from; j < to; ++j)
                largest = larger_modulus(largest, row[j]);
    }
    return largest;
}

constexpr std::size_t strip_rows = 64;

// pass(from, to) for strips of the rows of an n × n lower triangle; `work` of an element on the
// scale of parallel_for, in quarters.
template <class F>
void for_each_strip(std::size_t n, std::size_t work, const F& pass)
{
    const std::size_t strips = ceil_div(n, strip_rows);
    const auto pass_strip = [&](std::size_t i) {
        const std::size_t from = longest_at_ends(i, strips) * strip_rows;
        pass(from, std::min(from + strip_rows, n));
    };
    parallel_for(strips, strip_rows * (n / 2) * work / 4, pass_strip);
}

// Of row i up to the diagonal, which is real in the matrix that is decomposed.
template <class T>
double larger_in_lower_row(double largest, const T* row, std::size_t i)
{
    return larger_modulus(larger_in_row(largest, row, i), real_part(row[i]));
}

// A row is checked and searched while it is in L1.
template <class T>
double largest_of_finite_lower(block_view<const T> a, const char* operation)
{
    const std::size_t quarters = (short_loops_pay() ? 8 : 2) * sizeof(T) / sizeof(double);
    std::vector<double> largest(ceil_div(a.rows, strip_rows));
    for_each_strip(a.rows, quarters, [&](std::size_t from, std::size_t to) {
        double of_strip = 0;
        for (std::size_t i = from; i < to; ++i) {
            require_finite_lower(a, i, i + 1, operation);
            of_strip = larger_in_lower_row(of_strip, a.row(i), i);
        }
        largest[from / strip_rows] = of_strip;
    });
    return std::accumulate(largest.begin(), largest.end(), 0.0,
                           [](double x, double y) { return std::max(x, y); });
}

} // namespace

template <class T>
double checked_scale(block_view<const T> a, const char* operation, const char* not_square)
{
    if (a.rows != a.cols)
        throw dimension_error(not_square);
    const double largest = largest_of_finite_lower(a, operation);
    return largest == 0 ? 1.0 : std::min(largest, std::numeric_limits<double>::max());
}

double checked_scale(block_view<const double> a)
{
    return checked_scale(a, "symmetric eigendecomposition",
                         "symmetric eigendecomposition requires a square matrix");
}

double checked_scale(block_view<const complex> a)
{
    return checked_scale(a, "Hermitian eigendecomposition",
                         "Hermitian eigendecomposition requires a square matrix");
}

template <class T>
void scale_lower(matrix<T>& a, double scale)
{
    constexpr std::size_t parts = sizeof(T) / sizeof(double);
    const int path = gemm_path_current();
    for_each_strip(a.rows, 4 * parts, [&](std::size_t from, std::size_t to) {
        for (std::size_t i = from; i < to; ++i) {
            T* const row = a.data.data() + i * a.cols;
            divide_row(path, as_doubles(row), scale, i * parts);
            row[i] = T(real_part(row[i]) / scale);
        }
    });
}

template double checked_scale(block_view<const double>, const char*, const char*);
template double checked_scale(block_view<const complex>, const char*, const char*);
template void scale_lower(matrix<double>&, double);
template void scale_lower(matrix<complex>&, double);

} // namespace numerical::detail

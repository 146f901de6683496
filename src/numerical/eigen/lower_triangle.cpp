#include "numerical/eigen/lower_triangle.hpp"

#include "numerical/errors.hpp"
#include "numerical/scalar.hpp"
#include "numerical/strided/dense_passes.hpp"

#include <algorithm>
#include <complex>
#include <limits>

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

// The diagonal of the matrix that is decomposed is real.
template <class T>
double largest_of_lower(const matrix<T>& a)
{
    double largest = 0;
    for (std::size_t i = 0; i < a.rows; ++i) {
        const T* const row = a.data.data() + i * a.cols;
        largest = larger_in_row(largest, row, i);
        largest = larger_modulus(largest, real_part(row[i]));
    }
    return largest;
}

} // namespace

template <class T>
double checked_scale(const matrix<T>& a, const char* operation, const char* not_square)
{
    if (a.rows != a.cols)
        throw dimension_error(not_square);
    require_finite_lower(a, operation);
    const double largest = largest_of_lower(a);
    return largest == 0 ? 1.0 : std::min(largest, std::numeric_limits<double>::max());
}

double checked_scale(const matrix<double>& a)
{
    return checked_scale(a, "symmetric eigendecomposition",
                         "symmetric eigendecomposition requires a square matrix");
}

double checked_scale(const matrix<complex>& a)
{
    return checked_scale(a, "Hermitian eigendecomposition",
                         "Hermitian eigendecomposition requires a square matrix");
}

template <class T>
void scale_lower(matrix<T>& a, double scale)
{
    for (std::size_t i = 0; i < a.rows; ++i) {
        T* const row = a.data.data() + i * a.cols;
        for (std::size_t j = 0; j < i; ++j)
            row[j] /= scale;
        row[i] = T(real_part(row[i]) / scale);
    }
}

template double checked_scale(const matrix<double>&, const char*, const char*);
template double checked_scale(const matrix<complex>&, const char*, const char*);
template void scale_lower(matrix<double>&, double);
template void scale_lower(matrix<complex>&, double);

} // namespace numerical::detail

#include "numerical/elementwise/variance.hpp"

#include "numerical/storage.hpp"

#include <algorithm>
#include <complex>
#include <limits>

namespace numerical::detail {
namespace {

double squared_modulus(double x)
{
    return x * x;
}

double squared_modulus(const std::complex<double>& z)
{
    return z.real() * z.real() + z.imag() * z.imag();
}

// Squared distances of one row of consecutive elements from its own mean, or of a row across the
// columns from the mean of each.
template <class T>
void distances_from_one(const T* row, const T& mean, double* out, std::size_t n)
{
    for (std::size_t k = 0; k < n; ++k)
        out[k] = squared_modulus(row[k] - mean);
}

template <class T>
void distances_from_each(const T* row, const T* mean, double* out, std::size_t n)
{
    for (std::size_t k = 0; k < n; ++k)
        out[k] = squared_modulus(row[k] - mean[k]);
}

template <class T>
std::vector<double> squared_distances(const T* data, const walk_shape& walk,
                                      const std::vector<T>& mean)
{
    const auto [outer, extent, inner] = walk;
    std::vector<double> squares = uninitialized<double>(outer * extent * inner);
    if (inner == 1) {
        for (std::size_t o = 0; o < outer; ++o)
            distances_from_one(data + o * extent, mean[o], squares.data() + o * extent, extent);
        return squares;
    }
    for (std::size_t row = 0; row < outer * extent; ++row)
        distances_from_each(data + row * inner, mean.data() + row / extent * inner,
                            squares.data() + row * inner, inner);
    return squares;
}

} // namespace

template <class T>
std::vector<double> variances(const T* data, const walk_shape& walk, double correction)
{
    const double degrees = static_cast<double>(walk.extent) - correction;
    if (!(degrees > 0))
        return std::vector<double>(walk.outer * walk.inner,
                                   std::numeric_limits<double>::quiet_NaN());
    const std::vector<double> squares = squared_distances(data, walk, means(data, walk));
    std::vector<double> results = sums(squares.data(), walk);
    for (double& result : results)
        result /= degrees;
    return results;
}

template std::vector<double> variances(const double*, const walk_shape&, double);
template std::vector<double> variances(const std::complex<double>*, const walk_shape&, double);

} // namespace numerical::detail

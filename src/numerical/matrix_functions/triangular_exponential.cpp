#include "numerical/matrix_functions/triangular_exponential.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/scalar.hpp"

#include <cmath>
#include <complex>

namespace numerical::detail {
namespace {

// (e^x - e^y)/(x - y). For close x and y it is computed as e^((x + y)/2)·sinh(h)/h with h = (x -
// y)/2, in which nothing cancels (Higham 2008, equation 10.42); for others sinh might overflow.
template <class T>
T divided_difference(const T& x, const T& y)
{
    const T h = (x - y) / 2.0;
    if (h == T(0))
        return std::exp(x);
    if (modulus(h) < 1)
        return std::exp((x + y) / 2.0) * (std::sinh(h) / h);
    return (std::exp(x) - std::exp(y)) / (x - y);
}

} // namespace

template <class T>
bool is_upper_triangular(const aligned_vector<T>& a, std::size_t n)
{
    for (std::size_t i = 1; i < n; ++i)
        for (std::size_t j = 0; j < i; ++j)
            if (a[i * n + j] != T(0))
                return false;
    return true;
}

template <class T>
bool is_lower_triangular(const aligned_vector<T>& a, std::size_t n)
{
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = i + 1; j < n; ++j)
            if (a[i * n + j] != T(0))
                return false;
    return true;
}

template <class T>
void restore_diagonals(aligned_vector<T>& x, const aligned_vector<T>& t, std::size_t n,
                       int exponent)
{
    const auto scaled = [&](std::size_t i, std::size_t j) {
        return scaled_by_power(t[i * n + j], exponent);
    };
    for (std::size_t i = 0; i < n; ++i) {
        x[i * n + i] = std::exp(scaled(i, i));
        if (i + 1 < n && t[i * n + i + 1] != T(0))
            x[i * n + i + 1] =
                scaled(i, i + 1) * divided_difference(scaled(i, i), scaled(i + 1, i + 1));
    }
}

template bool is_upper_triangular(const aligned_vector<double>&, std::size_t);
template bool is_upper_triangular(const aligned_vector<complex>&, std::size_t);
template bool is_lower_triangular(const aligned_vector<double>&, std::size_t);
template bool is_lower_triangular(const aligned_vector<complex>&, std::size_t);
template void restore_diagonals(aligned_vector<double>&, const aligned_vector<double>&, std::size_t,
                                int);
template void restore_diagonals(aligned_vector<complex>&, const aligned_vector<complex>&,
                                std::size_t, int);

} // namespace numerical::detail

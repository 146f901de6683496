#include "numerical/factor/determinant.hpp"

#include "numerical/scalar.hpp"

#include <cmath>
#include <limits>
#include <numbers>

namespace numerical {
namespace {

double log_of_modulus(double x)
{
    return std::log(std::abs(x));
}

// Also where the modulus of finite parts overflows.
double log_of_modulus(const detail::complex& z)
{
    const double modulus = std::abs(z);
    if (std::isinf(modulus) && detail::is_finite(z))
        return std::log(std::abs(z * 0.5)) + std::numbers::ln2;
    return std::log(modulus);
}

} // namespace

template <class T>
T determinant(const lu_decomposition<T>& lu)
{
    T product(lu.sign);
    for (std::size_t i = 0; i < lu.order; ++i)
        product *= lu.factors[i * lu.order + i];
    return product;
}

template <class T>
sign_and_log<T> slogdet(const lu_decomposition<T>& lu)
{
    if (lu.singular)
        return {T(0), -std::numeric_limits<double>::infinity()};
    sign_and_log<T> result{T(lu.sign), 0.0};
    for (std::size_t i = 0; i < lu.order; ++i) {
        const T& diagonal = lu.factors[i * lu.order + i];
        result.sign = detail::phase_of(diagonal) * result.sign;
        result.log += log_of_modulus(diagonal);
    }
    return result;
}

template double determinant(const lu_decomposition<double>&);
template std::complex<double> determinant(const lu_decomposition<std::complex<double>>&);
template sign_and_log<double> slogdet(const lu_decomposition<double>&);
template sign_and_log<std::complex<double>> slogdet(const lu_decomposition<std::complex<double>>&);

} // namespace numerical

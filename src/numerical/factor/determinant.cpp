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
T detail::determinant_of_diagonal(std::int32_t sign, const T* diagonal, std::size_t order,
                                  std::size_t step)
{
    T product(sign);
    for (std::size_t i = 0; i < order; ++i)
        product *= diagonal[i * step];
    return product;
}

template <class T>
sign_and_log<T> detail::slogdet_of_diagonal(std::int32_t sign, const T* diagonal, std::size_t order,
                                            std::size_t step)
{
    sign_and_log<T> result{T(sign), 0.0};
    for (std::size_t i = 0; i < order; ++i) {
        const T& element = diagonal[i * step];
        result.sign = phase_of(element) * result.sign;
        result.log += log_of_modulus(element);
    }
    return result;
}

template <class T>
T determinant(const lu_decomposition<T>& lu)
{
    const detail::block_view<const T> u = lu.factors.view();
    return detail::determinant_of_diagonal(lu.sign, u.first, lu.order, u.stride + 1);
}

template <class T>
sign_and_log<T> slogdet(const lu_decomposition<T>& lu)
{
    if (lu.singular)
        return {T(0), -std::numeric_limits<double>::infinity()};
    const detail::block_view<const T> u = lu.factors.view();
    return detail::slogdet_of_diagonal(lu.sign, u.first, lu.order, u.stride + 1);
}

template double detail::determinant_of_diagonal(std::int32_t, const double*, std::size_t,
                                                std::size_t);
template detail::complex detail::determinant_of_diagonal(std::int32_t, const detail::complex*,
                                                         std::size_t, std::size_t);
template sign_and_log<double> detail::slogdet_of_diagonal(std::int32_t, const double*, std::size_t,
                                                          std::size_t);
template sign_and_log<detail::complex>
detail::slogdet_of_diagonal(std::int32_t, const detail::complex*, std::size_t, std::size_t);
template double determinant(const lu_decomposition<double>&);
template std::complex<double> determinant(const lu_decomposition<std::complex<double>>&);
template sign_and_log<double> slogdet(const lu_decomposition<double>&);
template sign_and_log<std::complex<double>> slogdet(const lu_decomposition<std::complex<double>>&);

} // namespace numerical

#include "numerical/factor/determinant.hpp"

#include "numerical/scalar.hpp"

#include <cmath>
#include <limits>

namespace numerical {

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
        result.log += std::log(detail::modulus(diagonal));
    }
    return result;
}

template double determinant(const lu_decomposition<double>&);
template std::complex<double> determinant(const lu_decomposition<std::complex<double>>&);
template sign_and_log<double> slogdet(const lu_decomposition<double>&);
template sign_and_log<std::complex<double>> slogdet(const lu_decomposition<std::complex<double>>&);

} // namespace numerical

#include "numerical/elementwise/arithmetic.hpp"

#include "numerical/broadcast.hpp"
#include "numerical/elementwise/arithmetic_kernels.hpp"
#include "numerical/elementwise/unary.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <complex>

namespace numerical {
namespace detail {

const arithmetic_kernels& arithmetic_in_force()
{
    // An emulated AVX-512 path may run where there is no AVX2.
    const bool wide = gemm_path_current() != portable_path && cpu_features().avx2;
    return wide ? avx2_arithmetic : portable_arithmetic;
}

} // namespace detail

namespace {

using detail::arithmetic_kernels;
using detail::arithmetic_row;
using detail::arithmetic_rows;
using detail::complex;
using detail::row_form;

const double* parts(const double* x)
{
    return x;
}

const double* parts(const complex* z)
{
    return reinterpret_cast<const double*>(z);
}

double* parts(double* x)
{
    return x;
}

double* parts(complex* z)
{
    return reinterpret_cast<double*>(z);
}

template <class T>
tensor<T> by_rows(const arithmetic_rows& rows, const tensor<T>& a, const tensor<T>& b)
{
    return detail::broadcast_rows(
        a, b, [&rows](row_form form, const T* x, const T* y, T* out, std::size_t n) {
            rows.by_form[static_cast<int>(form)](parts(x), parts(y), parts(out), n);
        });
}

// Products by the quick formula in vectors, a block at a time while it is in the cache; a block
// with a NaN is gone through again for the infinities that C recovers from it.
tensor<complex> products(const arithmetic_kernels& kernels, const tensor<complex>& a,
                         const tensor<complex>& b)
{
    constexpr std::size_t block = 512;
    const auto multiply_row = [&](row_form form, const complex* x, const complex* y, complex* out,
                                  std::size_t n) {
        const arithmetic_row quick = kernels.complex[2].by_form[static_cast<int>(form)];
        const std::size_t step_x = form == row_form::right ? 0 : 1;
        const std::size_t step_y = form == row_form::left ? 0 : 1;
        for (std::size_t from = 0; from < n; from += block) {
            const std::size_t count = std::min(block, n - from);
            const complex* left = x + from * step_x;
            const complex* right = y + from * step_y;
            quick(parts(left), parts(right), parts(out + from), count);
            if (!kernels.any_nan(parts(out + from), 2 * count))
                continue;
            for (std::size_t j = 0; j < count; ++j)
                out[from + j] = left[j * step_x] * right[j * step_y];
        }
    };
    return detail::broadcast_rows(a, b, multiply_row);
}

tensor<double> by_operator(arithmetic_operation operation, const tensor<double>& a,
                           const tensor<double>& b)
{
    return by_rows(detail::arithmetic_in_force().real[static_cast<int>(operation)], a, b);
}

tensor<complex> by_operator(arithmetic_operation operation, const tensor<complex>& a,
                            const tensor<complex>& b)
{
    const arithmetic_kernels& kernels = detail::arithmetic_in_force();
    if (operation == arithmetic_operation::divide)
        return broadcast_apply(a, b, [](const complex& x, const complex& y) { return x / y; });
    if (operation == arithmetic_operation::multiply)
        return products(kernels, a, b);
    return by_rows(kernels.complex[static_cast<int>(operation)], a, b);
}

tensor<double> square(const tensor<double>& a)
{
    return by_operator(arithmetic_operation::multiply, a, a);
}

// The plain formula, without recovery of infinities.
tensor<complex> square(const tensor<complex>& a)
{
    return by_rows(detail::arithmetic_in_force().complex[2], a, a);
}

template <class T>
tensor<T> reciprocal(const tensor<T>& a)
{
    return by_operator(arithmetic_operation::divide, tensor<T>({}, {T(1)}), a);
}

template <class T>
tensor<T> power(const tensor<T>& a, const tensor<T>& b)
{
    const bool single = b.data.size() == 1 && a.shape.size() >= b.shape.size();
    if (!single)
        return pow(a, b);
    const T exponent = b.data[0]; // a complex one equals a number if its imaginary part is zero
    if (exponent == 2.0)
        return square(a);
    if (exponent == 0.5)
        return square_root(a);
    if (exponent == -1.0)
        return reciprocal(a);
    return pow(a, b);
}

} // namespace

template <class T>
tensor<T> arithmetic(arithmetic_operation operation, const tensor<T>& a, const tensor<T>& b)
{
    if (operation == arithmetic_operation::power)
        return power(a, b);
    return by_operator(operation, a, b);
}

template tensor<double> arithmetic(arithmetic_operation, const tensor<double>&,
                                   const tensor<double>&);
template tensor<complex> arithmetic(arithmetic_operation, const tensor<complex>&,
                                    const tensor<complex>&);

} // namespace numerical

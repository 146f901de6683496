#include "numerical/elementwise/unary.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/elementwise/arithmetic_kernels.hpp"
#include "numerical/elementwise/vector_boundary.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <utility>

namespace numerical {
namespace {

using detail::complex;

template <class Out, class T, class F>
tensor<Out> each(const tensor<T>& a, F f)
{
    aligned_vector<Out> data = detail::uninitialized<Out>(a.data.size());
    std::transform(a.data.begin(), a.data.end(), data.begin(), f);
    return tensor<Out>(a.shape, std::move(data));
}

// By a kernel of plain doubles: complex numbers are two each.
template <class Kernel, class T>
tensor<T> each_by(Kernel kernel, const tensor<T>& a)
{
    aligned_vector<T> data = detail::uninitialized<T>(a.data.size());
    const auto* from = detail::as_doubles(a.data.data());
    auto* out = detail::as_doubles(data.data());
    const std::size_t count = data.size() * sizeof(T) / sizeof(double);
    const std::size_t lead = detail::before_boundary(out, count);
    kernel(from, out, lead);
    kernel(from + lead, out + lead, count - lead);
    return tensor<T>(a.shape, std::move(data));
}

tensor<double> magnitude(const tensor<double>& a)
{
    return each_by(detail::arithmetic_in_force().magnitudes, a);
}

tensor<double> magnitude(const tensor<complex>& a)
{
    return each<double>(a, [](const complex& z) { return std::abs(z); });
}

} // namespace

template <class T>
tensor<T> negative(const tensor<T>& a)
{
    return each_by(detail::arithmetic_in_force().negatives, a);
}

template tensor<double> negative(const tensor<double>&);
template tensor<complex> negative(const tensor<complex>&);

// The root of the C library is correctly rounded, and so is that of the vector units.
template <>
tensor<double> square_roots(const tensor<double>& a)
{
    const bool widest = detail::gemm_path_current() == detail::avx512_path;
    return each_by(
        widest ? detail::avx512_square_roots : detail::arithmetic_in_force().square_roots, a);
}

template <>
tensor<complex> square_roots(const tensor<complex>& a)
{
    return each<complex>(a, [](const complex& z) { return std::sqrt(z); });
}

template <class T>
std::optional<any_tensor> unary(std::string_view name, const tensor<T>& a)
{
    if (name == "exp")
        return each<T>(a, [](const T& x) { return std::exp(x); });
    if (name == "log")
        return each<T>(a, [](const T& x) { return std::log(x); });
    if (name == "sqrt")
        return square_roots(a);
    if (name == "sin")
        return each<T>(a, [](const T& x) { return std::sin(x); });
    if (name == "cos")
        return each<T>(a, [](const T& x) { return std::cos(x); });
    if (name == "tan")
        return each<T>(a, [](const T& x) { return std::tan(x); });
    if (name == "tanh")
        return each<T>(a, [](const T& x) { return std::tanh(x); });
    if (name == "abs")
        return magnitude(a);
    return std::nullopt;
}

template std::optional<any_tensor> unary(std::string_view, const tensor<double>&);
template std::optional<any_tensor> unary(std::string_view, const tensor<complex>&);

} // namespace numerical

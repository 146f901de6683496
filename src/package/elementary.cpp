#include "package/elementary.hpp"

#include "numerical/broadcast.hpp"
#include "numerical/elementwise/unary.hpp"
#include "numerical/storage.hpp"
#include "numerical/vector_math/complex_functions.hpp"
#include "numerical/vector_math/functions.hpp"
#include "package/unlocked.hpp"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

namespace numerical::package {
namespace {

using boundary::wrap;
using detail::row_form;

tensor<double> each(vector_math::unary_function f, const tensor<double>& a)
{
    std::vector<double> data = detail::uninitialized<double>(a.data.size());
    f(a.data.data(), data.data(), data.size());
    return tensor<double>(a.shape, std::move(data));
}

tensor<complex> each(vector_math::complex_unary_function f, const tensor<complex>& a)
{
    std::vector<complex> data = detail::uninitialized<complex>(a.data.size());
    f(a.data.data(), data.data(), data.size());
    return tensor<complex>(a.shape, std::move(data));
}

template <class F>
tensor<complex> each_number(const F& f, const tensor<complex>& a)
{
    std::vector<complex> data = detail::uninitialized<complex>(a.data.size());
    std::transform(a.data.begin(), a.data.end(), data.begin(), f);
    return tensor<complex>(a.shape, std::move(data));
}

complex times(const complex& z, double x)
{
    return {z.real() * x, z.imag() * x};
}

// exp(x + iy) - 1: the real part e^x cos y - 1 = expm1(x) cos y - 2 sin²(y/2) without cancellation.
complex complex_expm1(const complex& z)
{
    const double half = std::sin(z.imag() / 2);
    return {std::expm1(z.real()) * std::cos(z.imag()) - 2 * half * half,
            std::exp(z.real()) * std::sin(z.imag())};
}

// log(1 + x + iy): near 0 the modulus is 1 + (x(2 + x) + y²)/2 and so on.
complex complex_log1p(const complex& z)
{
    const double x = z.real();
    const double y = z.imag();
    const double away = x * (2 + x) + y * y;
    const double real =
        std::fabs(away) < 0.5 ? std::log1p(away) / 2 : std::log(std::hypot(1 + x, y));
    return {real, std::atan2(y, 1 + x)};
}

// The functions that the vector functions don't have for complex numbers.
tensor<complex> composed(std::string_view name, const tensor<complex>& a)
{
    const auto log_times = [&](double factor) {
        tensor<complex> out = each(vector_math::find_complex_unary("log"), a);
        for (complex& z : out.data)
            z = times(z, factor);
        return out;
    };
    if (name == "log2")
        return log_times(1 / 0.693147180559945309417232121458);
    if (name == "log10")
        return log_times(1 / 2.302585092994045684017991454684);
    if (name == "exp2")
        return each(
            vector_math::find_complex_unary("exp"),
            each_number([](const complex& z) { return times(z, 0.693147180559945309417232121458); },
                        a));
    if (name == "expm1")
        return each_number(complex_expm1, a);
    if (name == "log1p")
        return each_number(complex_log1p, a);
    if (name == "arcsin")
        return each_number([](const complex& z) { return std::asin(z); }, a);
    if (name == "arccos")
        return each_number([](const complex& z) { return std::acos(z); }, a);
    return each_number([](const complex& z) { return std::atan(z); }, a); // arctan
}

tensor<double> elementary(std::string_view name, const tensor<double>& a)
{
    return each(vector_math::find_unary(name), a);
}

tensor<complex> elementary(std::string_view name, const tensor<complex>& a)
{
    const auto f = vector_math::find_complex_unary(name);
    return f != nullptr ? each(f, a) : composed(name, a);
}

PyObject* elementary_call(const char* name, const binding::call_arguments& call)
{
    const binding::signature<1> signature{name, {"a"}};
    const auto [given] = signature.bind(call);
    const operand a(given);
    return by_type(a, [&](const auto& x) {
        return wrap(unlocked(x.data.size(), [&] { return elementary(name, x); }));
    });
}

tensor<double> by_pairs(vector_math::binary_function f, const tensor<double>& a,
                        const tensor<double>& b)
{
    return detail::broadcast_rows<double>(
        a, b, [f](row_form form, const double* x, const double* y, double* out, std::size_t n) {
            f({x, form != row_form::right}, {y, form != row_form::left}, out, n);
        });
}

PyObject* pair_call(const char* name, const char* second, const char* first,
                    const binding::call_arguments& call)
{
    const binding::signature<2> signature{name, {second, first}};
    const auto [left, right] = signature.bind(call);
    const operand a(left);
    const operand b(right);
    if (a.is_complex() || b.is_complex())
        binding::fail(PyExc_TypeError, std::string(name) + " takes float64 tensors");
    const auto& x = a.as<double>();
    const auto& y = b.as<double>();
    const auto f = vector_math::find_binary(name);
    return wrap(unlocked(touched(x, y), [&] { return by_pairs(f, x, y); }));
}

// Whether the exponent is a single number for which the power is an operation of another name.
template <class T>
bool has_own_name(const tensor<T>& a, const tensor<T>& exponent)
{
    if (!detail::is_number_to(a, exponent))
        return false;
    const T power = exponent.data[0];
    return power == 2.0 || power == 0.5 || power == -1.0;
}

tensor<double> power_of(const tensor<double>& a, const tensor<double>& b)
{
    return by_pairs(vector_math::find_binary("pow"), a, b);
}

tensor<complex> power_of(const tensor<complex>& a, const tensor<complex>& b)
{
    return detail::broadcast_rows<complex>(
        a, b, [](row_form form, const complex* x, const complex* y, complex* out, std::size_t n) {
            vector_math::pow({x, form != row_form::right}, {y, form != row_form::left}, out, n);
        });
}

template <class T>
tensor<T> any_arithmetic(arithmetic_operation operation, const tensor<T>& a, const tensor<T>& b)
{
    if (operation == arithmetic_operation::power && !has_own_name(a, b))
        return power_of(a, b);
    return arithmetic(operation, a, b);
}

} // namespace

tensor<double> computed_arithmetic(arithmetic_operation operation, const tensor<double>& a,
                                   const tensor<double>& b)
{
    return any_arithmetic(operation, a, b);
}

tensor<complex> computed_arithmetic(arithmetic_operation operation, const tensor<complex>& a,
                                    const tensor<complex>& b)
{
    return any_arithmetic(operation, a, b);
}

PyObject* arithmetic_of(arithmetic_operation operation, operand& a, operand& b)
{
    const auto mixed = [operation](const auto& x, const auto& y) {
        return wrap(unlocked(touched(x, y), [&] { return arithmetic(operation, x, y); }));
    };
    if (a.is_complex() == b.is_complex() || operation == arithmetic_operation::power)
        return by_type(a, b, [operation](const auto& x, const auto& y) {
            return wrap(
                unlocked(touched(x, y), [&] { return computed_arithmetic(operation, x, y); }));
        });
    return a.is_complex() ? mixed(a.as<complex>(), b.as<double>())
                          : mixed(a.as<double>(), b.as<complex>());
}

tensor<double> computed_modulus(const tensor<double>& a)
{
    return std::get<tensor<double>>(*unary("abs", a));
}

tensor<double> computed_modulus(const tensor<complex>& a)
{
    std::vector<double> data = detail::uninitialized<double>(a.data.size());
    vector_math::modulus(a.data.data(), data.data(), data.size());
    return tensor<double>(a.shape, std::move(data));
}

PyObject* sqrt(const binding::call_arguments& call)
{
    static constexpr binding::signature<1> signature{"sqrt", {"a"}};
    const auto [given] = signature.bind(call);
    const operand a(given);
    if (a.is_complex()) {
        const auto& z = a.as<complex>();
        return wrap(unlocked(z.data.size(), [&] { return elementary("sqrt", z); }));
    }
    const auto& x = a.as<double>();
    return wrap(unlocked(x.data.size(), [&] { return square_root(x); }));
}

PyObject* arctan2(const binding::call_arguments& call)
{
    return pair_call("arctan2", "y", "x", call);
}

PyObject* hypot(const binding::call_arguments& call)
{
    return pair_call("hypot", "a", "b", call);
}

PyObject* exp(const binding::call_arguments& call)
{
    return elementary_call("exp", call);
}

PyObject* exp2(const binding::call_arguments& call)
{
    return elementary_call("exp2", call);
}

PyObject* expm1(const binding::call_arguments& call)
{
    return elementary_call("expm1", call);
}

PyObject* log(const binding::call_arguments& call)
{
    return elementary_call("log", call);
}

PyObject* log2(const binding::call_arguments& call)
{
    return elementary_call("log2", call);
}

PyObject* log10(const binding::call_arguments& call)
{
    return elementary_call("log10", call);
}

PyObject* log1p(const binding::call_arguments& call)
{
    return elementary_call("log1p", call);
}

PyObject* sin(const binding::call_arguments& call)
{
    return elementary_call("sin", call);
}

PyObject* cos(const binding::call_arguments& call)
{
    return elementary_call("cos", call);
}

PyObject* tan(const binding::call_arguments& call)
{
    return elementary_call("tan", call);
}

PyObject* sinh(const binding::call_arguments& call)
{
    return elementary_call("sinh", call);
}

PyObject* cosh(const binding::call_arguments& call)
{
    return elementary_call("cosh", call);
}

PyObject* tanh(const binding::call_arguments& call)
{
    return elementary_call("tanh", call);
}

PyObject* arcsin(const binding::call_arguments& call)
{
    return elementary_call("arcsin", call);
}

PyObject* arccos(const binding::call_arguments& call)
{
    return elementary_call("arccos", call);
}

PyObject* arctan(const binding::call_arguments& call)
{
    return elementary_call("arctan", call);
}

} // namespace numerical::package

#include "package/elementary.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/elementwise/unary.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/broadcast.hpp"
#include "numerical/vector_math/complex_functions.hpp"
#include "numerical/vector_math/functions.hpp"
#include "package/unlocked.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <utility>

namespace numerical::package {
namespace {

using detail::row_form;

tensor<double> each(vector_math::unary_function f, const tensor<double>& a)
{
    aligned_vector<double> data = detail::uninitialized<double>(a.data.size());
    f(a.data.data(), data.data(), data.size());
    return tensor<double>(a.shape, std::move(data));
}

tensor<complex> each(vector_math::complex_unary_function f, const tensor<complex>& a)
{
    aligned_vector<complex> data = detail::uninitialized<complex>(a.data.size());
    f(a.data.data(), data.data(), data.size());
    return tensor<complex>(a.shape, std::move(data));
}

template <class F>
tensor<complex> each_number(const F& f, const tensor<complex>& a)
{
    aligned_vector<complex> data = detail::uninitialized<complex>(a.data.size());
    std::transform(a.data.begin(), a.data.end(), data.begin(), f);
    return tensor<complex>(a.shape, std::move(data));
}

complex times(const complex& z, double x)
{
    return {z.real() * x, z.imag() * x};
}

// The number of complex numbers that are split into parts at a time.
constexpr std::size_t block = 128;
using block_of_reals = std::array<double, block>;

// Calls f(x, y, to, count) with the parts of one block of numbers after the other. The functions
// below are composed of this project's real ones, since the last bits of the C library's depend on
// the processor.
template <class F>
tensor<complex> by_parts(const F& f, const tensor<complex>& a)
{
    aligned_vector<complex> data = detail::uninitialized<complex>(a.data.size());
    block_of_reals x;
    block_of_reals y;
    for (std::size_t from = 0; from < data.size(); from += block) {
        const std::size_t count = std::min(block, data.size() - from);
        for (std::size_t i = 0; i < count; ++i) {
            x[i] = a.data[from + i].real();
            y[i] = a.data[from + i].imag();
        }
        f(x, y, data.data() + from, count);
    }
    return tensor<complex>(a.shape, std::move(data));
}

// exp(x + iy) - 1: the real part e^x cos y - 1 = expm1(x) cos y - 2 sin²(y/2) without cancellation.
void complex_expm1(const block_of_reals& x, const block_of_reals& y, complex* to, std::size_t count)
{
    block_of_reals half;
    block_of_reals sine;
    block_of_reals cosine;
    block_of_reals power;
    block_of_reals away{};
    std::transform(y.begin(), y.begin() + count, half.begin(), [](double v) { return v / 2; });
    vector_math::sin(half.data(), half.data(), count);
    vector_math::sin(y.data(), sine.data(), count);
    vector_math::cos(y.data(), cosine.data(), count);
    vector_math::exp(x.data(), power.data(), count);
    vector_math::expm1(x.data(), away.data(), count);
    for (std::size_t i = 0; i < count; ++i)
        to[i] = {away[i] * cosine[i] - 2 * half[i] * half[i], power[i] * sine[i]};
}

// log(1 + x + iy): near 0 the modulus is 1 + (x(2 + x) + y²)/2 and so on.
void complex_log1p(const block_of_reals& x, const block_of_reals& y, complex* to, std::size_t count)
{
    block_of_reals beyond{}; // 1 + x
    block_of_reals away{};
    block_of_reals near;
    block_of_reals far;
    block_of_reals angle;
    for (std::size_t i = 0; i < count; ++i) {
        beyond[i] = 1 + x[i];
        away[i] = x[i] * (2 + x[i]) + y[i] * y[i];
    }
    vector_math::log1p(away.data(), near.data(), count);
    vector_math::hypot({beyond.data()}, {y.data()}, far.data(), count);
    vector_math::log(far.data(), far.data(), count);
    vector_math::arctan2({y.data()}, {beyond.data()}, angle.data(), count);
    for (std::size_t i = 0; i < count; ++i)
        to[i] = {std::fabs(away[i]) < 0.5 ? near[i] / 2 : far[i], angle[i]};
}

// Complex functions that vector_math lacks.
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
        return by_parts(complex_expm1, a);
    if (name == "log1p")
        return by_parts(complex_log1p, a);
    if (name == "arcsin")
        return each_number([](const complex& z) { return std::asin(z); }, a);
    if (name == "arccos")
        return each_number([](const complex& z) { return std::acos(z); }, a);
    if (name == "arcsinh")
        return each_number([](const complex& z) { return std::asinh(z); }, a);
    if (name == "arccosh")
        return each_number([](const complex& z) { return std::acosh(z); }, a);
    if (name == "arctanh")
        return each_number([](const complex& z) { return std::atanh(z); }, a);
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

// Whether the exponent is a single number for which the power is a product, a root or a quotient.
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

// Whether the rows that broadcasting gives are so short that widening a real operand row by row
// takes longer than widening it beforehand.
bool have_short_rows(const shape_list& a, const shape_list& b)
{
    return a != b && !a.empty() && !b.empty() && std::max(a.back(), b.back()) < 64;
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
    if (a.is_complex() == b.is_complex() || operation == arithmetic_operation::power ||
        have_short_rows(a.shape(), b.shape()))
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
    aligned_vector<double> data = detail::uninitialized<double>(a.data.size());
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
    return wrap(unlocked(x.data.size(), [&] { return square_roots(x); }));
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

PyObject* arcsinh(const binding::call_arguments& call)
{
    return elementary_call("arcsinh", call);
}

PyObject* arccosh(const binding::call_arguments& call)
{
    return elementary_call("arccosh", call);
}

PyObject* arctanh(const binding::call_arguments& call)
{
    return elementary_call("arctanh", call);
}

PyObject* arctan(const binding::call_arguments& call)
{
    return elementary_call("arctan", call);
}

} // namespace numerical::package

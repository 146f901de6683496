#include "package/numbers.hpp"

#include "binding/caster.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/checks.hpp"
#include "numerical/elementwise/comparison.hpp"
#include "numerical/elementwise/floor_division.hpp"
#include "numerical/elementwise/masks.hpp"
#include "numerical/elementwise/numbers.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/broadcast.hpp"
#include "package/closeness.hpp"
#include "package/masks.hpp"
#include "package/ordering.hpp"
#include "package/parameters.hpp"
#include "package/unlocked.hpp"

#include <cmath>
#include <string>
#include <utility>

namespace numerical::package {
namespace {

using binding::fail;

using unary_signature = binding::signature<1>;

constexpr binding::signature<2> pair_signature(const char* function)
{
    return {function, {"a", "b"}};
}

void refuse_complex(const operand& a)
{
    if (a.is_complex())
        fail(PyExc_TypeError, "complex128 has no order: compare real parts or moduli");
}

PyObject* comparison_call(const char* name, comparison by, const binding::call_arguments& call)
{
    const auto [left, right] = pair_signature(name).bind(call);
    operand a(left);
    operand b(right);
    if (by != comparison::equal && by != comparison::not_equal) {
        refuse_complex(a);
        refuse_complex(b);
    }
    promote(a, b);
    return by_type(a, [&]<class T>(const tensor<T>& x) {
        const tensor<T>& y = b.as<T>();
        return boolean_or_mask(unlocked(touched(x, y), [&] { return compare(by, x, y); }));
    });
}

// f(a, b) of two real tensors, for functions that aren't defined for complex numbers.
template <class F>
PyObject* real_call(const char* name, const binding::call_arguments& call, const F& f)
{
    const auto [left, right] = pair_signature(name).bind(call);
    const operand a(left);
    const operand b(right);
    if (a.is_complex() || b.is_complex())
        fail(PyExc_TypeError, std::string(name) + " takes float64 tensors, not complex128");
    const auto& x = a.as<double>();
    const auto& y = b.as<double>();
    return wrap(unlocked(touched(x, y), [&] { return f(x, y); }));
}

PyObject* extreme_call(const char* name, pair_function by, const binding::call_arguments& call)
{
    const auto [left, right] = pair_signature(name).bind(call);
    const operand a(left);
    const operand b(right);
    refuse_complex(a);
    refuse_complex(b);
    const auto& x = a.as<double>();
    const auto& y = b.as<double>();
    return wrap(unlocked(touched(x, y), [&] { return pair_by(by, x, y); }));
}

PyObject* logical_call(const char* name, boolean_operation by, const binding::call_arguments& call)
{
    const auto [left, right] = pair_signature(name).bind(call);
    const boolean_operand a = booleans_of(left);
    const boolean_operand b = booleans_of(right);
    return boolean_or_mask(unlocked(touched(*a, *b), [&] { return combined(by, *a, *b); }));
}

PyObject* predicate_call(const char* name, number_predicate predicate,
                         const binding::call_arguments& call)
{
    const auto [given] = unary_signature{name, {"a"}}.bind(call);
    const operand a(given);
    return std::visit(
        [&](const auto& x) {
            return boolean_or_mask(
                unlocked(x.data.size(), [&] { return evaluated(predicate, x); }));
        },
        a.value());
}

PyObject* rounding_call(const char* name, number_function rounding,
                        const binding::call_arguments& call)
{
    const auto [given] = unary_signature{name, {"a"}}.bind(call);
    const operand a(given);
    if (a.is_complex())
        fail(PyExc_TypeError, std::string(name) + " takes a float64 tensor, not complex128");
    const auto& x = a.as<double>();
    return wrap(unlocked(x.data.size(), [&] { return number_by(rounding, x); }));
}

tensor<double> rounded(const tensor<double>& a)
{
    return number_by(number_function::round, a);
}

tensor<complex> rounded(const tensor<complex>& a)
{
    aligned_vector<complex> data = detail::uninitialized<complex>(a.data.size());
    for (std::size_t i = 0; i < data.size(); ++i)
        data[i] = {std::rint(a.data[i].real()), std::rint(a.data[i].imag())};
    return tensor<complex>(a.shape, std::move(data));
}

// Rounds to decimals: scales by a power of ten, rounds and scales back. A number whose scaled value
// overflows has no decimals, and is unchanged.
template <class T>
tensor<T> rounded_to(const tensor<T>& a, std::ptrdiff_t decimals)
{
    const auto power = std::pow(10.0, std::fabs(static_cast<double>(decimals)));
    aligned_vector<T> data = detail::uninitialized<T>(a.data.size());
    const detail::number_kernels& kernels = detail::numbers_in_force();
    const auto round = decimals > 0 ? kernels.round_to_parts : kernels.round_to_multiples;
    round(detail::as_doubles(a.data.data()), power, detail::as_doubles(data.data()),
          data.size() * (sizeof(T) / sizeof(double)));
    return tensor<T>(a.shape, std::move(data));
}

tensor<double> sign_of(const tensor<double>& a)
{
    return number_by(number_function::sign, a);
}

// z/|z| from parts that are scaled beforehand: |z| overflows for the largest numbers and is
// inaccurate for the smallest.
complex sign_of_number(const complex& z)
{
    if (z == 0.0 || detail::has_nan(z))
        return z == 0.0 ? complex() : complex(std::nan(""), std::nan(""));
    const bool infinite = std::isinf(z.real()) || std::isinf(z.imag());
    const auto part = [&](double x) {
        return infinite ? std::copysign(std::isinf(x) ? 1.0 : 0.0, x) : x;
    };
    complex w(part(z.real()), part(z.imag()));
    const double largest = std::fmax(std::fabs(w.real()), std::fabs(w.imag()));
    const int exponent = std::ilogb(largest);
    w = {std::scalbn(w.real(), -exponent), std::scalbn(w.imag(), -exponent)};
    const double modulus = std::hypot(w.real(), w.imag());
    return {w.real() / modulus, w.imag() / modulus};
}

tensor<complex> sign_of(const tensor<complex>& a)
{
    aligned_vector<complex> data = detail::uninitialized<complex>(a.data.size());
    for (std::size_t i = 0; i < data.size(); ++i)
        data[i] = sign_of_number(a.data[i]);
    return tensor<complex>(a.shape, std::move(data));
}

template <class T>
booleans closeness_mask(const tensor<T>& a, const tensor<T>& b, const closeness& close)
{
    using detail::row_form;
    return detail::broadcast_rows<std::uint8_t>(
        a, b, [&](row_form form, const T* x, const T* y, std::uint8_t* out, std::size_t n) {
            const std::size_t step_x = form == row_form::right ? 0 : 1;
            const std::size_t step_y = form == row_form::left ? 0 : 1;
            for (std::size_t j = 0; j < n; ++j)
                out[j] = close(x[j * step_x], y[j * step_y]) ? 1 : 0;
        });
}

template <class T>
tensor<T> repeated_differences(const tensor<T>& a, std::size_t axis, std::ptrdiff_t times)
{
    tensor<T> out = differences(a, axis);
    for (std::ptrdiff_t i = 1; i < times && out.shape[axis] != 0; ++i)
        out = differences(out, axis);
    return out;
}

} // namespace

PyObject* equal(const binding::call_arguments& call)
{
    return comparison_call("equal", comparison::equal, call);
}

PyObject* not_equal(const binding::call_arguments& call)
{
    return comparison_call("not_equal", comparison::not_equal, call);
}

PyObject* less(const binding::call_arguments& call)
{
    return comparison_call("less", comparison::less, call);
}

PyObject* less_equal(const binding::call_arguments& call)
{
    return comparison_call("less_equal", comparison::less_equal, call);
}

PyObject* greater(const binding::call_arguments& call)
{
    return comparison_call("greater", comparison::greater, call);
}

PyObject* greater_equal(const binding::call_arguments& call)
{
    return comparison_call("greater_equal", comparison::greater_equal, call);
}

PyObject* maximum(const binding::call_arguments& call)
{
    return extreme_call("maximum", pair_function::maximum, call);
}

PyObject* minimum(const binding::call_arguments& call)
{
    return extreme_call("minimum", pair_function::minimum, call);
}

PyObject* logical_and(const binding::call_arguments& call)
{
    return logical_call("logical_and", boolean_operation::logical_and, call);
}

PyObject* logical_or(const binding::call_arguments& call)
{
    return logical_call("logical_or", boolean_operation::logical_or, call);
}

PyObject* logical_xor(const binding::call_arguments& call)
{
    return logical_call("logical_xor", boolean_operation::logical_xor, call);
}

PyObject* logical_not(const binding::call_arguments& call)
{
    const auto [given] = unary_signature{"logical_not", {"a"}}.bind(call);
    const boolean_operand a = booleans_of(given);
    return boolean_or_mask(unlocked(a->data.size(), [&] { return negated(*a); }));
}

PyObject* signbit(const binding::call_arguments& call)
{
    const auto [given] = unary_signature{"signbit", {"a"}}.bind(call);
    const operand a(given);
    if (a.is_complex())
        fail(PyExc_TypeError, "signbit takes a float64 tensor, not complex128");
    const auto& x = a.as<double>();
    return boolean_or_mask(
        unlocked(x.data.size(), [&] { return evaluated(number_predicate::has_sign, x); }));
}

PyObject* copysign(const binding::call_arguments& call)
{
    return real_call("copysign", call, [](const auto& a, const auto& b) {
        return pair_by(pair_function::copy_sign, a, b);
    });
}

PyObject* nextafter(const binding::call_arguments& call)
{
    return real_call("nextafter", call, [](const auto& a, const auto& b) {
        return broadcast_apply(a, b, [](double x, double y) { return std::nextafter(x, y); });
    });
}

PyObject* floor_divide(const binding::call_arguments& call)
{
    return real_call("floor_divide", call, floor_quotients);
}

PyObject* remainder(const binding::call_arguments& call)
{
    return real_call("remainder", call, remainders);
}

PyObject* isnan(const binding::call_arguments& call)
{
    return predicate_call("isnan", number_predicate::is_nan, call);
}

PyObject* isinf(const binding::call_arguments& call)
{
    return predicate_call("isinf", number_predicate::is_infinite, call);
}

PyObject* isfinite(const binding::call_arguments& call)
{
    return predicate_call("isfinite", number_predicate::is_finite, call);
}

PyObject* isclose(const binding::call_arguments& call)
{
    static constexpr binding::signature<5> signature{
        "isclose", {"a", "b", "rtol", "atol", "equal_nan"}, 2};
    const auto [left, right, rtol, atol, equal_nan] = signature.bind(call);
    const closeness close{real_parameter(rtol, "rtol", 1e-5), real_parameter(atol, "atol", 1e-8),
                          flag_parameter(equal_nan)};
    operand a(left);
    operand b(right);
    return by_type(a, b, [&](const auto& x, const auto& y) {
        return boolean_or_mask(
            unlocked(touched(x, y), [&] { return closeness_mask(x, y, close); }));
    });
}

PyObject* floor(const binding::call_arguments& call)
{
    return rounding_call("floor", number_function::floor, call);
}

PyObject* ceil(const binding::call_arguments& call)
{
    return rounding_call("ceil", number_function::ceil, call);
}

PyObject* trunc(const binding::call_arguments& call)
{
    return rounding_call("trunc", number_function::trunc, call);
}

PyObject* round(const binding::call_arguments& call)
{
    static constexpr binding::signature<2> signature{"round", {"a", "decimals"}, 1};
    const auto [given, digits] = signature.bind(call);
    const operand a(given);
    const std::ptrdiff_t decimals = digits == nullptr ? 0 : integer_parameter(digits, "decimals");
    return by_type(a, [&](const auto& x) {
        return wrap(unlocked(x.data.size(),
                             [&] { return decimals == 0 ? rounded(x) : rounded_to(x, decimals); }));
    });
}

PyObject* sign(const binding::call_arguments& call)
{
    const auto [given] = unary_signature{"sign", {"a"}}.bind(call);
    const operand a(given);
    return by_type(
        a, [](const auto& x) { return wrap(unlocked(x.data.size(), [&] { return sign_of(x); })); });
}

PyObject* clip(const binding::call_arguments& call)
{
    static constexpr binding::signature<3> signature{"clip", {"a", "min", "max"}, 1};
    const auto [given, least, most] = signature.bind(call);
    const operand a(given);
    const binding::owned_ref all_below(binding::not_null(PyFloat_FromDouble(-HUGE_VAL)));
    const binding::owned_ref all_above(binding::not_null(PyFloat_FromDouble(HUGE_VAL)));
    const operand low(is_absent(least) ? all_below.get() : least);
    const operand high(is_absent(most) ? all_above.get() : most);
    refuse_complex(a);
    refuse_complex(low);
    refuse_complex(high);
    const auto& x = a.as<double>();
    const auto& least_of = low.as<double>();
    const auto& most_of = high.as<double>();
    if (low.rank() == 0 && high.rank() == 0)
        return wrap(
            unlocked(x.data.size(), [&] { return clipped(x, least_of.data[0], most_of.data[0]); }));
    return wrap(unlocked(std::max(touched(x, least_of), touched(x, most_of)), [&] {
        return pair_by(pair_function::minimum, pair_by(pair_function::maximum, x, least_of),
                       most_of);
    }));
}

PyObject* where(const binding::call_arguments& call)
{
    static constexpr binding::signature<3> signature{"where", {"mask", "a", "b"}, 1};
    const auto [mask, left, right] = signature.bind(call);
    if ((left == nullptr) != (right == nullptr))
        fail(PyExc_ValueError, "where takes a mask alone, or both a and b");
    if (left == nullptr)
        return places_of_true(mask, "where");
    const boolean_operand chooser = booleans_of(mask);
    operand a(left);
    operand b(right);
    return by_type(a, b, [&](const auto& x, const auto& y) {
        const std::size_t elements = std::max(touched(*chooser, x), touched(*chooser, y));
        return wrap(unlocked(elements, [&] { return chosen(*chooser, x, y); }));
    });
}

PyObject* diff(const binding::call_arguments& call)
{
    static constexpr binding::signature<3> signature{"diff", {"a", "n", "axis"}, 1};
    const auto [given, order, axis_given] = signature.bind(call);
    const operand a(given);
    const std::ptrdiff_t times = order == nullptr ? 1 : integer_parameter(order, "n");
    if (times < 0)
        fail(PyExc_ValueError, "n must not be negative, not " + std::to_string(times));
    if (a.rank() == 0)
        fail(PyExc_ValueError, "diff takes a tensor with an axis, not one of rank 0");
    const std::size_t axis =
        axis_given == nullptr ? a.rank() - 1 : axis_parameter(axis_given, a.rank());
    return by_type(a, [&](const auto& x) {
        if (times != 0)
            return wrap(
                unlocked(x.data.size(), [&] { return repeated_differences(x, axis, times); }));
        return wrap(std::decay_t<decltype(x)>(x));
    });
}

} // namespace numerical::package

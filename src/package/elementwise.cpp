#include "package/elementwise.hpp"

#include "binding/caster.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/elementwise/arithmetic.hpp"
#include "numerical/elementwise/numbers.hpp"
#include "numerical/elementwise/unary.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/broadcast.hpp"
#include "package/closeness.hpp"
#include "package/elementary.hpp"
#include "package/parameters.hpp"
#include "package/unlocked.hpp"

#include <cmath>
#include <utility>

namespace numerical::package {
namespace {

using unary_signature = binding::signature<1>;
using binary_signature = binding::signature<2>;

PyObject* arithmetic_call(arithmetic_operation operation, const binary_signature& signature,
                          const binding::call_arguments& call)
{
    const auto [left, right] = signature.bind(call);
    operand a(left);
    operand b(right);
    return arithmetic_of(operation, a, b);
}

// f(a) as a new Tensor.
template <class F>
PyObject* unary_call(const unary_signature& signature, const binding::call_arguments& call,
                     const F& f)
{
    const auto [given] = signature.bind(call);
    const operand a(given);
    return by_type(
        a, [&](const auto& x) { return wrap(unlocked(x.data.size(), [&] { return f(x); })); });
}

// The argument itself if it is a float64 Tensor, which the function wouldn't change, otherwise
// f(a).
template <class F>
PyObject* complex_part(PyObject* given, const F& f)
{
    const operand a(given);
    if (a.is_complex())
        return wrap(unlocked(a.as<complex>().data.size(), [&] { return f(a.as<complex>()); }));
    if (is_tensor(given)) {
        Py_INCREF(given);
        return given;
    }
    const tensor<double>& x = a.as<double>();
    return wrap(tensor<double>(x.shape, detail::copy_of(x.data.data(), x.data.size())));
}

template <class Out, class F>
tensor<Out> each(const tensor<complex>& a, const F& f)
{
    aligned_vector<Out> data = detail::uninitialized<Out>(a.data.size());
    for (std::size_t i = 0; i < data.size(); ++i)
        data[i] = f(a.data[i]);
    return tensor<Out>(a.shape, std::move(data));
}

// Whether `holds` is true for all pairs of broadcast elements.
template <class T, class Holds>
bool all_pairs(const tensor<T>& a, const tensor<T>& b, const Holds& holds)
{
    detail::broadcast_walk walk(a.shape, b.shape);
    const detail::row_form form = walk.form();
    const std::size_t step_a = form == detail::row_form::right ? 0 : 1;
    const std::size_t step_b = form == detail::row_form::left ? 0 : 1;
    bool all = true;
    walk.each_row([&](std::size_t from_a, std::size_t from_b, std::size_t) {
        for (std::size_t j = 0; all && j < walk.row_length(); ++j)
            all = holds(a.data[from_a + j * step_a], b.data[from_b + j * step_b]);
    });
    return all;
}

constexpr unary_signature of_one(const char* function)
{
    return {function, {"a"}};
}

constexpr binary_signature of_two(const char* function)
{
    return {function, {"a", "b"}};
}

} // namespace

PyObject* add(const binding::call_arguments& call)
{
    return arithmetic_call(arithmetic_operation::add, of_two("add"), call);
}

PyObject* subtract(const binding::call_arguments& call)
{
    return arithmetic_call(arithmetic_operation::subtract, of_two("subtract"), call);
}

PyObject* multiply(const binding::call_arguments& call)
{
    return arithmetic_call(arithmetic_operation::multiply, of_two("multiply"), call);
}

PyObject* divide(const binding::call_arguments& call)
{
    return arithmetic_call(arithmetic_operation::divide, of_two("divide"), call);
}

PyObject* power(const binding::call_arguments& call)
{
    return arithmetic_call(arithmetic_operation::power, of_two("power"), call);
}

PyObject* negative(const binding::call_arguments& call)
{
    return unary_call(of_one("negative"), call,
                      [](const auto& x) { return numerical::negative(x); });
}

PyObject* square(const binding::call_arguments& call)
{
    return unary_call(of_one("square"), call, [](const auto& x) {
        return arithmetic(arithmetic_operation::multiply, x, x);
    });
}

PyObject* conjugated(PyObject* given)
{
    return complex_part(given, [](const tensor<complex>& a) {
        return each<complex>(a, [](const complex& z) { return std::conj(z); });
    });
}

PyObject* conj(const binding::call_arguments& call)
{
    return conjugated(of_one("conj").bind(call)[0]);
}

PyObject* real(const binding::call_arguments& call)
{
    return real_part(of_one("real").bind(call)[0]);
}

PyObject* imag(const binding::call_arguments& call)
{
    return imaginary_part(of_one("imag").bind(call)[0]);
}

PyObject* real_part(PyObject* given)
{
    return complex_part(given, [](const tensor<complex>& a) {
        return each<double>(a, [](const complex& z) { return z.real(); });
    });
}

PyObject* imaginary_part(PyObject* given)
{
    const operand a(given);
    if (a.is_complex()) {
        const auto& z = a.as<complex>();
        return wrap(unlocked(z.data.size(), [&] {
            return each<double>(z, [](const complex& of) { return of.imag(); });
        }));
    }
    const tensor<double>& x = a.as<double>();
    return wrap(tensor<double>(x.shape, detail::zeros<double>(x.data.size())));
}

PyObject* abs(const binding::call_arguments& call)
{
    return unary_call(of_one("abs"), call, [](const auto& x) { return computed_modulus(x); });
}

PyObject* allclose(const binding::call_arguments& call)
{
    static constexpr binding::signature<5> signature{
        "allclose", {"a", "b", "rtol", "atol", "equal_nan"}, 2};
    const auto [left, right, rtol, atol, equal_nan] = signature.bind(call);
    const closeness close{real_parameter(rtol, "rtol", 1e-5), real_parameter(atol, "atol", 1e-8),
                          flag_parameter(equal_nan)};
    operand a(left);
    operand b(right);
    return by_type(a, b, [&](const auto& x, const auto& y) {
        const bool all = unlocked(touched(x, y), [&] { return all_pairs(x, y, close); });
        return PyBool_FromLong(all ? 1 : 0);
    });
}

PyObject* array_equal(const binding::call_arguments& call)
{
    const auto [left, right] = of_two("array_equal").bind(call);
    operand a(left);
    operand b(right);
    return by_type(a, b, [](const auto& x, const auto& y) {
        const bool equal = unlocked(x.data.size(), [&] { return are_equal(x, y); });
        return PyBool_FromLong(equal ? 1 : 0);
    });
}

} // namespace numerical::package

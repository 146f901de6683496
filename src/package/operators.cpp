#include "package/operators.hpp"

#include "binding/attributes.hpp"
#include "binding/caster.hpp"
#include "binding/fastcall.hpp"
#include "numerical/elementwise/arithmetic.hpp"
#include "numerical/elementwise/comparison.hpp"
#include "numerical/elementwise/floor_division.hpp"
#include "numerical/elementwise/masks.hpp"
#include "numerical/elementwise/unary.hpp"
#include "package/elementary.hpp"
#include "package/masks.hpp"
#include "package/operand.hpp"
#include "package/parameters.hpp"
#include "package/type_entries.hpp"
#include "package/unlocked.hpp"

#include <optional>
#include <stdexcept>
#include <variant>

namespace numerical::package {
namespace {

using binding::not_null;
using binding::owned_ref;
using boundary::marlinth_module_error;

PyObject* not_implemented()
{
    Py_INCREF(Py_NotImplemented);
    return Py_NotImplemented;
}

// Whether an object other than a Tensor may be an operand with one.
bool is_operand(PyObject* object)
{
    if (is_number(object) || PyList_CheckExact(object) || PyTuple_CheckExact(object))
        return true;
    static PyObject* const name = not_null(PyUnicode_InternFromString("__array_interface__"));
    if (!binding::optional_attribute(object, name))
        return false;
    const owned_ref defers(
        not_null(PyObject_CallFunctionObjArgs(callbacks().defers_to, object, nullptr)));
    return !flag_parameter(defers.get());
}

bool are_operands(PyObject* left, PyObject* right)
{
    return (is_tensor(left) || is_operand(left)) && (is_tensor(right) || is_operand(right));
}

// f(left, right) for two float64 tensors, the most frequent case; any(left, right) for other
// operands; NotImplemented if an object is no operand.
template <class F, class Any>
PyObject* of_operands(PyObject* left, PyObject* right, const F& f, const Any& any)
{
    if (is_tensor(left) && is_tensor(right)) {
        const any_tensor& a = value_of(left);
        const any_tensor& b = value_of(right);
        if (a.index() == 0 && b.index() == 0)
            return f(*std::get_if<tensor<double>>(&a), *std::get_if<tensor<double>>(&b));
    } else if (!are_operands(left, right)) {
        return not_implemented();
    }
    operand a(left);
    operand b(right);
    return any(a, b);
}

// f(left, right) in one dtype, or NotImplemented.
template <class F>
PyObject* of_operands(PyObject* left, PyObject* right, const F& f)
{
    return of_operands(left, right, f, [&f](operand& a, operand& b) { return by_type(a, b, f); });
}

PyObject* by_operator(arithmetic_operation operation, PyObject* left, PyObject* right)
{
    return of_operands(
        left, right,
        [operation](const tensor<double>& a, const tensor<double>& b) {
            return wrap(
                unlocked(touched(a, b), [&] { return computed_arithmetic(operation, a, b); }));
        },
        [operation](operand& a, operand& b) { return arithmetic_of(operation, a, b); });
}

template <arithmetic_operation operation>
PyObject* arithmetic_slot(PyObject* left, PyObject* right)
{
    return binding::translated(marlinth_module_error,
                               [&] { return by_operator(operation, left, right); });
}

// // and %, which complex numbers don't have.
template <tensor<double> (*function)(const tensor<double>&, const tensor<double>&)>
PyObject* floor_slot(PyObject* left, PyObject* right)
{
    return binding::translated(marlinth_module_error, [&] {
        return of_operands(left, right, [](const auto& a, const auto& b) -> PyObject* {
            if constexpr (std::is_same_v<decltype(a), const tensor<complex>&>)
                binding::fail(PyExc_TypeError, "// and % take float64 tensors, not complex128");
            else
                return wrap(unlocked(touched(a, b), [&] { return function(a, b); }));
        });
    });
}

PyObject* power_slot(PyObject* left, PyObject* right, PyObject* modulus)
{
    if (modulus != Py_None)
        return not_implemented();
    return arithmetic_slot<arithmetic_operation::power>(left, right);
}

PyObject* product_slot(PyObject* left, PyObject* right)
{
    return binding::translated(marlinth_module_error, [&] {
        const bool scalar = is_number(left) || is_number(right);
        if (scalar || !are_operands(left, right))
            return not_implemented();
        return matrix_product(left, right);
    });
}

// & is defined for masks only: of other numbers it would mean their bits.
[[noreturn]] void refuse_as_masks()
{
    binding::fail(PyExc_TypeError,
                  "&, |, ^ and ~ are for masks, tensors of zeros and ones as comparisons give;"
                  " logical_and and its like take all numbers");
}

template <boolean_operation operation>
PyObject* mask_slot(PyObject* left, PyObject* right)
{
    return binding::translated(marlinth_module_error, [&] {
        if (!are_operands(left, right))
            return not_implemented();
        const std::optional<boolean_operand> a = mask_of(left);
        const std::optional<boolean_operand> b = mask_of(right);
        if (!a || !b)
            refuse_as_masks();
        const booleans& x = **a;
        const booleans& y = **b;
        return wrap(unlocked(touched(x, y), [&] { return combined(operation, x, y); }));
    });
}

PyObject* invert_slot(PyObject* self)
{
    return binding::translated(marlinth_module_error, [&] {
        const std::optional<boolean_operand> a = mask_of(self);
        if (!a)
            refuse_as_masks();
        const booleans& x = **a;
        return wrap(unlocked(x.data.size(), [&] { return negated(x); }));
    });
}

PyObject* negative_slot(PyObject* self)
{
    return binding::translated(marlinth_module_error, [&] {
        return std::visit(
            [](const auto& a) {
                return wrap(unlocked(a.data.size(), [&] { return negative(a); }));
            },
            value_of(self));
    });
}

PyObject* positive_slot(PyObject* self)
{
    Py_INCREF(self);
    return self;
}

PyObject* absolute_slot(PyObject* self)
{
    return binding::translated(marlinth_module_error, [&] {
        return std::visit(
            [](const auto& a) {
                return wrap(unlocked(a.data.size(), [&] { return computed_modulus(a); }));
            },
            value_of(self));
    });
}

std::optional<comparison> comparison_of(int code)
{
    switch (code) {
    case Py_LT:
        return comparison::less;
    case Py_LE:
        return comparison::less_equal;
    case Py_EQ:
        return comparison::equal;
    case Py_NE:
        return comparison::not_equal;
    case Py_GT:
        return comparison::greater;
    case Py_GE:
        return comparison::greater_equal;
    default:
        return std::nullopt;
    }
}

bool is_order(comparison by)
{
    return by != comparison::equal && by != comparison::not_equal;
}

} // namespace

PyObject* comparison_slot(PyObject* left, PyObject* right, int code)
{
    return binding::translated(marlinth_module_error, [&] {
        const std::optional<comparison> by = comparison_of(code);
        if (!by)
            return not_implemented();
        return of_operands(left, right, [&](const auto& a, const auto& b) -> PyObject* {
            if constexpr (std::is_same_v<decltype(a), const tensor<complex>&>)
                if (is_order(*by))
                    binding::fail(PyExc_TypeError,
                                  "complex128 has no order: compare real parts or moduli");
            return boolean_or_mask(unlocked(touched(a, b), [&] { return compare(*by, a, b); }));
        });
    });
}

PyObject* of_tensors(arithmetic_operation operation, PyObject* left, PyObject* right)
{
    return by_operator(operation, left, right);
}

void add_operator_slots(std::vector<PyType_Slot>& slots)
{
    slots.push_back(slot(Py_nb_add, arithmetic_slot<arithmetic_operation::add>));
    slots.push_back(slot(Py_nb_subtract, arithmetic_slot<arithmetic_operation::subtract>));
    slots.push_back(slot(Py_nb_multiply, arithmetic_slot<arithmetic_operation::multiply>));
    slots.push_back(slot(Py_nb_true_divide, arithmetic_slot<arithmetic_operation::divide>));
    slots.push_back(slot(Py_nb_floor_divide, floor_slot<floor_quotients>));
    slots.push_back(slot(Py_nb_remainder, floor_slot<remainders>));
    slots.push_back(slot(Py_nb_power, power_slot));
    slots.push_back(slot(Py_nb_matrix_multiply, product_slot));
    slots.push_back(slot(Py_nb_and, mask_slot<boolean_operation::logical_and>));
    slots.push_back(slot(Py_nb_or, mask_slot<boolean_operation::logical_or>));
    slots.push_back(slot(Py_nb_xor, mask_slot<boolean_operation::logical_xor>));
    slots.push_back(slot(Py_nb_invert, invert_slot));
    slots.push_back(slot(Py_nb_negative, negative_slot));
    slots.push_back(slot(Py_nb_positive, positive_slot));
    slots.push_back(slot(Py_nb_absolute, absolute_slot));
    slots.push_back(slot(Py_tp_richcompare, comparison_slot));
}

} // namespace numerical::package

#include "package/positions.hpp"

#include "binding/caster.hpp"
#include "binding/class.hpp"
#include "binding/fastcall.hpp"
#include "numerical/elementwise/arithmetic.hpp"
#include "numerical/strided/broadcast.hpp"
#include "package/index_keys.hpp"
#include "package/operand.hpp"
#include "package/operators.hpp"
#include "package/subscript.hpp"
#include "package/type_entries.hpp"

#include <limits>
#include <optional>
#include <string>
#include <utility>

namespace numerical::package {
namespace {

using binding::fail;
using binding::not_null;
using binding::owned_ref;
using boundary::marlinth_module_error;

const positions& self_of(PyObject* self)
{
    return *positions_in(self);
}

// --- attributes ----------------------------------------------------------------------------------
PyObject* shape_of(PyObject* self)
{
    const shape_list& shape = self_of(self).shape;
    owned_ref tuple(not_null(PyTuple_New(static_cast<Py_ssize_t>(shape.size()))));
    for (std::size_t i = 0; i < shape.size(); ++i)
        PyTuple_SetItem(tuple.get(), static_cast<Py_ssize_t>(i), PyLong_FromSize_t(shape[i]));
    return tuple.release();
}

PyObject* rank_of(PyObject* self)
{
    return PyLong_FromSize_t(self_of(self).shape.size());
}

PyObject* size_of(PyObject* self)
{
    return PyLong_FromSize_t(self_of(self).data.size());
}

PyObject* positions_dtype_of(PyObject* self)
{
    self_of(self);
    return PyUnicode_FromString("int64");
}

PyObject* array_interface_of(PyObject* self)
{
    static constexpr std::ptrdiff_t placeholder = 0; // for an empty vector, which has no address
    const positions& value = self_of(self);
    const void* data = value.data.empty() ? &placeholder : value.data.data();
    owned_ref shape(shape_of(self));
    owned_ref address(not_null(PyLong_FromVoidPtr(const_cast<void*>(data))));
    return binding::build_value("{s:N,s:s,s:(NO),s:i}", "shape", shape.release(), "typestr", "<i8",
                                "data", address.release(), Py_True, "version", 3);
}

// Nested lists of the ints; `from` advances past those that are listed.
PyObject* listed(const positions& value, std::size_t axis, const std::ptrdiff_t*& from)
{
    if (axis == value.shape.size())
        return number(*from++);
    const auto count = static_cast<Py_ssize_t>(value.shape[axis]);
    owned_ref list(not_null(PyList_New(count)));
    for (Py_ssize_t i = 0; i < count; ++i)
        PyList_SetItem(list.get(), i, not_null(listed(value, axis + 1, from)));
    return list.release();
}

PyObject* to_list(PyObject* self)
{
    const positions& value = self_of(self);
    const std::ptrdiff_t* from = value.data.data();
    return listed(value, 0, from);
}

// --- arithmetic ----------------------------------------------------------------------------------
enum class operation { add, subtract, multiply, floor_divide, remainder };

std::ptrdiff_t floor_quotient(std::ptrdiff_t x, std::ptrdiff_t y)
{
    const std::ptrdiff_t quotient = x / y;
    return quotient - (x % y != 0 && (x < 0) != (y < 0) ? 1 : 0);
}

std::ptrdiff_t result_of(operation by, std::ptrdiff_t x, std::ptrdiff_t y)
{
    std::ptrdiff_t out = 0;
    bool overflows = false;
    if (by == operation::add) {
        overflows = __builtin_add_overflow(x, y, &out);
    } else if (by == operation::subtract) {
        overflows = __builtin_sub_overflow(x, y, &out);
    } else if (by == operation::multiply) {
        overflows = __builtin_mul_overflow(x, y, &out);
    } else {
        if (y == 0)
            fail(PyExc_ZeroDivisionError, "division of positions by zero");
        overflows = y == -1 && x == std::numeric_limits<std::ptrdiff_t>::min();
        if (!overflows)
            out =
                by == operation::floor_divide ? floor_quotient(x, y) : x - y * floor_quotient(x, y);
    }
    if (overflows)
        fail(PyExc_OverflowError, "the result leaves the range of int64");
    return out;
}

// Positions, or an int as one of rank 0; nothing for any other operand.
std::optional<positions> integers_in(PyObject* object)
{
    if (const positions* value = positions_in(object))
        return *value;
    if (!PyLong_Check(object))
        return std::nullopt;
    const Py_ssize_t value = PyLong_AsSsize_t(object);
    if (value == -1 && PyErr_Occurred() != nullptr)
        binding::throw_pending_error();
    return positions({}, {value});
}

// Arithmetic of ints between Positions; with any other operand as float64, without // and %.
template <operation by>
PyObject* arithmetic_slot(PyObject* left, PyObject* right)
{
    return binding::translated(marlinth_module_error, [&]() -> PyObject* {
        const std::optional<positions> a = integers_in(left);
        const std::optional<positions> b = integers_in(right);
        if (a && b)
            return wrap(broadcast_apply(
                *a, *b, [](std::ptrdiff_t x, std::ptrdiff_t y) { return result_of(by, x, y); }));
        if constexpr (by <= operation::multiply)
            return of_tensors(static_cast<arithmetic_operation>(by), left, right);
        Py_INCREF(Py_NotImplemented);
        return Py_NotImplemented;
    });
}

template <arithmetic_operation operation>
PyObject* tensor_slot(PyObject* left, PyObject* right)
{
    return binding::translated(marlinth_module_error,
                               [&] { return of_tensors(operation, left, right); });
}

PyObject* positions_power_slot(PyObject* left, PyObject* right, PyObject*)
{
    return tensor_slot<arithmetic_operation::power>(left, right);
}

PyObject* positions_negative_slot(PyObject* self)
{
    return binding::translated(marlinth_module_error, [&] {
        const positions zero({}, {0});
        return wrap(broadcast_apply(zero, self_of(self), [](std::ptrdiff_t x, std::ptrdiff_t y) {
            return result_of(operation::subtract, x, y);
        }));
    });
}

// --- the type ------------------------------------------------------------------------------------
PyObject* positions_subscript_slot(PyObject* self, PyObject* key)
{
    return binding::translated(marlinth_module_error,
                               [&] { return subscript_positions(self_of(self), key); });
}

Py_ssize_t length_slot(PyObject* self)
{
    const positions* value = nullptr;
    const auto body = [&]() -> PyObject* {
        value = &self_of(self);
        if (value->shape.empty())
            fail(PyExc_TypeError, "positions of rank 0 have no length");
        return self;
    };
    if (binding::translated(marlinth_module_error, body) == nullptr)
        return -1;
    return static_cast<Py_ssize_t>(value->shape[0]);
}

int initialize(PyObject* self, PyObject* args, PyObject* keywords)
{
    const auto body = [&]() -> PyObject* {
        if (PyTuple_Size(args) != 1 || (keywords != nullptr && PyDict_Size(keywords) != 0))
            fail(PyExc_TypeError, "Positions() takes one argument, a list or an array of ints");
        if (binding::is_initialized<positions>(self))
            fail(PyExc_TypeError, "positions are immutable");
        binding::class_emplace<positions>(self, read_places(PyTuple_GetItem(args, 0)));
        return self;
    };
    return binding::translated(marlinth_module_error, body) == nullptr ? -1 : 0;
}

void fill_tables()
{
    binding::class_name<positions>() = "numerical.Positions";
    binding::class_slots<positions>() = {
        slot(Py_nb_add, arithmetic_slot<operation::add>),
        slot(Py_nb_subtract, arithmetic_slot<operation::subtract>),
        slot(Py_nb_multiply, arithmetic_slot<operation::multiply>),
        slot(Py_nb_floor_divide, arithmetic_slot<operation::floor_divide>),
        slot(Py_nb_remainder, arithmetic_slot<operation::remainder>),
        slot(Py_nb_true_divide, tensor_slot<arithmetic_operation::divide>),
        slot(Py_nb_power, positions_power_slot),
        slot(Py_nb_negative, positions_negative_slot),
        slot(Py_mp_subscript, positions_subscript_slot),
        slot(Py_mp_length, length_slot),
        slot(Py_tp_richcompare, comparison_slot),
        // Objects are hashed by identity, since == gives masks.
        slot(Py_tp_hash, PyType_GetSlot(&PyBaseObject_Type, Py_tp_hash)),
    };
    binding::class_methods<positions>() = {
        {"tolist", binding::call_method_without<marlinth_module_error, to_list>, METH_NOARGS,
         "The places as nested lists of ints; an int for rank 0."},
    };
    binding::class_getsets<positions>() = {
        property<shape_of>("shape", "The extents."),
        property<rank_of>("ndim", "The number of axes."),
        property<size_of>("size", "The number of places."),
        property<positions_dtype_of>("dtype", "\"int64\"."),
        property<array_interface_of>("__array_interface__", "NumPy's description of the buffer."),
    };
}

} // namespace

const positions* positions_in(PyObject* object)
{
    if (!binding::is_instance<positions>(object))
        return nullptr;
    const positions* value = binding::value_in<positions>(object);
    if (value == nullptr)
        fail(PyExc_TypeError, "uninitialized numerical.Positions");
    return value;
}

PyObject* number(std::ptrdiff_t x)
{
    return PyLong_FromSsize_t(x);
}

PyObject* wrap(positions&& value)
{
    return binding::class_wrap<positions>(std::move(value));
}

PyObject* wrap_new(shape_list&& shape, element_store<std::ptrdiff_t>&& elements)
{
    return binding::class_make<positions>(std::move(shape), std::move(elements));
}

PyObject* int_or_positions(positions&& value)
{
    return value.shape.empty() ? number(value.data[0]) : wrap(std::move(value));
}

void define_positions(PyObject* module)
{
    if (binding::class_type<positions>() == nullptr)
        fill_tables();
    binding::class_<positions> type(module, initialize);
    type.finish();
}

} // namespace numerical::package

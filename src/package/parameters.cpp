#include "package/parameters.hpp"

#include "numerical/aligned_vector.hpp"

#include "binding/caster.hpp"
#include "binding/errors.hpp"
#include "binding/fastcall.hpp"
#include "binding/owned_ref.hpp"

#include <algorithm>
#include <string>

namespace numerical::package {
namespace {

namespace binding = marlinth::binding;
using binding::fail;
using binding::not_null;
using binding::owned_ref;

constexpr unsigned long unordered =
    Py_TPFLAGS_UNICODE_SUBCLASS | Py_TPFLAGS_BYTES_SUBCLASS | Py_TPFLAGS_DICT_SUBCLASS;

// Texts, dicts and sets are iterable too, but no sequences of ints.
bool is_sequence(PyObject* object)
{
    return (PyType_GetFlags(Py_TYPE(object)) & unordered) == 0 &&
           (PySequence_Check(object) != 0 || PyIter_Check(object) != 0);
}

[[noreturn]] void refuse_integers(const char* name, const std::string& given)
{
    fail(PyExc_TypeError,
         std::string(name) + " must be an int or a sequence of ints, not " + given);
}

// An int as an error message shows it; Python refuses to print the largest ones.
std::string shown(PyObject* number)
{
    const owned_ref bits(not_null(PyObject_CallMethod(number, "bit_length", nullptr)));
    if (PyLong_AsLong(bits.get()) > 128)
        return "an int of " + std::to_string(PyLong_AsLong(bits.get())) + " bits";
    const owned_ref text(not_null(PyObject_Str(number)));
    return binding::as_utf8(text.get());
}

std::ptrdiff_t clipped(PyObject* object)
{
    const Py_ssize_t value = PyNumber_AsSsize_t(object, nullptr);
    if (value == -1 && PyErr_Occurred() != nullptr)
        binding::throw_pending_error();
    return value;
}

std::size_t axis_at(std::ptrdiff_t place, std::size_t rank, const char* name, PyObject* given)
{
    const auto count = static_cast<std::ptrdiff_t>(rank);
    if (place < -count || place >= count)
        fail(PyExc_IndexError,
             std::string(name) + " " + (given == nullptr ? std::to_string(place) : shown(given)) +
                 " is out of bounds for a tensor of rank " + std::to_string(rank));
    return static_cast<std::size_t>(place < 0 ? place + count : place);
}

// The numbers as the text of a tuple.
std::string tuple_text(const aligned_vector<std::ptrdiff_t>& numbers)
{
    std::string text = "(";
    for (const std::ptrdiff_t number : numbers)
        text += (text.size() > 1 ? ", " : "") + std::to_string(number);
    return text + (numbers.size() == 1 ? ",)" : ")");
}

} // namespace

std::ptrdiff_t integer_parameter(PyObject* object, const char* name)
{
    if (PyIndex_Check(object) == 0)
        fail(PyExc_TypeError,
             std::string(name) + " must be an int, not " + binding::py_type_name(object));
    return clipped(object);
}

std::size_t axis_parameter(PyObject* object, std::size_t rank, const char* name)
{
    return axis_at(integer_parameter(object, name), rank, name, object);
}

aligned_vector<std::ptrdiff_t> integers_parameter(PyObject* object, const char* name)
{
    if (PyIndex_Check(object) != 0)
        return {clipped(object)};
    if (!is_sequence(object))
        refuse_integers(name, binding::py_type_name(object));
    const owned_ref items(not_null(PySequence_Tuple(object)));
    aligned_vector<std::ptrdiff_t> numbers;
    for (Py_ssize_t i = 0; i < PyTuple_Size(items.get()); ++i) {
        PyObject* item = PyTuple_GetItem(items.get(), i);
        if (PyIndex_Check(item) == 0)
            refuse_integers(name, "of " + binding::py_type_name(item));
        numbers.push_back(clipped(item));
    }
    return numbers;
}

shape_list axes_parameter(PyObject* object, std::size_t rank, const char* name)
{
    const aligned_vector<std::ptrdiff_t> given = integers_parameter(object, name);
    shape_list axes;
    for (const std::ptrdiff_t place : given)
        axes.push_back(axis_at(place, rank, name,
                               given.size() == 1 && PyLong_Check(object) ? object : nullptr));
    for (auto axis = axes.begin(); axis != axes.end(); ++axis)
        if (std::find(axes.begin(), axis, *axis) != axis)
            fail(PyExc_ValueError, "an axis is named twice in " + tuple_text(given));
    return axes;
}

shape_list shape_parameter(PyObject* object, const char* name)
{
    shape_list shape;
    for (const std::ptrdiff_t extent : integers_parameter(object, name)) {
        if (extent < 0)
            fail(PyExc_ValueError, "negative dimensions are not allowed");
        shape.push_back(static_cast<std::size_t>(extent));
    }
    return shape;
}

std::size_t tensor_size(const shape_list& shape)
{
    constexpr std::size_t most = std::size_t{1} << 60;
    std::size_t size = 1;
    bool fits = true;
    bool empty = false;
    for (const std::size_t extent : shape) {
        fits &= extent < most;
        empty |= extent == 0;
    }
    for (const std::size_t extent : shape)
        if (fits && !empty)
            fits = !__builtin_mul_overflow(size, extent, &size) && size < most;
    if (!fits)
        fail(PyExc_ValueError, "a tensor has fewer than 2**60 elements, and no axis is longer");
    return empty ? 0 : size;
}

bool flag_parameter(PyObject* object, bool absent)
{
    if (object == nullptr)
        return absent;
    const int truth = PyObject_IsTrue(object);
    if (truth < 0)
        binding::throw_pending_error();
    return truth != 0;
}

double real_parameter(PyObject* object, const char* name, double absent)
{
    if (object == nullptr)
        return absent;
    const double value = PyFloat_AsDouble(object);
    if (value != -1.0 || PyErr_Occurred() == nullptr)
        return value;
    if (PyErr_ExceptionMatches(PyExc_TypeError) != 0)
        fail(PyExc_TypeError,
             std::string(name) + " must be a real number, not " + binding::py_type_name(object));
    if (PyErr_ExceptionMatches(PyExc_OverflowError) != 0 && PyLong_Check(object)) {
        PyErr_Clear();
        fail(PyExc_OverflowError,
             std::string(name) + " is too large for a float: " + shown(object));
    }
    binding::throw_pending_error();
}

} // namespace numerical::package

#include "module/tensor_object.hpp"

#include "numerical/aligned_vector.hpp"

#include "binding/caster.hpp"
#include "binding/class.hpp"
#include "binding/owned_ref.hpp"
#include "module/kept_booleans.hpp"

#include <complex>
#include <new>
#include <stdexcept>
#include <utility>
#include <variant>

namespace numerical::boundary {
namespace {

using binding::owned_ref;
using complex = std::complex<double>;

// False, with an error set, also if the look-up failed for another reason than a missing attribute.
bool has_complex_method(PyObject* item)
{
    static PyObject* const name = binding::not_null(PyUnicode_InternFromString("__complex__"));
    const owned_ref method(PyObject_GetAttr(item, name));
    if (!method && PyErr_ExceptionMatches(PyExc_AttributeError) != 0)
        PyErr_Clear();
    return static_cast<bool>(method);
}

bool converts_to_complex(PyObject* item)
{
    const PyTypeObject* type = Py_TYPE(item);
    return type != &PyFloat_Type && type != &PyComplex_Type && type != &PyLong_Type &&
           has_complex_method(item);
}

// The constructor's own error, which replaces Python's.
[[noreturn]] void fail(const char* text)
{
    binding::require_replaceable_error();
    throw std::runtime_error(text);
}

// The numbers of a flat sequence.
template <class T>
aligned_vector<T> read_elements(PyObject* data)
{
    constexpr const char* unreadable = "Tensor: could not read the data buffer";
    const Py_ssize_t count = PySequence_Size(data);
    if (count < 0)
        fail(unreadable);
    aligned_vector<T> elements = detail::reserved<T>(static_cast<std::size_t>(count));
    for (Py_ssize_t i = 0; i < count; ++i) {
        const owned_ref item(PySequence_GetItem(data, i));
        if (!item)
            fail(unreadable);
        T value;
        read_number(item.get(), value);
        if (PyErr_Occurred() != nullptr)
            fail(unreadable);
        elements.push_back(value);
    }
    return elements;
}

shape_list given_or_inferred_shape(PyObject* data, std::optional<PyObject*> given)
{
    shape_list shape;
    if (given) {
        if (!read_shape(*given, shape))
            fail("Tensor: invalid shape");
        return shape;
    }
    const Py_ssize_t length = PySequence_Size(data);
    if (length < 0)
        fail("Tensor: data has no length to infer a shape from");
    shape.push_back(static_cast<std::size_t>(length));
    return shape;
}

// A new list of `count` numbers; null with the error set.
template <class T>
PyObject* short_row(const T* from, std::size_t count)
{
    owned_ref list(PyList_New(static_cast<Py_ssize_t>(count)));
    for (std::size_t i = 0; list && i < count; ++i) {
        PyObject* item = number(from[i]);
        if (item == nullptr)
            return nullptr;
        PyList_SetItem(list.get(), static_cast<Py_ssize_t>(i), item);
    }
    return list.release();
}

// The same by a memoryview, which fills its list inside the interpreter, without a call for each
// item; that pays for the view from some dozens of numbers on. The view is of a copy: the garbage
// collector tracks it, so Python code may get hold of it and keep it longer than the tensor.
constexpr std::size_t long_row = 64;

PyObject* row_through_view(const double* from, std::size_t count)
{
    const owned_ref bytes(PyBytes_FromStringAndSize(
        reinterpret_cast<const char*>(from), static_cast<Py_ssize_t>(count * sizeof(double))));
    const owned_ref view(bytes ? PyMemoryView_FromObject(bytes.get()) : nullptr);
    const owned_ref doubles(view ? PyObject_CallMethod(view.get(), "cast", "s", "d") : nullptr);
    return doubles ? PyObject_CallMethod(doubles.get(), "tolist", nullptr) : nullptr;
}

PyObject* row_list(const double* from, std::size_t count)
{
    return count < long_row ? short_row(from, count) : row_through_view(from, count);
}

PyObject* row_list(const complex* from, std::size_t count)
{
    return short_row(from, count);
}

// By a loop over the open lists, one for each axis but the last, not by recursion: the rank is the
// user's choice, and the stack is limited. A list is put into its parent before it is filled, so
// that the outermost reference owns them all.
template <class T>
PyObject* nested_lists(const tensor<T>& a)
{
    const std::size_t last = a.shape.size() - 1;
    const auto new_list = [&](std::size_t axis) {
        return PyList_New(static_cast<Py_ssize_t>(a.shape[axis]));
    };
    owned_ref outermost(new_list(0));
    if (!outermost)
        return nullptr;
    std::vector<PyObject*> open(last, outermost.get());
    shape_list filled(last, 0);
    const T* row = a.data.data();
    for (std::size_t axis = 0;;) {
        if (filled[axis] == a.shape[axis]) {
            if (axis == 0)
                return outermost.release();
            filled[axis--] = 0;
            continue;
        }
        const bool holds_rows = axis + 1 == last;
        PyObject* child = holds_rows
                              ? row_list(std::exchange(row, row + a.shape[last]), a.shape[last])
                              : new_list(axis + 1);
        if (child == nullptr)
            return nullptr;
        PyList_SetItem(open[axis], static_cast<Py_ssize_t>(filled[axis]++), child);
        if (!holds_rows)
            open[++axis] = child;
    }
}

// A tuple of a few items, which it takes over, made faster than by setting them; null with the
// error set.
template <class... Item>
PyObject* tuple_of(Item*... items)
{
    PyObject* tuple =
        (... && (items != nullptr)) ? PyTuple_Pack(sizeof...(items), items...) : nullptr;
    (Py_XDECREF(items), ...);
    return tuple;
}

template <class T>
PyObject* listed(const tensor<T>& a)
{
    if (a.shape.empty())
        return number(a.data[0]);
    return a.shape.size() == 1 ? row_list(a.data.data(), a.data.size()) : nested_lists(a);
}

} // namespace

void read_number(PyObject* item, double& x)
{
    x = PyFloat_AsDouble(item);
}

// PyComplex_RealAsDouble calls __complex__ only from CPython 3.13 on; before, it treats another
// library's complex number as a real one.
void read_number(PyObject* item, complex& z)
{
    PyObject* type = reinterpret_cast<PyObject*>(&PyComplex_Type);
    const owned_ref converted(converts_to_complex(item)
                                  ? PyObject_CallFunctionObjArgs(type, item, nullptr)
                                  : owned_ref::to(item).release());
    if (!converted || PyErr_Occurred() != nullptr)
        return;
    const double real = PyComplex_RealAsDouble(converted.get());
    if (real == -1.0 && PyErr_Occurred() != nullptr)
        return;
    z = {real, PyComplex_ImagAsDouble(converted.get())};
}

any_tensor* as_tensor(PyObject* object) noexcept
{
    if (!binding::is_instance<any_tensor>(object)) {
        PyErr_SetString(marlinth_module_error(), "expected a numerical.Tensor");
        return nullptr;
    }
    try {
        any_tensor* value = binding::value_in<any_tensor>(object);
        if (value == nullptr)
            PyErr_SetString(marlinth_module_error(), "uninitialized numerical.Tensor");
        return value;
    } catch (const std::bad_alloc&) { // of a mask's numbers
        PyErr_NoMemory();
        return nullptr;
    }
}

PyObject* number(double x)
{
    return PyFloat_FromDouble(x);
}

PyObject* number(const std::complex<double>& z)
{
    return PyComplex_FromDoubles(z.real(), z.imag());
}

PyObject* wrap(any_tensor&& value)
{
    return binding::class_wrap<any_tensor>(std::move(value));
}

PyObject* wrap(tensor<double>&& value)
{
    return binding::class_wrap<any_tensor>(std::move(value));
}

PyObject* wrap(tensor<complex>&& value)
{
    return binding::class_wrap<any_tensor>(std::move(value));
}

template <class T>
PyObject* wrap_new(shape_list&& shape, element_store<T>&& elements)
{
    return binding::class_make<any_tensor>(std::in_place_type<tensor<T>>, std::move(shape),
                                           std::move(elements));
}

template PyObject* wrap_new(shape_list&&, element_store<double>&&);
template PyObject* wrap_new(shape_list&&, element_store<complex>&&);

const shape_list& shape_of(PyObject* tensor)
{
    const booleans* kept = booleans_in(tensor);
    return kept != nullptr ? kept->shape : shape_of(binding::class_unwrap<any_tensor>(tensor));
}

bool is_complex(PyObject* tensor)
{
    return booleans_in(tensor) == nullptr && binding::class_unwrap<any_tensor>(tensor).index() == 1;
}

PyObject* shape_tuple(const shape_list& shape)
{
    if (shape.size() == 1)
        return tuple_of(PyLong_FromSize_t(shape[0]));
    if (shape.size() == 2)
        return tuple_of(PyLong_FromSize_t(shape[0]), PyLong_FromSize_t(shape[1]));
    owned_ref tuple(PyTuple_New(static_cast<Py_ssize_t>(shape.size())));
    if (!tuple)
        return nullptr;
    for (std::size_t axis = 0; axis < shape.size(); ++axis) {
        PyObject* extent = PyLong_FromSize_t(shape[axis]);
        if (extent == nullptr)
            return nullptr;
        PyTuple_SetItem(tuple.get(), static_cast<Py_ssize_t>(axis), extent);
    }
    return tuple.release();
}

bool read_shape(PyObject* sequence, shape_list& shape)
{
    const Py_ssize_t rank = PySequence_Size(sequence);
    if (rank < 0)
        return false;
    for (Py_ssize_t axis = 0; axis < rank; ++axis) {
        const binding::sequence_item item(sequence, axis);
        if (!item)
            return false;
        const long extent = PyLong_AsLong(item.get());
        if (extent == -1 && PyErr_Occurred() != nullptr)
            return false;
        if (extent < 0) {
            PyErr_SetString(marlinth_module_error(), "shape extents must be non-negative");
            return false;
        }
        shape.push_back(static_cast<std::size_t>(extent));
    }
    return true;
}

any_tensor tensor_factory(PyObject* data, std::optional<PyObject*> shape, const std::string& dtype)
{
    shape_list extents = given_or_inferred_shape(data, shape);
    if (dtype == "float64")
        return tensor<double>(std::move(extents), read_elements<double>(data));
    if (dtype == "complex128")
        return tensor<complex>(std::move(extents), read_elements<complex>(data));
    throw std::runtime_error("dtype must be 'float64' or 'complex128'");
}

PyObject* tensor_tolist(PyObject* self, PyObject*)
{
    const any_tensor* value = as_tensor(self);
    if (value == nullptr)
        return nullptr;
    return std::visit([](const auto& a) { return listed(a); }, *value);
}

} // namespace numerical::boundary

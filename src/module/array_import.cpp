#include "module/functions.hpp"

#include "binding/attributes.hpp"
#include "binding/caster.hpp"
#include "binding/class.hpp"
#include "binding/errors.hpp"
#include "binding/owned_ref.hpp"
#include "module/array_record.hpp"
#include "module/elements.hpp"
#include "module/typestr.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <complex>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

// asarray: foreign data in, always copied and converted. Only the published protocols are read, so
// that NumPy is neither imported nor linked.

namespace numerical::boundary {
namespace {

using binding::error_already_set;
using binding::not_null;
using binding::owned_ref;
using complex = std::complex<double>;

// What the argument `dtype` requests.
enum class wanted_type { as_given, float64, complex128 };

wanted_type wanted_from(const char* dtype)
{
    if (dtype == nullptr)
        return wanted_type::as_given;
    if (std::string_view(dtype) == "float64")
        return wanted_type::float64;
    if (std::string_view(dtype) == "complex128")
        return wanted_type::complex128;
    throw std::runtime_error("asarray: dtype must be 'float64' or 'complex128'");
}

[[noreturn]] void refuse_complex_array()
{
    throw std::runtime_error("asarray: refusing to cast a complex array to float64 (discards the "
                             "imaginary part)");
}

PyObject* from_tensor(PyObject* object, wanted_type wanted)
{
    const any_tensor* value = as_tensor(object);
    if (value == nullptr)
        return nullptr;
    const auto* real = std::get_if<tensor<double>>(value);
    if (real != nullptr && wanted == wanted_type::complex128) {
        aligned_vector<complex> widened = detail::uninitialized<complex>(real->data.size());
        std::copy(real->data.begin(), real->data.end(), widened.begin());
        return wrap(tensor<complex>(real->shape, std::move(widened)));
    }
    if (real == nullptr && wanted == wanted_type::float64)
        throw std::runtime_error("asarray: refusing to cast complex128 to float64 (discards the "
                                 "imaginary part)");
    Py_INCREF(object);
    return object;
}

PyObject* from_complex(PyObject* object, wanted_type wanted)
{
    const double real = PyComplex_RealAsDouble(object);
    const double imaginary = PyComplex_ImagAsDouble(object);
    if (PyErr_Occurred() != nullptr)
        return nullptr;
    if (wanted == wanted_type::float64)
        refuse_complex_array();
    return wrap(tensor<complex>({}, {complex(real, imaginary)}));
}

PyObject* from_number(PyObject* object, wanted_type wanted)
{
    const double value = PyFloat_AsDouble(object);
    if (value == -1.0 && PyErr_Occurred() != nullptr)
        return nullptr;
    if (wanted == wanted_type::complex128)
        return wrap(tensor<complex>({}, {complex(value)}));
    return wrap(tensor<double>({}, {value}));
}

element_type readable_type(std::string_view typestr)
{
    const std::optional<element_type> type = parse_typestr(typestr);
    if (!type)
        throw std::runtime_error("asarray: unsupported typestr (bool, integers, float32/64 and "
                                 "complex64/128 are read)");
    return *type;
}

void require_castable(const element_type& type, wanted_type wanted)
{
    if (type.kind == 'c' && wanted == wanted_type::float64)
        refuse_complex_array();
}

std::size_t foreign_element_count(const shape_list& shape)
{
    constexpr std::size_t limit = 0x0FFFFFFFFFFFFFFF;
    std::size_t count = 1;
    for (const std::size_t extent : shape) {
        if (extent != 0 && limit / extent < count)
            throw std::runtime_error("asarray: the shape's element count overflows");
        count *= extent;
    }
    return count;
}

// The strides of a C-contiguous array. With a zero extent they may wrap, and are not used.
aligned_vector<std::ptrdiff_t> row_major(const shape_list& shape, std::size_t itemsize)
{
    aligned_vector<std::ptrdiff_t> strides(shape.size());
    std::size_t stride = itemsize;
    for (std::size_t axis = shape.size(); axis-- > 0;) {
        strides[axis] = static_cast<std::ptrdiff_t>(stride);
        stride *= shape[axis];
    }
    return strides;
}

PyObject* from_array(foreign_array&& array, wanted_type wanted)
{
    if (array.data == nullptr && array.count != 0)
        throw std::runtime_error("asarray: __array_interface__ gives a null data address");
    const bool want_complex = wanted == wanted_type::complex128 || array.type.kind == 'c';
    if (want_complex)
        return wrap(tensor_from_elements<complex>(std::move(array)));
    return wrap(tensor_from_elements<double>(std::move(array)));
}

std::string typestr_of(const array_record& record)
{
    const bool native = (record.flags & array_record::not_swapped) != 0;
    const char order = record.itemsize == 1 ? '|' : native ? '=' : '>';
    return std::string{order, record.typekind} + std::to_string(record.itemsize);
}

bool is_negative(std::size_t extent)
{
    return static_cast<std::ptrdiff_t>(extent) < 0;
}

PyObject* from_record(const array_record& record, wanted_type wanted)
{
    foreign_array array{};
    array.type = readable_type(typestr_of(record));
    require_castable(array.type, wanted);
    if (record.nd > 0)
        array.shape = shape_list(record.shape, record.shape + record.nd);
    array.count = foreign_element_count(array.shape);
    if (std::any_of(array.shape.begin(), array.shape.end(), is_negative)) // also with a zero extent
        throw std::runtime_error("shape extents must be non-negative");
    if (record.strides == nullptr)
        array.strides = row_major(array.shape, array.type.size);
    else if (record.nd > 0)
        array.strides.assign(record.strides, record.strides + record.nd);
    array.data = static_cast<const unsigned char*>(record.data);
    return from_array(std::move(array), wanted);
}

aligned_vector<std::ptrdiff_t> read_strides(PyObject* strides, const foreign_array& array)
{
    if (strides == nullptr || strides == Py_None)
        return row_major(array.shape, array.type.size);
    const Py_ssize_t length = PySequence_Size(strides);
    if (length < 0)
        throw error_already_set();
    if (static_cast<std::size_t>(length) != array.shape.size())
        throw std::runtime_error("asarray: strides and shape differ in length");
    aligned_vector<std::ptrdiff_t> out(array.shape.size());
    for (Py_ssize_t axis = 0; axis < length; ++axis) {
        const owned_ref item(not_null(PySequence_GetItem(strides, axis)));
        const Py_ssize_t stride = PyLong_AsSsize_t(item.get());
        if (stride == -1 && PyErr_Occurred() != nullptr)
            throw error_already_set();
        out[static_cast<std::size_t>(axis)] = stride;
    }
    return out;
}

std::string text_of_typestr(PyObject* typestr)
{
    const owned_ref bytes(not_null(PyUnicode_AsUTF8String(typestr)));
    char* text = nullptr;
    Py_ssize_t length = 0;
    if (PyBytes_AsStringAndSize(bytes.get(), &text, &length) < 0)
        throw error_already_set();
    return std::string(text, static_cast<std::size_t>(length));
}

bool has_flag(PyObject* object, unsigned long flag)
{
    return (PyType_GetFlags(Py_TYPE(object)) & flag) != 0;
}

// The keys of the dictionary, made once: a look-up takes no memory.
struct interface_keys
{
    PyObject* typestr = not_null(PyUnicode_InternFromString("typestr"));
    PyObject* shape = not_null(PyUnicode_InternFromString("shape"));
    PyObject* data = not_null(PyUnicode_InternFromString("data"));
    PyObject* strides = not_null(PyUnicode_InternFromString("strides"));
};

// Null if the key is absent; an error raised by a comparison of keys is kept.
owned_ref value_in(PyObject* dict, PyObject* key)
{
    PyObject* value = PyDict_GetItemWithError(dict, key);
    if (value == nullptr && PyErr_Occurred() != nullptr)
        throw error_already_set();
    return owned_ref::to(value);
}

// The values are held while they are read: reading may run Python code, which may change the dict.
PyObject* from_interface(PyObject* interface, wanted_type wanted)
{
    static const interface_keys keys;
    if (!has_flag(interface, Py_TPFLAGS_DICT_SUBCLASS))
        throw std::runtime_error("asarray: __array_interface__ is not a dict");
    const owned_ref typestr = value_in(interface, keys.typestr);
    const owned_ref shape = value_in(interface, keys.shape);
    const owned_ref data = value_in(interface, keys.data);
    const owned_ref strides = value_in(interface, keys.strides);
    if (!typestr || !shape || !data || !has_flag(data.get(), Py_TPFLAGS_TUPLE_SUBCLASS) ||
        PyTuple_Size(data.get()) < 1)
        throw std::runtime_error("asarray: malformed __array_interface__");

    foreign_array array{};
    array.type = readable_type(text_of_typestr(typestr.get()));
    require_castable(array.type, wanted);
    if (!read_shape(shape.get(), array.shape))
        throw error_already_set();
    array.count = foreign_element_count(array.shape);
    array.strides = read_strides(strides.get(), array);
    array.data =
        static_cast<const unsigned char*>(PyLong_AsVoidPtr(PyTuple_GetItem(data.get(), 0)));
    if (array.data == nullptr && PyErr_Occurred() != nullptr)
        throw error_already_set();
    return from_array(std::move(array), wanted);
}

} // namespace

const array_record* record_in(PyObject* capsule)
{
    if (PyCapsule_IsValid(capsule, nullptr) == 0)
        return nullptr;
    const auto* record = static_cast<const array_record*>(PyCapsule_GetPointer(capsule, nullptr));
    return record->two == 2 ? record : nullptr;
}

PyObject* module_asarray(PyObject*, PyObject* args, PyObject* kwargs)
{
    static constexpr const char* names[] = {"obj", "dtype", nullptr};
    static PyObject* const struct_name = not_null(PyUnicode_InternFromString("__array_struct__"));
    static PyObject* const interface_name =
        not_null(PyUnicode_InternFromString("__array_interface__"));
    PyObject* object = nullptr;
    const char* dtype = nullptr;
    if (kwargs == nullptr && PyTuple_Size(args) == 1) // by far the most calls: nothing to parse
        object = PyTuple_GetItem(args, 0);
    else if (!binding::parse_keywords(args, kwargs, "O|z", names, &object, &dtype))
        return nullptr;
    const wanted_type wanted = wanted_from(dtype);
    if (binding::is_instance<any_tensor>(object))
        return from_tensor(object, wanted);
    if (Py_TYPE(object) == &PyComplex_Type)
        return from_complex(object, wanted);
    if (Py_TYPE(object) == &PyFloat_Type || has_flag(object, Py_TPFLAGS_LONG_SUBCLASS))
        return from_number(object, wanted);
    if (const owned_ref capsule = binding::optional_attribute(object, struct_name))
        if (const array_record* record = record_in(capsule.get()))
            return from_record(*record, wanted);
    const owned_ref interface = binding::optional_attribute(object, interface_name);
    if (!interface)
        throw std::runtime_error("asarray: object exposes no __array_interface__");
    return from_interface(interface.get(), wanted);
}

} // namespace numerical::boundary

#pragma once

// Conversions between Python objects and the types of native parameters and results. A parameter's
// caster first loads the object, which throws for a wrong type, and then returns the function's
// argument. Objects are borrowed; only text is copied.

#include "binding/class.hpp"
#include "binding/errors.hpp"
#include "binding/owned_ref.hpp"
#include "binding/python.hpp"

#include <optional>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>

namespace marlinth::binding {

// cast_error "expected int, got ..." or "int out of range"; subclasses of int are accepted.
int to_int(PyObject* object);
unsigned long to_unsigned_long(PyObject* object);

// cast_error "expected str, got ..."; error_already_set if the text has no UTF-8 form.
std::string to_text(PyObject* object);

// A new reference, or error_already_set for null.
inline PyObject* not_null(PyObject* object)
{
    if (object == nullptr)
        throw_pending_error();
    return object;
}

// A class wrapped by class_: passed by reference to the value in the object.
template <class T>
struct caster
{
    T* value = nullptr;

    void load(PyObject* object) { value = &class_unwrap<T>(object); }

    T& get() { return *value; }

    static PyObject* to_python(T&& result) { return not_null(class_wrap<T>(std::move(result))); }
};

template <>
struct caster<int>
{
    int value = 0;

    void load(PyObject* object) { value = to_int(object); }

    int get() const { return value; }

    static PyObject* to_python(int result) { return not_null(PyLong_FromLongLong(result)); }
};

template <>
struct caster<unsigned long>
{
    unsigned long value = 0;

    void load(PyObject* object) { value = to_unsigned_long(object); }

    unsigned long get() const { return value; }

    static PyObject* to_python(unsigned long result)
    {
        return not_null(PyLong_FromUnsignedLongLong(result));
    }
};

template <>
struct caster<bool>
{
    static PyObject* to_python(bool result) { return not_null(PyBool_FromLong(result ? 1 : 0)); }
};

template <>
struct caster<std::string>
{
    std::string value;

    void load(PyObject* object) { value = to_text(object); }

    std::string& get() { return value; }
};

template <>
struct caster<PyObject*>
{
    PyObject* value = nullptr;

    void load(PyObject* object) { value = object; }

    PyObject* get() const { return value; }

    static PyObject* to_python(PyObject* result) { return not_null(result); }
};

// None is the empty optional.
template <>
struct caster<std::optional<PyObject*>>
{
    std::optional<PyObject*> value;

    void load(PyObject* object)
    {
        if (object != Py_None)
            value = object;
    }

    std::optional<PyObject*> get() const { return value; }
};

// A tuple of results, each by its own caster.
template <class... Item>
struct caster<std::tuple<Item...>>
{
    static PyObject* to_python(std::tuple<Item...>&& result)
    {
        owned_ref tuple(not_null(PyTuple_New(sizeof...(Item))));
        Py_ssize_t index = 0;
        const auto fill = [&](auto& item) {
            PyObject* object =
                caster<std::remove_cvref_t<decltype(item)>>::to_python(std::move(item));
            PyTuple_SetItem(tuple.get(), index++, object);
        };
        std::apply([&](auto&... item) { (fill(item), ...); }, result);
        return tuple.release();
    }
};

template <class P>
using caster_of = caster<std::remove_cvref_t<P>>;

} // namespace marlinth::binding

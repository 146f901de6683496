#pragma once

// Entry points generated from native functions. Err is the address of the function that returns the
// exception object for native failures.

#include "binding/caster.hpp"
#include "binding/class.hpp"
#include "binding/errors.hpp"
#include "binding/python.hpp"

#include <cstddef>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>

namespace marlinth::binding {

// The result as a new reference, None for void.
template <class R, class Call>
PyObject* converted(const Call& call)
{
    if constexpr (std::is_void_v<R>) {
        call();
        Py_INCREF(Py_None);
        return Py_None;
    } else {
        return caster_of<R>::to_python(call());
    }
}

inline void require_arguments(PyObject* args, std::size_t wanted)
{
    const Py_ssize_t given = PyTuple_Size(args);
    if (given != static_cast<Py_ssize_t>(wanted))
        throw cast_error("expected " + std::to_string(wanted) + " argument(s), got " +
                         std::to_string(given));
}

// Calls the function with `first`, if there is one, and the arguments of the tuple.
template <class R, class... P, std::size_t... I, class Function>
PyObject* convert_and_call([[maybe_unused]] PyObject* args, std::index_sequence<I...>,
                           const Function& function)
{
    require_arguments(args, sizeof...(P));
    std::tuple<caster_of<P>...> in;
    // Last to first: of two bad arguments the last one is reported.
    (std::get<sizeof...(P) - 1 - I>(in).load(
         PyTuple_GetItem(args, static_cast<Py_ssize_t>(sizeof...(P) - 1 - I))),
     ...);
    return converted<R>([&]() -> R { return function(std::get<I>(in).get()...); });
}

template <class R, class... P>
PyObject* call_function(R (*function)(P...), PyObject* args)
{
    return convert_and_call<R, P...>(args, std::index_sequence_for<P...>(), function);
}

template <class T, class R, class... P>
PyObject* call_on_value(R (*function)(const T&, P...), PyObject* self, PyObject* args)
{
    const T& value = class_unwrap<T>(self);
    const auto bound = [&](auto&&... in) -> R {
        return function(value, std::forward<decltype(in)>(in)...);
    };
    return convert_and_call<R, P...>(args, std::index_sequence_for<P...>(), bound);
}

// METH_VARARGS entry of a typed function: counts the arguments, converts them, calls, converts the
// result. The function itself is plain C++ without CPython.
template <auto Err, auto F>
PyObject* call_wrapper(PyObject*, PyObject* args)
{
    return translated(Err, [&] { return call_function(F, args); });
}

// METH_VARARGS entry of a typed function as a method, with the wrapped value as first parameter.
template <class T, auto Err, auto F>
PyObject* call_method(PyObject* self, PyObject* args)
{
    return translated(Err, [&] { return call_on_value<T>(F, self, args); });
}

// Getter of a property, from a function of the value that returns a new reference.
template <class T, auto Err, auto G>
PyObject* property_getter(PyObject* self, void*)
{
    return translated(Err, [&] { return not_null(G(class_unwrap<T>(self))); });
}

// The same from a function of the object, for properties that are known before the value is
// computed.
template <auto Err, auto G>
PyObject* object_getter(PyObject* self, void*)
{
    return translated(Err, [&] { return not_null(G(self)); });
}

// Entries of a hand-written function, which parses its arguments itself. It returns a new
// reference, or null with the error set, or throws.
template <auto Err, auto F>
PyObject* call_plain(PyObject* self, PyObject* args)
{
    return translated(Err, [&] { return F(self, args); });
}

template <auto Err, auto F>
PyObject* call_plain_keywords(PyObject* self, PyObject* args, PyObject* kwargs)
{
    return translated(Err, [&] { return F(self, args, kwargs); });
}

} // namespace marlinth::binding

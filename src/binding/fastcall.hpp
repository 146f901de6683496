#pragma once

// Functions called by the vector call protocol (PEP 590): the arguments come in an array, and
// neither a tuple nor a dict is made of them. Such a function is hand-written; it binds the
// arguments to its parameters and returns a new reference, or null with the error set, or throws.

#include "binding/errors.hpp"
#include "binding/python.hpp"

#include <array>
#include <cstddef>
#include <span>
#include <string>

namespace marlinth::binding {

// The arguments of one call: `count` positional ones, followed by one for each name.
struct call_arguments
{
    PyObject* const* given;
    Py_ssize_t count;
    PyObject* names; // a tuple, or null where there is no keyword
};

// A function's parameters by name. The first `required` must be given; those from `positional` on
// are keyword-only.
struct parameter_list
{
    const char* function;
    std::span<const char* const> names;
    std::size_t required;
    std::size_t positional;
};

// Fills out[i] with the borrowed argument of parameter i, null where none was given. TypeError for
// too many, unknown, repeated or missing arguments, in CPython's own words.
void bind_arguments(const parameter_list& parameters, const call_arguments& call, PyObject** out);

template <std::size_t N>
struct signature
{
    const char* function;
    std::array<const char*, N> names;
    std::size_t required = N;
    std::size_t positional = N;

    std::array<PyObject*, N> bind(const call_arguments& call) const
    {
        std::array<PyObject*, N> out{};
        bind_arguments({function, names, required, positional}, call, out.data());
        return out;
    }
};

// Sets the Python error and throws error_already_set.
[[noreturn, gnu::cold]] void fail(PyObject* kind, const std::string& text);

// Entry of a function of any arguments, for METH_FASTCALL | METH_KEYWORDS.
template <auto Err, auto F>
PyObject* call_fast(PyObject*, PyObject* const* given, Py_ssize_t count, PyObject* names)
{
    return translated(Err, [&] { return F(call_arguments{given, count, names}); });
}

// Entry of a method without arguments, for METH_NOARGS.
template <auto Err, auto F>
PyObject* call_method_without(PyObject* self, PyObject*)
{
    return translated(Err, [&] { return F(self); });
}

// The pointer as the tables of CPython hold it.
template <class Entry>
PyCFunction table_entry(Entry entry)
{
    return reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(entry));
}

} // namespace marlinth::binding

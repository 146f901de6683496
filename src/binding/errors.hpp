#pragma once

// How failures become Python exceptions. Native code throws; the adapters of this layer catch, and
// nothing but them and set_cpp_error does.
//
// A thread that comes back to the interpreter after its end is unwound by force (pthread_exit). No
// handler may swallow that: every catch-all lets abi::__forced_unwind pass.

#include "binding/python.hpp"

#include <exception>
#include <stdexcept>
#include <string>

namespace marlinth::binding {

// A Python error is pending and shall stand.
struct error_already_set : std::exception
{
    const char* what() const noexcept override;
};

// Throws it; out of line, as what may fail is in every adapter and fails rarely.
[[noreturn, gnu::cold]] void throw_pending_error();

// An argument of the wrong type; the adapters make it a TypeError.
struct cast_error : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

// The function that returns the exception object for native failures.
using error_source = PyObject* (*)();

// Inside a handler: makes the exception in flight Python's. std::bad_alloc becomes MemoryError,
// another std::exception `error` with its text, anything else `error` with "internal error"; after
// error_already_set what is pending stands. Always null.
PyObject* set_cpp_error(PyObject* error);

// Runs the body of an entry point, which gives a new reference or null with the error set; what it
// throws is translated, a cast_error to TypeError.
template <class Body>
PyObject* translated(error_source error, const Body& body)
{
    try {
        return body();
    } catch (const cast_error& failure) {
        PyErr_SetString(PyExc_TypeError, failure.what());
        return nullptr;
    } catch (...) {
        return set_cpp_error(error());
    }
}

// Before a pending error is cleared or replaced by a text of ours: throws error_already_set if it
// tells more than that an object doesn't fit. That is a MemoryError, or a KeyboardInterrupt and its
// like, which are no Exception.
void require_replaceable_error();

// __name__ of the object's type, "?" if it can't be had.
std::string py_type_name(PyObject* object);

// The text of a str object; error_already_set if it has no UTF-8 form.
std::string as_utf8(PyObject* text);

} // namespace marlinth::binding

#pragma once

// Translation of failures into Python exceptions. Native code throws; only the adapters of this
// layer and set_cpp_error catch.
//
// A thread that returns to the interpreter after its end is unwound by force (pthread_exit). No
// handler may stop that: every catch-all lets abi::__forced_unwind pass.

#include "binding/python.hpp"

#include <exception>
#include <stdexcept>
#include <string>

namespace marlinth::binding {

// A Python error is pending and must be kept.
struct error_already_set : std::exception
{
    const char* what() const noexcept override;
};

// Throws it; out of line, since every adapter contains the call and rarely makes it.
[[noreturn, gnu::cold]] void throw_pending_error();

// An argument of the wrong type; the adapters make it a TypeError.
struct cast_error : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

// The function that returns the exception object for native failures.
using error_source = PyObject* (*)();

// Inside a handler: makes the exception in flight Python's. std::bad_alloc becomes MemoryError,
// another std::exception `err` with its text, anything else `err` with "internal error"; after
// error_already_set the pending error is kept. Always returns null.
PyObject* set_cpp_error(PyObject* err);

// Runs the body of an entry point, which returns a new reference, or null with the error set, and
// translates its exceptions, a cast_error to TypeError.
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

// To call before a pending error is cleared or replaced by a text of ours: throws error_already_set
// for errors that must not be lost, a MemoryError and those that aren't an Exception, such as
// KeyboardInterrupt.
void require_replaceable_error();

// __name__ of the object's type, "?" if it can't be read.
std::string py_type_name(PyObject* object);

// The text of a str object; error_already_set if it has no UTF-8 form.
std::string as_utf8(PyObject* text);

} // namespace marlinth::binding

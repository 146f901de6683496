#include "binding/errors.hpp"

#include "binding/owned_ref.hpp"

#include <cxxabi.h>
#include <new>

namespace marlinth::binding {

const char* error_already_set::what() const noexcept
{
    return "a Python error is already set";
}

void throw_pending_error()
{
    throw error_already_set();
}

// A forced unwind has no object: the handler's reference is bound to nothing, and never used.
__attribute__((no_sanitize("null"))) PyObject* set_cpp_error(PyObject* err)
{
    try {
        throw;
    } catch (const abi::__forced_unwind&) {
        throw;
    } catch (const error_already_set&) {
        return nullptr;
    } catch (const std::bad_alloc&) {
        return PyErr_NoMemory();
    } catch (const std::exception& failure) {
        PyErr_SetString(err, failure.what());
    } catch (...) {
        PyErr_SetString(err, "internal error");
    }
    return nullptr;
}

void require_replaceable_error()
{
    if (PyErr_Occurred() != nullptr && (PyErr_ExceptionMatches(PyExc_Exception) == 0 ||
                                        PyErr_ExceptionMatches(PyExc_MemoryError) != 0))
        throw error_already_set();
}

std::string py_type_name(PyObject* object)
{
    const owned_ref type(PyObject_Type(object));
    const owned_ref name(type ? PyObject_GetAttrString(type.get(), "__name__") : nullptr);
    Py_ssize_t length = 0;
    const char* text = name ? PyUnicode_AsUTF8AndSize(name.get(), &length) : nullptr;
    if (text == nullptr) {
        require_replaceable_error();
        PyErr_Clear();
        return "?";
    }
    return std::string(text, static_cast<std::size_t>(length));
}

std::string as_utf8(PyObject* text)
{
    Py_ssize_t length = 0;
    const char* bytes = PyUnicode_AsUTF8AndSize(text, &length);
    if (bytes == nullptr)
        throw error_already_set();
    return std::string(bytes, static_cast<std::size_t>(length));
}

} // namespace marlinth::binding

#pragma once

// The module under construction.

#include "binding/python.hpp"

#include <vector>

namespace marlinth::binding {

// Err is the address of the function that returns the exception object for native failures.
template <auto Err>
struct module_builder
{
    std::vector<PyMethodDef>& table; // lives as long as the process: CPython keeps pointers into it
    PyObject* module;
};

} // namespace marlinth::binding

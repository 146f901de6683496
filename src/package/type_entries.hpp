#pragma once

// Entries of the tables that make a type: its slots and its properties.

#include "binding/fastcall.hpp"
#include "module/functions.hpp"

namespace numerical::package {

template <class Function>
PyType_Slot slot(int number, Function function)
{
    return {number, reinterpret_cast<void*>(function)};
}

// A property whose value is F(self).
template <auto F>
PyGetSetDef property(const char* name, const char* doc)
{
    const getter entry = [](PyObject* self, void*) {
        return binding::translated(boundary::marlinth_module_error, [&] { return F(self); });
    };
    return {name, entry, nullptr, doc, nullptr};
}

} // namespace numerical::package

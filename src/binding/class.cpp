#include "binding/class.hpp"

#include <cstring>
#include <new>
#include <string>

namespace marlinth::binding {
namespace {

// Appends a slot, unless there is nothing to fill it with.
template <class Pointer>
void add(std::vector<PyType_Slot>& slots, int slot, Pointer value)
{
    if (value != nullptr)
        slots.push_back({slot, reinterpret_cast<void*>(value)});
}

} // namespace

void refuse_object(const char* text, const char* class_name)
{
    throw cast_error(std::string(text) + class_name);
}

const char* short_name(const char* dotted)
{
    const char* dot = std::strrchr(dotted, '.');
    return dot == nullptr ? dotted : dot + 1;
}

PyObject* make_type(const class_definition& definition)
try {
    std::vector<PyType_Slot> slots = definition.slots;
    add(slots, Py_tp_dealloc, definition.dealloc);
    add(slots, Py_tp_methods, definition.methods);
    add(slots, Py_tp_getset, definition.getsets);
    add(slots, Py_tp_repr, definition.repr);
    add(slots, Py_tp_richcompare, definition.richcompare);
    add(slots, Py_tp_hash, definition.hash);
    if (definition.init != nullptr) {
        add(slots, Py_tp_new, PyType_GenericNew);
        add(slots, Py_tp_init, definition.init);
    }
    slots.push_back({0, nullptr});
    const unsigned int flags = definition.init != nullptr
                                   ? 0
                                   : static_cast<unsigned int>(Py_TPFLAGS_DISALLOW_INSTANTIATION);
    PyType_Spec spec{definition.name, definition.basicsize, 0, flags, slots.data()};
    PyObject* type = PyType_FromSpec(&spec);
    if (type == nullptr && PyErr_Occurred() == nullptr) // as CPython up to 3.11 may leave it
        PyErr_NoMemory();
    return type;

} catch (const std::bad_alloc&) {
    return PyErr_NoMemory();
}

} // namespace marlinth::binding

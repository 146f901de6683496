#include "binding/class.hpp"

#include <array>
#include <cstring>
#include <string>

namespace marlinth::binding {
namespace {

// Slots in the order in which they are filled, ended by a zero entry.
struct slot_list
{
    std::array<PyType_Slot, 9> slots{};
    std::size_t count = 0;

    template <class Pointer>
    void add(int slot, Pointer value)
    {
        if (value != nullptr)
            slots[count++] = {slot, reinterpret_cast<void*>(value)};
    }
};

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
{
    slot_list list;
    list.add(Py_tp_dealloc, definition.dealloc);
    list.add(Py_tp_methods, definition.methods);
    list.add(Py_tp_getset, definition.getsets);
    list.add(Py_tp_repr, definition.repr);
    list.add(Py_tp_richcompare, definition.richcompare);
    list.add(Py_tp_hash, definition.hash);
    if (definition.init != nullptr) {
        list.add(Py_tp_new, PyType_GenericNew);
        list.add(Py_tp_init, definition.init);
    }
    const unsigned int flags = definition.init != nullptr
                                   ? 0
                                   : static_cast<unsigned int>(Py_TPFLAGS_DISALLOW_INSTANTIATION);
    PyType_Spec spec{definition.name, definition.basicsize, 0, flags, list.slots.data()};
    return PyType_FromSpec(&spec);
}

} // namespace marlinth::binding

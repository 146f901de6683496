#pragma once

// Native value types as Python classes. The value lies in the object itself, behind a pointer to it
// that is null until __init__ has run: an instance is one allocation and not two. The class can't
// be subclassed and isn't tracked by the garbage collector, as a value holds no references.
//
// An object may also be made with a source from which its value is computed when it is first
// needed. The source is then kept as long as the object lives, so that other threads may keep
// reading it without the interpreter lock.

#include "binding/errors.hpp"
#include "binding/owned_ref.hpp"
#include "binding/python.hpp"

#include <array>
#include <cstddef>
#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace marlinth::binding {

// The source from which a value is computed when it is first needed.
template <class T>
struct value_source
{
    virtual ~value_source() = default;

    // Called under the interpreter lock; runs no Python code.
    virtual T value() const = 0;
};

template <class T>
struct wrapped_object
{
    PyObject_HEAD T* wrapped;
    const value_source<T>* source; // owned; null of an object that was made with its value
    alignas(T) unsigned char room[sizeof(T)];

    static_assert(alignof(T) <= 16, "the alignment of CPython's blocks");
};

// The record of a wrapped type for the life of the process: its dotted name, its type object once
// it is made, and the two tables, into which CPython keeps pointers. The tables are never
// destroyed: exit() destroys statics while other threads may still be in calls, which go through
// the rows.
template <class T>
const char*& class_name()
{
    static const char* name = "";
    return name;
}

template <class T>
PyObject*& class_type()
{
    static PyObject* type = nullptr;
    return type;
}

template <class T>
std::vector<PyMethodDef>& class_methods()
{
    static auto& methods = *new std::vector<PyMethodDef>;
    return methods;
}

template <class T>
std::vector<PyGetSetDef>& class_getsets()
{
    static auto& getsets = *new std::vector<PyGetSetDef>;
    return getsets;
}

// Slots in addition to those that every class has: operators, subscripts, comparisons. CPython
// copies them.
template <class T>
std::vector<PyType_Slot>& class_slots()
{
    static auto& slots = *new std::vector<PyType_Slot>;
    return slots;
}

// Whether the object is of the class, uninitialized or not.
template <class T>
bool is_instance(PyObject* object)
{
    PyTypeObject* type = reinterpret_cast<PyTypeObject*>(class_type<T>());
    return Py_TYPE(object) == type ||
           (type != nullptr && PyType_IsSubtype(Py_TYPE(object), type) != 0);
}

template <class T>
wrapped_object<T>* object_of(PyObject* self)
{
    return reinterpret_cast<wrapped_object<T>*>(self);
}

// Makes the value of an object that has none yet.
template <class T, class... Arguments>
void class_emplace(PyObject* self, Arguments&&... arguments)
{
    wrapped_object<T>* object = object_of<T>(self);
    object->wrapped = new (object->room) T(std::forward<Arguments>(arguments)...);
}

template <class T>
bool is_initialized(PyObject* self)
{
    return object_of<T>(self)->wrapped != nullptr || object_of<T>(self)->source != nullptr;
}

// Out of line, to keep the accessors short.
template <class T>
[[gnu::cold, gnu::noinline]] T* computed_value(PyObject* self)
{
    if (const value_source<T>* source = object_of<T>(self)->source)
        class_emplace<T>(self, source->value());
    return object_of<T>(self)->wrapped;
}

// The value of an object of the class, computed if need be; null of one that isn't initialized. An
// exception of the computation leaves the object as it was.
template <class T>
T* value_in(PyObject* self)
{
    T* value = object_of<T>(self)->wrapped;
    return value != nullptr ? value : computed_value<T>(self);
}

// cast_error with the text and the name. Out of line, to keep the adapters short.
[[noreturn, gnu::cold]] void refuse_object(const char* text, const char* class_name);

// The value in the object, or cast_error.
template <class T>
T& class_unwrap(PyObject* object)
{
    if (!is_instance<T>(object))
        refuse_object("expected a ", class_name<T>());
    T* value = value_in<T>(object);
    if (value == nullptr)
        refuse_object("uninitialized ", class_name<T>());
    return *value;
}

// The memory of dead objects, reused for new ones: small results die as fast as they are made. It
// is used under the interpreter lock only.
template <class T>
struct spare_objects
{
    static constexpr std::size_t most = 64;

    std::array<PyObject*, most> kept;
    std::size_t count = 0;

    // An object without a value; null with the error set.
    PyObject* get(PyTypeObject* type)
    {
        if (count == 0)
            return PyType_GenericAlloc(type, 0);
        PyObject* object = PyObject_Init(kept[--count], type);
        object_of<T>(object)->wrapped = nullptr;
        object_of<T>(object)->source = nullptr;
        return object;
    }

    // Takes the memory of a dead one.
    void put(PyObject* object)
    {
        if (count == most)
            PyObject_Free(object);
        else
            kept[count++] = object;
    }
};

template <class T>
spare_objects<T>& class_spares()
{
    static spare_objects<T> spares;
    return spares;
}

// A new object that isn't initialized; null with the error set.
template <class T>
PyObject* class_allocate()
{
    PyObject* type = class_type<T>();
    if (type != nullptr)
        return class_spares<T>().get(reinterpret_cast<PyTypeObject*>(type));
    PyErr_SetString(PyExc_SystemError, "wrapped type not registered");
    return nullptr;
}

// A new instance with a T made of the arguments; null with the error set.
template <class T, class... Arguments>
PyObject* class_make(Arguments&&... arguments)
{
    owned_ref self(class_allocate<T>());
    if (!self)
        return nullptr;
    class_emplace<T>(self.get(), std::forward<Arguments>(arguments)...);
    return self.release();
}

// The same from a value, which is moved into it.
template <class T, class Value>
PyObject* class_wrap(Value&& value)
{
    return class_make<T>(std::forward<Value>(value));
}

// A new instance that computes its value when it is first needed; null with the error set.
template <class T>
PyObject* class_make_from(std::unique_ptr<const value_source<T>> source)
{
    PyObject* self = class_allocate<T>();
    if (self != nullptr)
        object_of<T>(self)->source = source.release();
    return self;
}

template <class T>
void class_dealloc(PyObject* self)
{
    if (T* value = object_of<T>(self)->wrapped)
        std::destroy_at(value);
    delete object_of<T>(self)->source;
    PyTypeObject* type = Py_TYPE(self);
    class_spares<T>().put(self);
    Py_DECREF(type);
}

// The parts of a type.
struct class_definition
{
    const char* name;
    int basicsize;
    initproc init;
    reprfunc repr;
    richcmpfunc richcompare;
    hashfunc hash;
    destructor dealloc;
    PyMethodDef* methods;
    PyGetSetDef* getsets;
    const std::vector<PyType_Slot>& slots;
};

// The text after the last dot.
const char* short_name(const char* dotted);

// A new type object, or null with the error set.
PyObject* make_type(const class_definition& definition);

// Registers a class: fill the statics while class_type is null, then finish. At a second
// initialization of the module the type of the first one is added.
template <class T>
class class_
{
public:
    reprfunc repr = nullptr;
    richcmpfunc richcompare = nullptr;
    hashfunc hash = nullptr;

    class_(PyObject* of_module, initproc by) : module(of_module), init(by) {}

    class_(const class_&) = delete;
    class_& operator=(const class_&) = delete;

    ~class_() { finish(); }

    void finish() noexcept
    {
        if (std::exchange(finished, true))
            return;
        PyObject*& type = class_type<T>();
        const char* name = short_name(class_name<T>());
        if (type != nullptr) {
            PyModule_AddObjectRef(module, name, type);
            return;
        }
        if (!end_tables())
            return;
        type = make_type({class_name<T>(), sizeof(wrapped_object<T>), init, repr, richcompare, hash,
                          class_dealloc<T>, class_methods<T>().data(), class_getsets<T>().data(),
                          class_slots<T>()});
        if (type != nullptr && PyModule_AddObjectRef(module, name, type) < 0)
            Py_DECREF(std::exchange(type, nullptr));
    }

private:
    PyObject* module;
    initproc init;
    bool finished = false;

    static bool end_tables()
    {
        try {
            class_methods<T>().push_back({});
            class_getsets<T>().push_back({});
        } catch (const std::bad_alloc&) {
            PyErr_NoMemory();
            return false;
        }
        return true;
    }
};

} // namespace marlinth::binding

#pragma once

// A reference that is dropped by scope. A bare PyObject* elsewhere is borrowed, or null with an
// error set where a function gives a new reference.

#include "binding/python.hpp"

#include <utility>

namespace marlinth::binding {

class owned_ref
{
public:
    owned_ref() = default;

    // Takes over a new reference, or null.
    explicit owned_ref(PyObject* reference) : object(reference) {}

    owned_ref(owned_ref&& other) noexcept : object(other.release()) {}

    owned_ref(const owned_ref&) = delete;
    owned_ref& operator=(owned_ref&& other) = delete;
    owned_ref& operator=(const owned_ref&) = delete;

    // Dropping may run Python code, in which a thread that outlives the interpreter can be ended by
    // a forced unwind: hence noexcept(false). Such a thread, or one that is being unwound already,
    // no longer holds the interpreter lock and must not touch the reference; the leak is harmless,
    // as the interpreter is finalized.
    ~owned_ref() noexcept(false)
    {
        if (object != nullptr && Py_IsInitialized() != 0)
            Py_DECREF(object);
    }

    static owned_ref to(PyObject* borrowed)
    {
        Py_XINCREF(borrowed);
        return owned_ref(borrowed);
    }

    PyObject* get() const { return object; }

    explicit operator bool() const { return object != nullptr; }

    // Takes over a new reference in place of the one held, which is dropped.
    void reset(PyObject* reference) { const owned_ref dropped(std::exchange(object, reference)); }

    // Hands the reference over to the caller.
    PyObject* release() { return std::exchange(object, nullptr); }

private:
    PyObject* object = nullptr;
};

// An item of a sequence; null with the error set. A tuple keeps its items alive, so that an item of
// a tuple is borrowed.
class sequence_item
{
public:
    sequence_item(PyObject* sequence, Py_ssize_t index)
        : owned(PyTuple_CheckExact(sequence) ? nullptr : PySequence_GetItem(sequence, index)),
          item(PyTuple_CheckExact(sequence) ? PyTuple_GetItem(sequence, index) : owned.get())
    {
    }

    sequence_item(const sequence_item&) = delete;
    sequence_item& operator=(const sequence_item&) = delete;

    PyObject* get() const { return item; }

    explicit operator bool() const { return item != nullptr; }

private:
    owned_ref owned;
    PyObject* item;
};

} // namespace marlinth::binding

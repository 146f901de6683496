#pragma once

// The record behind __array_struct__, by which NumPy and others show an array's memory in C
// ("The array interface protocol", NumPy manual).

#include "binding/python.hpp"

namespace numerical::boundary {

struct array_record
{
    int two; // 2, the mark of the record
    int nd;
    char typekind;
    int itemsize;
    int flags;
    Py_ssize_t* shape;
    Py_ssize_t* strides; // in bytes; null for a contiguous array
    void* data;
    PyObject* descr;

    static constexpr int contiguous = 0x1;
    static constexpr int not_swapped = 0x200;
};

// The record in a capsule without a name; null without an error if this is no such thing. The
// capsule keeps the array alive.
const array_record* record_in(PyObject* capsule);

} // namespace numerical::boundary

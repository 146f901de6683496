#pragma once

// The only include of Python.h. The module uses the stable ABI of CPython 3.10, so that one
// binary serves every later version.

#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include <cstddef>
#include <cstring>

// Headers up to 3.12 map PyArg_ParseTuple and its variants to these; later ones no longer declare
// them, though every interpreter exports them. They are called by their own names here, so that a
// module built with new headers also parses "n" and "#" correctly on an old interpreter.
extern "C" {
PyAPI_FUNC(int) _PyArg_ParseTuple_SizeT(PyObject*, const char*, ...);
PyAPI_FUNC(int) _PyArg_ParseTupleAndKeywords_SizeT(PyObject*, PyObject*, const char*, char**, ...);
PyAPI_FUNC(PyObject*) _Py_BuildValue_SizeT(const char*, ...);
}

#undef PyArg_ParseTuple
#undef PyArg_ParseTupleAndKeywords
#undef Py_BuildValue
#pragma GCC poison PyArg_ParseTuple PyArg_ParseTupleAndKeywords Py_BuildValue

namespace marlinth::binding {

// The positional arguments by a format of PyArg_ParseTuple; false with Python's error set.
template <class... Out>
bool parse_arguments(PyObject* args, const char* format, Out*... out)
{
    return _PyArg_ParseTuple_SizeT(args, format, out...) != 0;
}

// The same for a format of objects alone, "OO", in less time: the parser is called only to report a
// fault.
template <class... Object>
bool parse_objects(PyObject* args, const char* format, Object*... out)
{
    if (PyTuple_Size(args) != static_cast<Py_ssize_t>(sizeof...(out)))
        return parse_arguments(args, format, out...);
    Py_ssize_t place = 0;
    ((*out = PyTuple_GetItem(args, place++)), ...);
    return true;
}

// The same for a text and objects behind it, "sOO".
template <class... Object>
bool parse_text_and_objects(PyObject* args, const char* format, const char** text, Object*... out)
{
    if (PyTuple_Size(args) != static_cast<Py_ssize_t>(1 + sizeof...(out)))
        return parse_arguments(args, format, text, out...);
    Py_ssize_t length = 0;
    *text = PyUnicode_AsUTF8AndSize(PyTuple_GetItem(args, 0), &length);
    if (*text == nullptr || std::strlen(*text) != static_cast<std::size_t>(length)) {
        PyErr_Clear();
        return parse_arguments(args, format, text, out...);
    }
    Py_ssize_t place = 1;
    ((*out = PyTuple_GetItem(args, place++)), ...);
    return true;
}

// The same with keywords; `names` ends in a null pointer.
template <class... Out>
bool parse_keywords(PyObject* args, PyObject* kwargs, const char* format, const char* const* names,
                    Out*... out)
{
    return _PyArg_ParseTupleAndKeywords_SizeT(args, kwargs, format, const_cast<char**>(names),
                                              out...) != 0;
}

// A new object by a format of Py_BuildValue; null with Python's error set.
template <class... In>
PyObject* build_value(const char* format, In... in)
{
    return _Py_BuildValue_SizeT(format, in...);
}

} // namespace marlinth::binding

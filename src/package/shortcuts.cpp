#include "package/shortcuts.hpp"

#include "binding/caster.hpp"
#include "binding/class.hpp"
#include "binding/owned_ref.hpp"
#include "module/tensor_object.hpp"
#include "package/common_forms.hpp"

#include <algorithm>
#include <array>
#include <string>

namespace numerical::package {
namespace {

using binding::not_null;
using binding::owned_ref;
using boundary::marlinth_module_error;
using common_forms::arguments;

// The call as it was made, with `self` before the other arguments if there is one.
PyObject* call_python(PyObject* function, PyObject* self, const binding::call_arguments& call)
{
    const Py_ssize_t before = self == nullptr ? 0 : 1;
    const owned_ref positional(not_null(PyTuple_New(before + call.count)));
    const auto put = [&](Py_ssize_t place, PyObject* object) {
        Py_INCREF(object);
        PyTuple_SetItem(positional.get(), place, object);
    };
    if (self != nullptr)
        put(0, self);
    for (Py_ssize_t i = 0; i < call.count; ++i)
        put(before + i, call.given[i]);
    if (call.names == nullptr)
        return PyObject_CallObject(function, positional.get());
    const owned_ref named(not_null(PyDict_New()));
    for (Py_ssize_t i = 0; i < PyTuple_Size(call.names); ++i)
        if (PyDict_SetItem(named.get(), PyTuple_GetItem(call.names, i),
                           call.given[call.count + i]) != 0)
            return nullptr;
    return PyObject_Call(function, positional.get(), named.get());
}

// The record of one function for the life of the process, into which CPython keeps pointers: the
// function in Python, an owned reference, and the definition of the native one. It is never
// destroyed, as other threads may be in calls while exit() destroys statics.
struct kept_shortcut
{
    PyObject* function = nullptr;
    std::string doc;
    PyMethodDef definition{};
};

template <auto Common>
kept_shortcut& kept()
{
    static kept_shortcut& one = *new kept_shortcut;
    return one;
}

template <auto Common>
PyObject* call_function(PyObject*, PyObject* const* given, Py_ssize_t count, PyObject* names)
{
    return binding::translated(marlinth_module_error, [&] {
        PyObject* result =
            names == nullptr ? Common(arguments(given, static_cast<std::size_t>(count))) : nullptr;
        if (result != nullptr || PyErr_Occurred() != nullptr)
            return result;
        return call_python(kept<Common>().function, nullptr, {given, count, names});
    });
}

template <auto Common>
PyObject* call_method(PyObject* self, PyObject* const* given, Py_ssize_t count, PyObject* names)
{
    constexpr Py_ssize_t most = 7;
    return binding::translated(marlinth_module_error, [&] {
        PyObject* result = nullptr;
        if (names == nullptr && count <= most) {
            std::array<PyObject*, most + 1> all{self};
            std::copy_n(given, count, all.begin() + 1);
            result = Common(arguments(all.data(), static_cast<std::size_t>(count) + 1));
        }
        if (result != nullptr || PyErr_Occurred() != nullptr)
            return result;
        return call_python(kept<Common>().function, self, {given, count, names});
    });
}

// Fills in the record. The documentation is that of the function in Python, preceded by the line
// from which CPython reads the signature.
PyMethodDef* defined(kept_shortcut& one, PyObject* function, const char* name,
                     const char* signature, PyCFunction entry)
{
    Py_INCREF(function);
    Py_XDECREF(std::exchange(one.function, function));
    if (one.definition.ml_name != nullptr)
        return &one.definition;
    const owned_ref doc(not_null(PyObject_GetAttrString(function, "__doc__")));
    one.doc = std::string(name) + signature + "\n--\n\n" +
              (PyUnicode_Check(doc.get()) ? binding::as_utf8(doc.get()) : std::string());
    one.definition = {name, entry, METH_FASTCALL | METH_KEYWORDS, one.doc.c_str()};
    return &one.definition;
}

template <auto Common>
PyObject* new_function(PyObject* function, const char* name, const char* signature)
{
    PyMethodDef* definition = defined(kept<Common>(), function, name, signature,
                                      binding::table_entry(call_function<Common>));
    const owned_ref module(not_null(PyObject_GetAttrString(function, "__module__")));
    return PyCFunction_NewEx(definition, nullptr, module.get());
}

template <auto Common>
PyObject* new_method(PyObject* function, const char* name, const char* signature)
{
    PyMethodDef* definition = defined(kept<Common>(), function, name, signature,
                                      binding::table_entry(call_method<Common>));
    auto* type = reinterpret_cast<PyTypeObject*>(binding::class_type<any_tensor>());
    return PyDescr_NewMethod(type, definition);
}

struct shortcut_row
{
    const char* name;
    const char* signature;
    PyObject* (*made)(PyObject* function, const char* name, const char* signature);
};

// The row with the function's name, without the leading underscore of a private one.
PyObject* made_by(std::span<const shortcut_row> rows, PyObject* function)
{
    const owned_ref attribute(not_null(PyObject_GetAttrString(function, "__name__")));
    std::string name = binding::as_utf8(attribute.get());
    name.erase(0, name.find_first_not_of('_'));
    const auto row =
        std::find_if(rows.begin(), rows.end(), [&](const auto& each) { return name == each.name; });
    if (row == rows.end())
        binding::fail(PyExc_ValueError, "no common forms of " + name);
    return not_null(row->made(function, row->name, row->signature));
}

namespace forms = common_forms;

constexpr shortcut_row functions[] = {
    {"reshape", "(a, shape, order='C', *, copy=None)", new_function<forms::reshape>},
    {"ravel", "(a)", new_function<forms::ravel>},
    {"squeeze", "(a, axis=None)", new_function<forms::squeeze>},
    {"expand_dims", "(a, axis)", new_function<forms::expand_dims>},
    {"zeros", "(shape, dtype='float64', *, device=None)", new_function<forms::zeros>},
    {"ones", "(shape, dtype='float64', *, device=None)", new_function<forms::ones>},
    {"eye", "(n, m=None, k=0, dtype='float64', *, device=None)", new_function<forms::eye>},
    {"arange", "(start, stop=None, step=1.0, dtype=None, *, device=None)",
     new_function<forms::arange>},
    {"diag", "(v, k=0)", new_function<forms::diag>},
    {"diagonal", "(a, offset=0, axis1=-2, axis2=-1)", new_function<forms::diagonal>},
    {"trace", "(a, offset=0, axis1=-2, axis2=-1, dtype=None)", new_function<forms::trace>},
    {"vstack", "(tensors)", new_function<forms::vstack>},
    {"hstack", "(tensors)", new_function<forms::hstack>},
    {"column_stack", "(tensors)", new_function<forms::column_stack>},
    {"dot", "(a, b)", new_function<forms::dot>},
    {"outer", "(a, b)", new_function<forms::outer>},
    {"kron", "(a, b)", new_function<forms::kron>},
    {"multi_dot", "(tensors)", new_function<forms::multi_dot>},
};

// Called with the tensor first. A method has its own statics, as its template argument differs.
constexpr auto ravel_method = [](arguments given) { return forms::ravel(given); };
constexpr auto squeeze_method = [](arguments given) { return forms::squeeze(given); };
constexpr auto diagonal_method = [](arguments given) { return forms::diagonal(given); };
constexpr auto trace_method = [](arguments given) { return forms::trace(given); };
constexpr auto dot_method = [](arguments given) { return forms::dot(given); };

constexpr shortcut_row method_shortcuts[] = {
    {"reshape", "($self, *shape, order='C')", new_method<forms::reshape_method>},
    {"ravel", "($self)", new_method<ravel_method>},
    {"squeeze", "($self, axis=None)", new_method<squeeze_method>},
    {"copy", "($self)", new_method<forms::copied>},
    {"diagonal", "($self, offset=0, axis1=-2, axis2=-1)", new_method<diagonal_method>},
    {"trace", "($self, offset=0, axis1=-2, axis2=-1, dtype=None)", new_method<trace_method>},
    {"dot", "($self, b)", new_method<dot_method>},
};

} // namespace

PyObject* shortcut(const binding::call_arguments& call)
{
    static constexpr binding::signature<1> signature{"shortcut", {"function"}};
    return made_by(functions, signature.bind(call)[0]);
}

PyObject* method_shortcut(const binding::call_arguments& call)
{
    static constexpr binding::signature<1> signature{"method_shortcut", {"function"}};
    return made_by(method_shortcuts, signature.bind(call)[0]);
}

} // namespace numerical::package

#include "package/table.hpp"

#include "binding/class.hpp"
#include "module/kept_booleans.hpp"
#include "package/elementwise.hpp"
#include "package/operators.hpp"
#include "package/positions.hpp"
#include "package/reductions.hpp"
#include "package/shaping.hpp"
#include "package/shortcuts.hpp"
#include "package/subscript.hpp"
#include "package/table_entry.hpp"
#include "package/type_entries.hpp"

#include <vector>

namespace numerical::package {
namespace {

using boundary::marlinth_module_error;

// The Python functions that the native ones call back, and the objects that t.dtype gives.
PyObject* connect(const binding::call_arguments& call)
{
    static constexpr binding::signature<6> parameters{
        "_connect",
        {"asarray", "defers_to", "annotate", "solve_assuming", "float64", "complex128"}};
    const auto given = parameters.bind(call);
    for (PyObject* object : given)
        Py_INCREF(object);
    callbacks() = {.asarray = given[0],
                   .defers_to = given[1],
                   .annotate = given[2],
                   .solve_assuming = given[3],
                   .float64 = given[4],
                   .complex128 = given[5]};
    Py_INCREF(Py_None);
    return Py_None;
}

// The package's object for the tensor's dtype; before the package is connected a plain text, as the
// module's attribute gives it.
PyObject* dtype_of(PyObject* self)
{
    const bool is_complex = boundary::is_complex(self);
    PyObject* dtype = is_complex ? callbacks().complex128 : callbacks().float64;
    if (dtype == nullptr)
        return PyUnicode_FromString(is_complex ? "complex128" : "float64");
    Py_INCREF(dtype);
    return dtype;
}

PyObject* subscript_slot(PyObject* self, PyObject* key)
{
    return binding::translated(marlinth_module_error, [&] { return subscript(self, key); });
}

template <auto F>
PyMethodDef method_without(const char* name, const char* doc)
{
    return {name, binding::call_method_without<marlinth_module_error, F>, METH_NOARGS, doc};
}

bool add_descriptor(PyObject* type, const char* name, PyObject* made)
{
    const binding::owned_ref descriptor(made);
    return descriptor && PyObject_SetAttrString(type, name, descriptor.get()) == 0;
}

// Methods and properties in addition to those of the module's table; false with the error set.
bool add_attributes(PyObject* object)
{
    auto* type = reinterpret_cast<PyTypeObject*>(object);
    static PyMethodDef methods[] = {
        method_without<conjugated>("conj", "The complex conjugates; a float64 tensor as it is."),
        method_without<conjugated>("conjugate", "As conj."),
    };
    static PyGetSetDef properties[] = {
        property<dtype_of>("dtype", "numerical.float64 or numerical.complex128."),
        property<transposed>("T", "The axes in reverse order."),
        property<matrix_transposed>("mT", "The last two axes exchanged."),
        property<hermitian_transposed>("mH", "The conjugate of mT."),
        property<real_part>("real", "The real parts, as float64."),
        property<imaginary_part>("imag", "The imaginary parts, as float64."),
    };
    for (PyMethodDef& each : methods)
        if (!add_descriptor(object, each.ml_name, PyDescr_NewMethod(type, &each)))
            return false;
    for (PyGetSetDef& each : properties)
        if (!add_descriptor(object, each.name, PyDescr_NewGetSet(type, &each)))
            return false;
    return true;
}

PyObject* bytes_held(const binding::call_arguments& call)
{
    static constexpr binding::signature<1> signature{"bytes_held", {"tensor"}};
    const auto [given] = signature.bind(call);
    if (!is_tensor(given))
        binding::fail(PyExc_TypeError, "bytes_held takes a Tensor");
    return PyLong_FromSize_t(boundary::bytes_of_elements(given));
}

std::span<PyMethodDef> connection_table()
{
    static PyMethodDef table[] = {
        function<connect>("_connect",
                          "_connect(asarray, defers_to, annotate, solve_assuming, float64,\n"
                          "         complex128)\n"
                          "--\n\n"
                          "Sets the package's functions that are called back, and its\n"
                          "two dtypes."),
        function<bytes_held>("bytes_held",
                             "bytes_held(tensor)\n--\n\n"
                             "Bytes that are kept for the elements, of a mask for its\n"
                             "booleans, its numbers once they were needed, or both."),
        function<shortcut>("shortcut", "shortcut(function)\n--\n\n"
                                       "The native function that takes its calls, does the common\n"
                                       "ones and hands it the others."),
        function<method_shortcut>("method_shortcut", "method_shortcut(function)\n--\n\n"
                                                     "The same as a method of Tensor."),
    };
    return table;
}

} // namespace

bool define_tensor(PyObject* module)
{
    std::vector<PyType_Slot>& slots = binding::class_slots<any_tensor>();
    if (binding::class_type<any_tensor>() == nullptr) {
        slots.clear();
        add_operator_slots(slots);
        slots.push_back({Py_mp_subscript, reinterpret_cast<void*>(subscript_slot)});
        // By identity, as == gives masks: a type with comparisons would have no hash otherwise.
        slots.push_back({Py_tp_hash, PyType_GetSlot(&PyBaseObject_Type, Py_tp_hash)});
    }
    boundary::define_tensor_class(module);
    if (PyErr_Occurred() != nullptr)
        return false;
    define_positions(module);
    return PyErr_Occurred() == nullptr && add_attributes(binding::class_type<any_tensor>());
}

PyMethodDef* function_table()
{
    static std::vector<PyMethodDef>& table = []() -> std::vector<PyMethodDef>& {
        auto& all = *new std::vector<PyMethodDef>; // never destroyed: calls may outlast exit()
        for (std::span<PyMethodDef> rows :
             {connection_table(), linear_algebra_table(), factors_table(), matrix_functions_table(),
              elementwise_table(), reductions_table(), shaping_table()})
            all.insert(all.end(), rows.begin(), rows.end());
        all.push_back({nullptr, nullptr, 0, nullptr});
        return all;
    }();
    return table.data();
}

} // namespace numerical::package

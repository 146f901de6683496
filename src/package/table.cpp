#include "package/table.hpp"

#include "binding/class.hpp"
#include "binding/fastcall.hpp"
#include "module/functions.hpp"
#include "package/decompositions.hpp"
#include "package/operators.hpp"
#include "package/products.hpp"
#include "package/subscript.hpp"
#include "package/systems.hpp"

#include <string>

namespace numerical::package {
namespace {

using boundary::marlinth_module_error;

template <auto F>
PyMethodDef function(const char* name, const char* doc)
{
    return {name, binding::table_entry(binding::call_fast<marlinth_module_error, F>),
            METH_FASTCALL | METH_KEYWORDS, doc};
}

// The Python functions that the native ones call back.
PyObject* connect(const binding::call_arguments& call)
{
    static constexpr binding::signature<3> parameters{"_connect",
                                                      {"asarray", "defers_to", "annotate"}};
    const auto given = parameters.bind(call);
    for (PyObject* callback : given)
        Py_INCREF(callback);
    callbacks() = {.asarray = given[0], .defers_to = given[1], .annotate = given[2]};
    Py_INCREF(Py_None);
    return Py_None;
}

PyObject* subscript_slot(PyObject* self, PyObject* key)
{
    return binding::translated(marlinth_module_error, [&] { return subscript(self, key); });
}

} // namespace

void define_tensor(PyObject* module)
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
}

PyMethodDef* function_table()
{
    static PyMethodDef table[] = {
        function<connect>("_connect", "_connect(asarray, defers_to, annotate)\n--\n\n"
                                      "Sets the package's functions that are called back."),
        function<matmul>("matmul",
                         "matmul(a, b)\n--\n\n"
                         "The matrix product, as @: vectors count as a row or a column, leading\n"
                         "axes are stacked.\n\n"
                         "ValueError if the inner extents differ or an operand has rank 0."),
        function<updated_copy>("updated",
                               "updated(t, index, values, operation)\n--\n\n"
                               "A copy of t with the elements of t[index] set, or changed by add,\n"
                               "multiply, min or max."),
        function<solve>("solve", "solve(a, b)\n--\n\n"
                                 "x with a @ x = b, by LU. a is (..., M, M); b is (M,), or\n"
                                 "(..., M, K) with one right-hand side in each column.\n\n"
                                 "numerical.error \"solve: matrix is singular\" for an exactly\n"
                                 "singular a."),
        function<inv>("inv", "inv(a)\n--\n\nThe inverse of square matrices, by LU."),
        function<det>("det", "det(a)\n--\n\n"
                             "The determinant; a number for a matrix, a tensor for a stack.\n"
                             "slogdet doesn't overflow."),
        function<slogdet>("slogdet", "slogdet(a)\n--\n\n(sign, logabsdet)."),
        function<cholesky>("cholesky", "cholesky(a)\n--\n\nThe lower factors."),
        function<qr>("qr", "qr(a, mode)\n--\n\n(Q, R), or R for mode \"r\"."),
        function<eigh>("eigh", "eigh(a, method)\n--\n\n(values, vectors)."),
        function<eigvalsh>("eigvalsh", "eigvalsh(a)\n--\n\nThe eigenvalues, ascending."),
        function<svd>("svd", "svd(a, full_matrices, method)\n--\n\n(U, S, Vh)."),
        function<svdvals>("svdvals", "svdvals(a)\n--\n\nThe singular values, descending."),
        {nullptr, nullptr, 0, nullptr},
    };
    return table;
}

} // namespace numerical::package

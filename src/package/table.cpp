#include "package/table.hpp"

#include "binding/class.hpp"
#include "binding/fastcall.hpp"
#include "module/functions.hpp"
#include "package/creation.hpp"
#include "package/decompositions.hpp"
#include "package/elementary.hpp"
#include "package/elementwise.hpp"
#include "package/general_eigen.hpp"
#include "package/least_squares.hpp"
#include "package/numbers.hpp"
#include "package/operators.hpp"
#include "package/ordering.hpp"
#include "package/positions.hpp"
#include "package/products.hpp"
#include "package/reductions.hpp"
#include "package/shaping.hpp"
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

// The Python functions that the native ones call back, and the objects that t.dtype gives.
PyObject* connect(const binding::call_arguments& call)
{
    static constexpr binding::signature<5> parameters{
        "_connect", {"asarray", "defers_to", "annotate", "float64", "complex128"}};
    const auto given = parameters.bind(call);
    for (PyObject* object : given)
        Py_INCREF(object);
    callbacks() = {.asarray = given[0],
                   .defers_to = given[1],
                   .annotate = given[2],
                   .float64 = given[3],
                   .complex128 = given[4]};
    Py_INCREF(Py_None);
    return Py_None;
}

// The package's object for the tensor's dtype, where the module's own attribute gives a plain text;
// that text as long as the package isn't connected.
PyObject* dtype_of(PyObject* self)
{
    const bool is_complex = value_of(self).index() == 1;
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
PyGetSetDef property(const char* name, const char* doc)
{
    const getter entry = [](PyObject* self, void*) {
        return binding::translated(marlinth_module_error, [&] { return F(self); });
    };
    return {name, entry, nullptr, doc, nullptr};
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

// Methods and properties beside those of the module's table; false with the error set.
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
    define_positions(module);
    if (PyObject* type = binding::class_type<any_tensor>())
        add_attributes(type);
}

PyMethodDef* function_table()
{
    static PyMethodDef table[] = {
        function<connect>("_connect",
                          "_connect(asarray, defers_to, annotate, float64, complex128)\n"
                          "--\n\n"
                          "Sets the package's functions that are called back, and its\n"
                          "two dtypes."),
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
        function<sum>("sum", "sum(a, axis=None, *, dtype=None, keepdims=False)\n--\n\n"
                             "The sum of all elements or along axes, by pairwise summation."),
        function<mean>("mean", "mean(a, axis=None, *, dtype=None, keepdims=False)\n--\n\n"
                               "The mean of all elements or along axes; NaN over no element."),
        function<max>("max",
                      "max(a, axis=None, *, keepdims=False)\n--\n\n"
                      "The largest element of a float64 tensor, of all or along axes; NaN if\n"
                      "one is NaN."),
        function<min>("min",
                      "min(a, axis=None, *, keepdims=False)\n--\n\n"
                      "The smallest element of a float64 tensor, of all or along axes; NaN if\n"
                      "one is NaN."),
        function<var>(
            "var",
            "var(a, axis=None, *, correction=0.0, ddof=None, dtype=None, keepdims=False)\n--\n\n"
            "The mean squared modulus of the distance from the mean; divided by\n"
            "count - correction."),
        function<std>(
            "std",
            "std(a, axis=None, *, correction=0.0, ddof=None, dtype=None, keepdims=False)\n--\n\n"
            "The square root of var."),
        function<add>("add", "add(a, b)\n--\n\na + b, element by element with broadcasting."),
        function<subtract>("subtract",
                           "subtract(a, b)\n--\n\na - b, element by element with broadcasting."),
        function<multiply>("multiply",
                           "multiply(a, b)\n--\n\na * b, element by element with broadcasting."),
        function<divide>("divide",
                         "divide(a, b)\n--\n\na / b, element by element with broadcasting."),
        function<power>(
            "power",
            "power(a, b)\n--\n\na to the power of b, element by element with broadcasting."),
        function<negative>("negative", "negative(a)\n--\n\nThe element-wise negative."),
        function<square>("square", "square(a)\n--\n\nEvery element times itself."),
        function<conj>("conj", "conj(a)\n--\n\nThe complex conjugates; a float64 tensor as it is."),
        function<real>("real", "real(a)\n--\n\nThe real parts, as float64."),
        function<imag>(
            "imag", "imag(a)\n--\n\nThe imaginary parts, as float64; zeros for a float64 tensor."),
        function<exp>("exp", "exp(a)\n--\n\ne to the power of every element."),
        function<log>("log", "log(a)\n--\n\nThe natural logarithm of every element; -inf for 0, "
                             "NaN for a negative float64."),
        function<sqrt>(
            "sqrt", "sqrt(a)\n--\n\nThe square root of every element; NaN for a negative float64."),
        function<sin>("sin", "sin(a)\n--\n\nThe sine of every element."),
        function<cos>("cos", "cos(a)\n--\n\nThe cosine of every element."),
        function<tan>("tan", "tan(a)\n--\n\nThe tangent of every element."),
        function<tanh>("tanh", "tanh(a)\n--\n\nThe hyperbolic tangent of every element."),
        function<abs>("abs", "abs(a)\n--\n\nThe modulus of every element, as float64."),
        function<allclose>("allclose",
                           "allclose(a, b, rtol=1e-5, atol=1e-8, equal_nan=False)\n--\n\nWhether "
                           "abs(a - b) <= atol + rtol*abs(b) everywhere, with broadcasting."),
        function<array_equal>("array_equal", "array_equal(a, b)\n--\n\nWhether shapes and all "
                                             "elements are equal; a NaN equals nothing."),
        function<permute_dims>(
            "permute_dims",
            "permute_dims(a, axes=None)\n--\n\nThe axes in another order, reversed by default."),
        function<concatenate>("concatenate",
                              "concatenate(tensors, axis=0)\n--\n\nTensors of one rank joined "
                              "along an axis; their other extents are equal."),
        function<stack>(
            "stack",
            "stack(tensors, axis=0)\n--\n\nTensors of one shape side by side along a new axis."),
        function<tril>(
            "tril",
            "tril(a, k=0)\n--\n\nThe matrix, or each of a stack, with zeros above diagonal k."),
        function<triu>(
            "triu",
            "triu(a, k=0)\n--\n\nThe matrix, or each of a stack, with zeros below diagonal k."),
        function<with_strides>("with_strides",
                               "with_strides(a, shape, strides, first=0)\n--\n\nElements read from "
                               "`first` on through strides, all in elements."),
        function<eye>("eye", "eye(n, m, k, complex)\n--\n\nOnes on diagonal k, zeros elsewhere."),
        function<tri>("tri", "tri(n, m, k, complex)\n--\n\nOnes on and below diagonal k."),
        function<diagonal_matrix>("diagonal_matrix", "diagonal_matrix(v, k)\n--\n\n"
                                                     "The vector v on diagonal k."),
        function<euclidean_norm>("euclidean_norm",
                                 "euclidean_norm(a, axis=None, *, keepdims=False)\n--\n\n"
                                 "The square root of the sum of squared moduli."),
        function<pinv>("pinv", "pinv(a)\n--\n\nThe Moore-Penrose inverses."),
        function<matrix_rank>("matrix_rank",
                              "matrix_rank(a)\n--\n\nAn int, or a tensor for a stack."),
        function<lstsq>("lstsq", "lstsq(a, b)\n--\n\nThe solutions of least norm."),
        function<eig>("eig", "eig(a)\n--\n\n(values, right vectors)."),
        function<eigvals>("eigvals",
                          "eigvals(a)\n--\n\n"
                          "The eigenvalues of general square matrices: float64 where none\n"
                          "of a real matrix has an imaginary part, complex128 otherwise."),
        function<eig_both>("eig_both", "eig_both(a)\n--\n\n(values, left vectors, right vectors)."),
        function<schur>("schur", "schur(a, complex)\n--\n\n(T, Q) with a = Q T Q^H."),
        function<hessenberg>("hessenberg", "hessenberg(a)\n--\n\n(H, Q) with a = Q H Q^H."),
        function<exp2>("exp2", "exp2(a)\n"
                               "--\n"
                               "\n"
                               "2 to the power of every element."),
        function<expm1>("expm1", "expm1(a)\n"
                                 "--\n"
                                 "\n"
                                 "exp(a) - 1, exact near 0 as well."),
        function<log2>("log2", "log2(a)\n"
                               "--\n"
                               "\n"
                               "The logarithm to base 2 of every element."),
        function<log10>("log10", "log10(a)\n"
                                 "--\n"
                                 "\n"
                                 "The logarithm to base 10 of every element."),
        function<log1p>("log1p", "log1p(a)\n"
                                 "--\n"
                                 "\n"
                                 "log(1 + a), exact near 0 as well."),
        function<sinh>("sinh", "sinh(a)\n"
                               "--\n"
                               "\n"
                               "The hyperbolic sine of every element."),
        function<cosh>("cosh", "cosh(a)\n"
                               "--\n"
                               "\n"
                               "The hyperbolic cosine of every element."),
        function<arcsin>("arcsin", "arcsin(a)\n"
                                   "--\n"
                                   "\n"
                                   "The inverse sine of every element, in [-pi/2, pi/2]; NaN "
                                   "outside [-1, 1] for float64."),
        function<arccos>(
            "arccos",
            "arccos(a)\n"
            "--\n"
            "\n"
            "The inverse cosine of every element, in [0, pi]; NaN outside [-1, 1] for float64."),
        function<arctan>("arctan", "arctan(a)\n"
                                   "--\n"
                                   "\n"
                                   "The inverse tangent of every element, in [-pi/2, pi/2]."),
        function<arctan2>("arctan2", "arctan2(y, x)\n"
                                     "--\n"
                                     "\n"
                                     "The angle of the points (x, y), in [-pi, pi]; float64 only."),
        function<hypot>("hypot", "hypot(a, b)\n"
                                 "--\n"
                                 "\n"
                                 "sqrt(a*a + b*b) without overflow between; float64 only."),
        function<equal>("equal", "equal(a, b)\n"
                                 "--\n"
                                 "\n"
                                 "The mask of a == b, with broadcasting; a bool for two numbers."),
        function<not_equal>("not_equal",
                            "not_equal(a, b)\n"
                            "--\n"
                            "\n"
                            "The mask of a != b, with broadcasting; a bool for two numbers."),
        function<less>("less", "less(a, b)\n"
                               "--\n"
                               "\n"
                               "The mask of a < b, with broadcasting; a bool for two numbers.\n"
                               "\n"
                               "TypeError for complex128, which has no order."),
        function<less_equal>("less_equal",
                             "less_equal(a, b)\n"
                             "--\n"
                             "\n"
                             "The mask of a <= b, with broadcasting; a bool for two numbers.\n"
                             "\n"
                             "TypeError for complex128, which has no order."),
        function<greater>("greater",
                          "greater(a, b)\n"
                          "--\n"
                          "\n"
                          "The mask of a > b, with broadcasting; a bool for two numbers.\n"
                          "\n"
                          "TypeError for complex128, which has no order."),
        function<greater_equal>("greater_equal",
                                "greater_equal(a, b)\n"
                                "--\n"
                                "\n"
                                "The mask of a >= b, with broadcasting; a bool for two numbers.\n"
                                "\n"
                                "TypeError for complex128, which has no order."),
        function<maximum>("maximum", "maximum(a, b)\n"
                                     "--\n"
                                     "\n"
                                     "The larger of each pair of elements; NaN if one is.\n"
                                     "\n"
                                     "TypeError for complex128, which has no order."),
        function<minimum>("minimum", "minimum(a, b)\n"
                                     "--\n"
                                     "\n"
                                     "The smaller of each pair of elements; NaN if one is.\n"
                                     "\n"
                                     "TypeError for complex128, which has no order."),
        function<logical_and>(
            "logical_and", "logical_and(a, b)\n"
                           "--\n"
                           "\n"
                           "The mask of the pairs of which both are true: not zero; NaN is true."),
        function<logical_or>("logical_or",
                             "logical_or(a, b)\n"
                             "--\n"
                             "\n"
                             "The mask of the pairs of which one is true: not zero; NaN is true."),
        function<logical_xor>(
            "logical_xor",
            "logical_xor(a, b)\n"
            "--\n"
            "\n"
            "The mask of the pairs of which just one is true: not zero; NaN is true."),
        function<logical_not>("logical_not", "logical_not(a)\n"
                                             "--\n"
                                             "\n"
                                             "The mask of the zeros."),
        function<isnan>(
            "isnan",
            "isnan(a)\n"
            "--\n"
            "\n"
            "The mask of NaNs, of complex numbers with one in either part; a bool for a number."),
        function<isinf>("isinf",
                        "isinf(a)\n"
                        "--\n"
                        "\n"
                        "The mask of infinities of both signs, in either part of complex numbers."),
        function<isfinite>("isfinite", "isfinite(a)\n"
                                       "--\n"
                                       "\n"
                                       "The mask of what is neither infinite nor NaN."),
        function<isclose>("isclose",
                          "isclose(a, b, rtol=1e-5, atol=1e-8, equal_nan=False)\n"
                          "--\n"
                          "\n"
                          "The mask of abs(a - b) <= atol + rtol*abs(b), with broadcasting."),
        function<floor>("floor",
                        "floor(a)\n"
                        "--\n"
                        "\n"
                        "The largest integers up to the elements of a float64 tensor, as float64."),
        function<ceil>(
            "ceil", "ceil(a)\n"
                    "--\n"
                    "\n"
                    "The smallest integers from the elements of a float64 tensor on, as float64."),
        function<trunc>("trunc", "trunc(a)\n"
                                 "--\n"
                                 "\n"
                                 "The elements of a float64 tensor without their fractions."),
        function<round>("round",
                        "round(a, decimals=0)\n"
                        "--\n"
                        "\n"
                        "Rounded to decimals, halves to the even digit; complex numbers by parts."),
        function<sign>("sign", "sign(a)\n"
                               "--\n"
                               "\n"
                               "1, 0 or -1; a/abs(a) of complex numbers; NaN of NaN."),
        function<clip>("clip",
                       "clip(a, min=None, max=None)\n"
                       "--\n"
                       "\n"
                       "The elements of a float64 tensor brought between bounds, which broadcast;\n"
                       "None for no bound."),
        function<where>("where",
                        "where(mask, a=None, b=None)\n"
                        "--\n"
                        "\n"
                        "The elements of a where the mask isn't zero, of b elsewhere, all with\n"
                        "broadcasting. Of a mask alone its nonzero places, as nonzero."),
        function<diff>("diff", "diff(a, n=1, axis=-1)\n"
                               "--\n"
                               "\n"
                               "The differences of neighbours along an axis, n times over."),
        function<sort>(
            "sort", "sort(a, axis=-1, kind=None, *, descending=False, stable=True)\n"
                    "--\n"
                    "\n"
                    "The elements of a float64 tensor sorted along an axis; of all for axis None.\n"
                    "NaNs are last. Always stable, whatever the kind."),
        function<argsort>(
            "argsort",
            "argsort(a, axis=-1, kind=None, *, descending=False, stable=True)\n"
            "--\n"
            "\n"
            "The Positions along an axis that sort a float64 tensor: a[argsort(a)] is sorted\n"
            "for a vector. NaNs are last; equal elements keep their order."),
        function<argmax>(
            "argmax",
            "argmax(a, axis=None, *, keepdims=False)\n"
            "--\n"
            "\n"
            "The first place of the largest element, an int, or Positions along an axis; of a\n"
            "NaN if there is one. Without an axis it counts in row-major order."),
        function<argmin>(
            "argmin",
            "argmin(a, axis=None, *, keepdims=False)\n"
            "--\n"
            "\n"
            "The first place of the smallest element, an int, or Positions along an axis; of a\n"
            "NaN if there is one. Without an axis it counts in row-major order."),
        function<searchsorted>(
            "searchsorted",
            "searchsorted(a, v, side='left', sorter=None)\n"
            "--\n"
            "\n"
            "Where v would keep the ascending vector a sorted: before equal elements, or behind\n"
            "them for side 'right'. An int for a number, else Positions."),
        function<nonzero>("nonzero",
                          "nonzero(a)\n"
                          "--\n"
                          "\n"
                          "For each axis the Positions of the elements that aren't zero."),
        function<any>("any", "any(a, axis=None, *, keepdims=False)\n"
                             "--\n"
                             "\n"
                             "Whether one element isn't zero: a bool, or a mask along axes."),
        function<all>("all", "all(a, axis=None, *, keepdims=False)\n"
                             "--\n"
                             "\n"
                             "Whether no element is zero: a bool, or a mask along axes."),
        function<count_nonzero>("count_nonzero",
                                "count_nonzero(a, axis=None, *, keepdims=False)\n"
                                "--\n"
                                "\n"
                                "How many elements aren't zero: an int, or Positions along axes."),
        function<prod>("prod", "prod(a, axis=None, *, dtype=None, keepdims=False)\n"
                               "--\n"
                               "\n"
                               "The product of all elements or along axes; 1 over none."),
        function<cumsum>(
            "cumsum",
            "cumsum(a, axis=None, dtype=None)\n"
            "--\n"
            "\n"
            "The running sums along an axis, of all elements in row-major order by default."),
        function<cumprod>(
            "cumprod",
            "cumprod(a, axis=None, dtype=None)\n"
            "--\n"
            "\n"
            "The running products along an axis, of all elements in row-major order by default."),
        function<rolled>("rolled", "rolled(a, shift, axis)\n--\n\n"
                                   "Along the axis the last `shift` places first."),
        {nullptr, nullptr, 0, nullptr},
    };
    return table;
}

} // namespace numerical::package

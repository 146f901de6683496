#include "module/functions.hpp"

#include "binding/call.hpp"
#include "binding/class.hpp"
#include "binding/keywords.hpp"
#include "numerical/checks.hpp"

#include <iterator>
#include <variant>

// The module's table: the class, its methods and properties, and the functions, in order.

namespace numerical::boundary {
namespace {

// A function of native types.
template <auto F>
PyMethodDef typed(const char* name, const char* doc)
{
    return {name, binding::call_wrapper<marlinth_module_error, F>, METH_VARARGS, doc};
}

// A function that parses its own arguments.
template <auto F>
PyMethodDef plain(const char* name, const char* doc)
{
    return {name, binding::call_plain<marlinth_module_error, F>, METH_VARARGS, doc};
}

template <auto F>
PyMethodDef plain_with_keywords(const char* name, const char* doc)
{
    const auto entry = reinterpret_cast<void (*)()>( // first to void (*)(): a direct cast warns
        binding::call_plain_keywords<marlinth_module_error, F>);
    return {name, reinterpret_cast<PyCFunction>(entry), METH_VARARGS | METH_KEYWORDS, doc};
}

// The getters are defined here so that they are inlined into their entries: reading an attribute
// takes no longer than a few calls.
PyObject* get_shape(PyObject* self)
{
    return shape_tuple(shape_of(self));
}

PyObject* get_ndim(PyObject* self)
{
    return PyLong_FromUnsignedLongLong(shape_of(self).size());
}

PyObject* get_size(PyObject* self)
{
    return PyLong_FromUnsignedLongLong(detail::element_count(shape_of(self)));
}

PyObject* get_dtype(PyObject* self)
{
    static PyObject* const names[] = {
        binding::not_null(PyUnicode_FromStringAndSize("float64", 7)),
        binding::not_null(PyUnicode_FromStringAndSize("complex128", 10))};
    PyObject* name = names[is_complex(self) ? 1 : 0];
    Py_INCREF(name);
    return name;
}

template <auto G>
PyGetSetDef property(const char* name, const char* doc)
{
    return {name, binding::object_getter<marlinth_module_error, G>, nullptr, doc, nullptr};
}

void add_methods()
{
    auto& methods = binding::class_methods<any_tensor>();
    methods.push_back(
        {"__dlpack_device__",
         binding::call_method<any_tensor, marlinth_module_error, tensor_dlpack_device>,
         METH_VARARGS,
         "__dlpack_device__() -> (device_type, device_id)\n"
         "The DLPack device (always CPU)."});
    methods.push_back(plain_with_keywords<tensor_dlpack>(
        "__dlpack__", "__dlpack__(stream=None) -> PyCapsule\n"
                      "Export a DLPack capsule sharing this tensor's buffer."));
    methods.push_back(plain<tensor_dlpack_versioned>(
        "_dlpack_versioned", "_dlpack_versioned(copied) -> PyCapsule\n"
                             "The same as a record of version 1: read-only, or writable where the\n"
                             "tensor is a copy that nobody else holds."));
    methods.push_back({"tolist", binding::call_plain<marlinth_module_error, tensor_tolist>,
                       METH_NOARGS,
                       "tolist() -> list\n"
                       "The elements as nested Python lists (a bare scalar when rank-0)."});
}

void add_properties()
{
    auto& getsets = binding::class_getsets<any_tensor>();
    getsets.push_back(property<get_shape>("shape", "The size of each axis, as a tuple."));
    getsets.push_back(property<get_ndim>("ndim", "The number of axes."));
    getsets.push_back(property<get_size>("size", "The total number of elements."));
    getsets.push_back(property<get_dtype>("dtype", "'float64' or 'complex128'."));
    getsets.push_back(
        {"__array_interface__",
         binding::property_getter<any_tensor, marlinth_module_error, get_array_interface>, nullptr,
         "NumPy array-interface (v3) describing the shared, read-only buffer.", nullptr});
}

void define_class()
{
    binding::class_name<any_tensor>() = "numerical.Tensor";
    binding::class_methods<any_tensor>().clear();
    binding::class_getsets<any_tensor>().clear();
    Py_INCREF(Py_None);
    binding::kw_spec_for<tensor_factory>().define(
        binding::class_name<any_tensor>(),
        {{"data", binding::required, nullptr},
         {"shape", binding::optional, Py_None},
         {"dtype", binding::optional, PyUnicode_FromString("float64")}});
    add_methods();
    add_properties();
}

const PyMethodDef functions[] = {
    typed<set_num_threads>("_set_num_threads",
                           "_set_num_threads(n)\n"
                           "Cap the threads a kernel uses at n (see numerical.set_num_threads)."),
    typed<get_num_threads>("get_num_threads", "get_num_threads() -> int\n"
                                              "The threads a kernel may use."),
    typed<limit_gemm_path>("_limit_gemm_path",
                           "_limit_gemm_path(code) -> int\n"
                           "The path code now in use (see numerical.limit_gemm_path)."),
    typed<gemm_path>("_gemm_path", "_gemm_path() -> int\n"
                                   "The path code float64 matrix products take."),
    typed<amx_probed>("_amx_probed", "_amx_probed() -> bool\n"
                                     "Whether the AMX's self-test has run in this process."),
    typed<solve>("solve", "solve(a, b) -> Tensor\n"
                          "Solve the linear system a @ x = b (a rank-2; b rank-1, or rank-2 with "
                          "one right-hand side per column)."),
    typed<inverse>("inverse", "inverse(a) -> Tensor\n"
                              "The inverse of a square matrix."),
    typed<lstsq>("lstsq", "lstsq(a, b) -> Tensor\n"
                          "The minimum-norm least-squares solution of a @ x ≈ b, as "
                          "numpy.linalg.lstsq (SVD; a rank-2; b rank-1, or rank-2 with one "
                          "right-hand side per column)."),
    typed<cholesky>("cholesky", "cholesky(a) -> Tensor\n"
                                "The lower factor L of A = L Lᴴ (Hermitian positive-definite)."),
    typed<qr>("qr",
              "qr(a) -> (Q, R)\n"
              "The QR factorisation of an m×n matrix, as numpy.linalg.qr (reduced): Q is m×k, "
              "R k×n, k = min(m, n)."),
    typed<eigh>("eigh", "eigh(a, method) -> (values, vectors)\n"
                        "Eigenpairs of a real symmetric or complex Hermitian matrix (real values, "
                        "ascending); its lower triangle is read, as numpy.linalg.eigh reads it."),
    typed<matrix_rank>("matrix_rank", "matrix_rank(a) -> int\n"
                                      "The numerical rank of a matrix, as "
                                      "numpy.linalg.matrix_rank."),
    typed<pinv>("pinv", "pinv(a) -> Tensor\n"
                        "The Moore–Penrose pseudo-inverse of an m×n matrix, as "
                        "numpy.linalg.pinv."),
    typed<svd>("svd", "svd(a, method) -> (U, S, Vh)\n"
                      "The singular value decomposition a = U @ diag(S) @ Vh of an m×n matrix, as "
                      "numpy.linalg.svd(a, full_matrices=False)."),
    plain<module_determinant>("determinant",
                              "determinant(a) -> number\n"
                              "The determinant of a square matrix (float or complex)."),
    plain<module_take>("_take", "_take(t, starts, steps, counts, keep) -> Tensor or number\n"
                                "The strided copy behind Tensor.__getitem__."),
    plain<module_binary>("_binary",
                         "_binary(op, a, b) -> Tensor\n"
                         "Element-wise a op b (op one of + - * /), broadcast; one dtype."),
    plain<module_negate>("_negate", "_negate(a) -> Tensor\n"
                                    "Element-wise negation."),
    plain<module_unary>("_unary", "_unary(name, a) -> Tensor\n"
                                  "exp, log, sqrt, sin, cos, tan, tanh or abs of every element."),
    plain<module_reduce>("_reduce",
                         "_reduce(op, a, axis) -> number or Tensor\n"
                         "sum, mean, max or min of every element (axis -1) or along an axis."),
    plain<module_reshape>("_reshape", "_reshape(a, shape) -> Tensor\n"
                                      "The elements under another shape."),
    plain<module_full>("_full", "_full(shape, value, complex) -> Tensor\n"
                                "A tensor of one value."),
    plain<module_eye>("_eye", "_eye(n, complex) -> Tensor\n"
                              "The n×n identity."),
    plain<module_arange>("_arange", "_arange(start, stop, step) -> Tensor\n"
                                    "As numpy.arange (float64)."),
    plain<module_linspace>("_linspace", "_linspace(start, stop, num) -> Tensor\n"
                                        "As numpy.linspace with the end point (float64)."),
    plain<module_slogdet>("slogdet",
                          "slogdet(a) -> (sign, logabsdet)\n"
                          "The sign and the natural log of |det(a)|, as numpy.linalg.slogdet; it\n"
                          "does not underflow or overflow where determinant(a) does."),
    plain<module_einsum>("einsum", "einsum(spec, *operands) -> Tensor\n"
                                   "Einstein summation, e.g. 'ij,jk->ik' (matmul), 'i,i->' (dot), "
                                   "'ij->ji'."),
    plain_with_keywords<module_asarray>(
        "asarray",
        "asarray(obj, dtype=None) -> Tensor\n"
        "A Tensor (converted if dtype differs), or a copy of a C-contiguous array via\n"
        "__array_interface__. dtype is honoured: real->complex128 widens (zero imaginary\n"
        "part); complex128->float64 is refused."),
};

} // namespace

void define_tensor_class(PyObject* module)
{
    binding::class_<any_tensor> tensor_class(
        module, binding::class_init<any_tensor, marlinth_module_error, tensor_factory>);
    if (binding::class_type<any_tensor>() == nullptr)
        define_class();
    tensor_class.finish();
}

void marlinth_module_register(binding::module_builder<marlinth_module_error>& builder)
{
    define_tensor_class(builder.module);
    builder.table.insert(builder.table.end(), std::begin(functions), std::end(functions));
}

} // namespace numerical::boundary

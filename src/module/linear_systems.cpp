#include "module/functions.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "numerical/factor/determinant.hpp"
#include "numerical/factor/lu.hpp"
#include "numerical/systems/vector_system.hpp"

#include <complex>
#include <stdexcept>
#include <variant>

namespace numerical::boundary {
namespace {

template <class T>
detail::block_view<const T> matrix_of(const tensor<T>& a)
{
    return {a.data.data(), a.shape[0], a.shape[1]};
}

// How right-hand sides are substituted: the products of a sum in the order of the triangles' blocks
// and for a single one ascending, or as it is fastest.
enum class sum_order { ascending, fastest };

template <sum_order of, class T>
aligned_vector<T> solution(const lu_decomposition<T>& lu, const tensor<T>& b)
{
    const bool one_vector = b.shape.size() == 1;
    if (b.shape[0] != lu.order)
        throw dimension_error(one_vector
                                  ? "solve: right-hand side size differs from the matrix"
                                  : "solve: right-hand side row count differs from the matrix");
    if (lu.singular)
        throw singular_matrix_error("solve: matrix is singular");
    if (!one_vector)
        return lu.solve_matrix(b.data.data(), b.shape[1],
                               of == sum_order::ascending ? block_sums::in_order
                                                          : block_sums::in_any_order);
    const aligned_vector<T> sides = detail::copy_of(b.data.data(), b.data.size());
    return of == sum_order::ascending ? lu.solve_vector(sides) : solve_vector(lu, sides);
}

template <sum_order of, class T>
any_tensor solve_of_type(const tensor<T>& a, const any_tensor& any_b)
{
    const tensor<T>* const b = std::get_if<tensor<T>>(&any_b);
    if (b == nullptr)
        throw std::runtime_error("solve operands must share one dtype");
    const gil_release released(a.data.size() >= gil_release_threshold);
    const lu_decomposition<T> lu(matrix_of(a));
    return tensor<T>(b->shape, solution<of>(lu, *b));
}

template <sum_order of>
any_tensor solve_in_order(const any_tensor& a, const any_tensor& b)
{
    if (shape_of(a).size() != 2 || (shape_of(b).size() != 1 && shape_of(b).size() != 2))
        throw std::runtime_error("solve(a, b) needs a rank-2 a and a rank-1 or rank-2 b");
    return std::visit([&](const auto& of_type) { return solve_of_type<of>(of_type, b); }, a);
}

template <class T>
any_tensor inverse_of_type(const tensor<T>& a)
{
    const gil_release released(a.data.size() >= gil_release_threshold);
    const lu_decomposition<T> lu(matrix_of(a));
    if (lu.singular)
        throw singular_matrix_error("inverse: matrix is singular");
    return tensor<T>(lu.inverse());
}

// The tensor of the one argument, checked to be a matrix; null with the error set.
const any_tensor* read_matrix(PyObject* args, const char* rank_message)
{
    PyObject* object;
    if (!binding::parse_arguments(args, "O", &object))
        return nullptr;
    const any_tensor* const value = as_tensor(object);
    if (value != nullptr && shape_of(*value).size() != 2) {
        PyErr_SetString(marlinth_module_error(), rank_message);
        return nullptr;
    }
    return value;
}

// The result of `compute` for the factored matrix, without the lock if the matrix is large.
template <class T, class F>
auto of_factors(const tensor<T>& a, const F& compute)
{
    const gil_release released(a.data.size() >= gil_release_threshold);
    return compute(lu_decomposition<T>(matrix_of(a)));
}

PyObject* pair(double sign, double log)
{
    return binding::build_value("(dd)", sign, log);
}

PyObject* pair(const std::complex<double>& sign, double log)
{
    return binding::build_value("(Nd)", number(sign), log);
}

} // namespace

any_tensor solve(const any_tensor& a, const any_tensor& b)
{
    return solve_in_order<sum_order::ascending>(a, b);
}

any_tensor solve_fastest(const any_tensor& a, const any_tensor& b)
{
    return solve_in_order<sum_order::fastest>(a, b);
}

any_tensor inverse(const any_tensor& a)
{
    if (shape_of(a).size() != 2)
        throw std::runtime_error("inverse expects a matrix (rank-2 tensor)");
    return std::visit([](const auto& of_type) { return inverse_of_type(of_type); }, a);
}

PyObject* module_determinant(PyObject*, PyObject* args)
{
    const any_tensor* const value =
        read_matrix(args, "determinant expects a matrix (rank-2 tensor)");
    if (value == nullptr)
        return nullptr;
    const auto of_type = [](const auto& a) {
        return number(of_factors(a, [](const auto& lu) { return determinant(lu); }));
    };
    return std::visit(of_type, *value);
}

PyObject* module_slogdet(PyObject*, PyObject* args)
{
    const any_tensor* const value = read_matrix(args, "slogdet expects a matrix (rank-2 tensor)");
    if (value == nullptr)
        return nullptr;
    const auto of_type = [](const auto& a) {
        const auto [sign, log] = of_factors(a, [](const auto& lu) { return slogdet(lu); });
        return pair(sign, log);
    };
    return std::visit(of_type, *value);
}

} // namespace numerical::boundary

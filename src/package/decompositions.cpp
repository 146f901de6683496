#include "package/decompositions.hpp"

#include "binding/caster.hpp"
#include "module/functions.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/eigen.hpp"
#include "numerical/factor/fastest_qr.hpp"
#include "numerical/factor/qr.hpp"
#include "numerical/matrix.hpp"
#include "numerical/stacks/lane_groups.hpp"
#include "numerical/stacks/stacks.hpp"
#include "numerical/strided/dense_passes.hpp"
#include "numerical/strided/matrix_view.hpp"
#include "numerical/strided/transpose.hpp"
#include "numerical/svd/range_guard.hpp"
#include "numerical/svd/svd.hpp"
#include "package/kept_stacks.hpp"

#include <algorithm>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

namespace numerical::package {
namespace {

// Calls of_type(a, shape) for the tensor `given`.
template <class F>
PyObject* of_stack(PyObject* given, const operand& a, const stack_shape& of, const F& of_type)
{
    return telling({given}, of.lead,
                   [&] { return by_type(a, [&](const auto& x) { return of_type(x, of); }); });
}

template <class T>
PyObject* lower_factors(const tensor<T>& a, const stack_shape& of)
{
    tensor<T> factors = unset_stack<T>(of.lead, {of.rows, of.cols});
    computed(a.data.size(), [&] { stacks::cholesky(of.count, dense(a, of), factors.data.data()); });
    return wrap(std::move(factors));
}

// --- QR ------------------------------------------------------------------------------------------
enum class qr_mode { reduced, complete, r };

qr_mode qr_mode_named(PyObject* given)
{
    const std::string name = binding::to_text(given);
    if (name == "reduced")
        return qr_mode::reduced;
    if (name == "complete")
        return qr_mode::complete;
    if (name == "r")
        return qr_mode::r;
    binding::fail(PyExc_ValueError, "mode is 'reduced', 'complete' or 'r', not '" + name + "'");
}

// Small complex matrices have their own kernel, alone as well as in a stack.
bool has_own_qr(const any_tensor& a, const stack_shape& of)
{
    return std::holds_alternative<tensor<complex>>(a) && stacks::has_small_qr(of.rows, of.cols);
}

void find_thin_factors(const tensor<double>& a, const stack_shape& of, double* q, double* r)
{
    stacks::qr(of.count, dense(a, of), q, r);
}

void find_thin_factors(const tensor<complex>& a, const stack_shape& of, complex* q, complex* r)
{
    if (stacks::has_small_qr(of.rows, of.cols))
        return stacks::small_qr(of.count, dense(a, of), q, r);
    stacks::qr(of.count, dense(a, of), q, r);
}

template <class T>
PyObject* thin_factors(const tensor<T>& a, const stack_shape& of, bool with_q)
{
    const std::size_t k = std::min(of.rows, of.cols);
    tensor<T> q = unset_stack<T>(of.lead, {of.rows, k});
    tensor<T> r = unset_stack<T>(of.lead, {k, of.cols});
    computed(a.data.size(), [&] { find_thin_factors(a, of, q.data.data(), r.data.data()); });
    if (!with_q)
        return wrap(std::move(r));
    return pair_of(wrap(std::move(q)), wrap(std::move(r)));
}

// Of one matrix, whose results are moved where those of a stack are copied.
template <class T>
PyObject* single_factors(const tensor<T>& a, qr_mode mode)
{
    const std::size_t rows = a.shape[0];
    const std::size_t cols = a.shape[1];
    const std::size_t k = std::min(rows, cols);
    detail::thin_qr<T> found;
    computed(a.data.size(), [&] {
        matrix<T> work = boundary::matrix_from(a);
        detail::require_finite(work, "QR decomposition");
        if (mode == qr_mode::r)
            found.r = detail::fastest_triangle(std::move(work.data), rows, cols);
        else
            found = detail::fastest_qr(std::move(work.data), rows, cols);
    });
    PyObject* const r = wrap(tensor<T>({k, cols}, std::move(found.r)));
    return mode == qr_mode::r ? r : pair_of(wrap(tensor<T>({rows, k}, std::move(found.q))), r);
}

template <class T>
void set_identity(T* to, std::size_t n)
{
    detail::set_zero(to, n * n);
    for (std::size_t i = 0; i < n; ++i)
        to[i * (n + 1)] = T(1);
}

// Q, rows × rows, and R, rows × cols, for rows > cols.
template <class T>
PyObject* complete_factors(const tensor<T>& a, const stack_shape& of)
{
    const std::size_t m = of.rows;
    const std::size_t n = of.cols;
    tensor<T> q = unset_stack<T>(of.lead, {m, m});
    tensor<T> r = unset_stack<T>(of.lead, {m, n});
    const auto factor_one = [&](std::size_t i) {
        T* const q_of_one = q.data.data() + i * m * m;
        if (n == 0)
            return set_identity(q_of_one, m);
        matrix<T> one = dense(a, of).copy_of(i);
        detail::require_finite(one, "QR decomposition");
        const auto factors =
            detail::householder_qr(std::move(one.data), m, n, detail::basis_extent::complete);
        T* const r_of_one = r.data.data() + i * m * n;
        std::copy(factors.q.begin(), factors.q.end(), q_of_one);
        std::copy(factors.r.begin(), factors.r.end(), r_of_one);
        detail::set_zero(r_of_one + n * n, (m - n) * n);
    };
    for_each_matrix(of, 4 * m * m * n, factor_one);
    return pair_of(wrap(std::move(q)), wrap(std::move(r)));
}

// --- eigenvalues ---------------------------------------------------------------------------------
// By default small matrices have their own kernels, alone as well as in a stack, so that the bits
// agree.
template <class T>
void find_eigenpairs(const tensor<T>& a, const stack_shape& of, eigen_method method, double* values,
                     T* vectors)
{
    if (method == eigen_method::divide_and_conquer && stacks::is_small(of.rows))
        return stacks::small_eigh(of.count, dense(a, of), values, vectors);
    stacks::eigh(of.count, dense(a, of), method, values, vectors);
}

template <class T>
void find_eigenvalues(const tensor<T>& a, const stack_shape& of, double* values)
{
    if (stacks::is_small(of.rows))
        return stacks::small_eigenvalues(of.count, dense(a, of), values);
    stacks::eigenvalues(of.count, dense(a, of), values);
}

// Of one matrix, whose results are moved where those of a stack are copied.
template <class T>
PyObject* single_eigh(const tensor<T>& a, eigen_method method)
{
    using solver = std::conditional_t<std::is_same_v<T, double>, symmetric_eigen, hermitian_eigen>;
    std::optional<solver> found;
    computed(a.data.size(),
             [&] { found.emplace(boundary::matrix_from(a), method, eigen_blocks::fastest); });
    const std::size_t n = found->size;
    return pair_of(wrap(tensor<double>({n}, std::move(found->values))),
                   wrap(tensor<T>({n, n}, std::move(found->vectors.data))));
}

template <class T>
PyObject* eigh_of(const tensor<T>& a, const stack_shape& of, eigen_method method)
{
    tensor<double> values = unset_stack<double>(of.lead, {of.rows});
    tensor<T> vectors = unset_stack<T>(of.lead, {of.rows, of.rows});
    computed(a.data.size(),
             [&] { find_eigenpairs(a, of, method, values.data.data(), vectors.data.data()); });
    return pair_of(wrap(std::move(values)), wrap(std::move(vectors)));
}

template <class T>
PyObject* eigvalsh_of(const tensor<T>& a, const stack_shape& of)
{
    tensor<double> values = unset_stack<double>(of.lead, {of.rows});
    computed(a.data.size(), [&] { find_eigenvalues(a, of, values.data.data()); });
    return wrap(std::move(values));
}

// --- singular values -----------------------------------------------------------------------------
template <class T>
struct triplet_places
{
    T* u;
    double* values;
    T* vh;
};

template <class T>
void find_triplets(std::size_t count, const matrix_stack<T>& a, svd_method method,
                   const triplet_places<T>& to)
{
    if (method == svd_method::divide_and_conquer && stacks::is_small(a.rows, a.cols))
        return stacks::small_svd(count, a, to.u, to.values, to.vh);
    stacks::svd(count, a, method, to.u, to.values, to.vh);
}

template <class T>
void find_singular_values(const tensor<T>& a, const stack_shape& of, double* values)
{
    if (stacks::is_small(of.rows, of.cols))
        return stacks::small_singular_values(of.count, dense(a, of), values);
    stacks::singular_values(of.count, dense(a, of), values);
}

// Of one matrix, whose results are moved where those of a stack are copied.
template <class T>
PyObject* single_svd(const tensor<T>& a, svd_method method)
{
    std::optional<svd_decomposition<T>> found;
    matrix<T> right(0, 0, {});
    computed(a.data.size(), [&] {
        found.emplace(boundary::matrix_from(a), method, svd_blocks::fastest);
        // Times 1: unlike the plain adjoint it is copied on threads.
        right = detail::adjoint_times_power<T>(detail::view_of(std::as_const(found->v)), 0);
    });
    const std::size_t k = found->values.size();
    return triple_of(wrap(tensor<T>(std::move(found->u))),
                     wrap(tensor<double>({k}, std::move(found->values))),
                     wrap(tensor<T>(std::move(right))));
}

template <class T>
PyObject* thin_svd(const tensor<T>& a, const stack_shape& of, svd_method method)
{
    const std::size_t k = std::min(of.rows, of.cols);
    tensor<T> u = unset_stack<T>(of.lead, {of.rows, k});
    tensor<double> values = unset_stack<double>(of.lead, {k});
    tensor<T> vh = unset_stack<T>(of.lead, {k, of.cols});
    computed(a.data.size(), [&] {
        find_triplets(of.count, dense(a, of), method,
                      {u.data.data(), values.data.data(), vh.data.data()});
    });
    return triple_of(wrap(std::move(u)), wrap(std::move(values)), wrap(std::move(vh)));
}

// The square basis that begins with the columns of `a`; `a` itself if it is square.
template <class T>
aligned_vector<T> square_basis(const matrix<T>& a)
{
    if (a.rows == a.cols)
        return a.data;
    if (a.cols == 0) {
        aligned_vector<T> identity(a.rows * a.rows);
        set_identity(identity.data(), a.rows);
        return identity;
    }
    return detail::completed_basis(a.data, a.rows, a.cols);
}

template <class T>
PyObject* full_svd(const tensor<T>& a, const stack_shape& of, svd_method method)
{
    const std::size_t m = of.rows;
    const std::size_t n = of.cols;
    const std::size_t k = std::min(m, n);
    tensor<T> u = unset_stack<T>(of.lead, {m, m});
    tensor<double> values = unset_stack<double>(of.lead, {k});
    tensor<T> vh = unset_stack<T>(of.lead, {n, n});
    aligned_vector<T> thin_u = detail::uninitialized<T>(of.count * m * k);
    aligned_vector<T> thin_vh = detail::uninitialized<T>(of.count * k * n);
    computed(a.data.size(), [&] {
        find_triplets(of.count, dense(a, of), method,
                      {thin_u.data(), values.data.data(), thin_vh.data()});
    });
    const matrix_stack<T> left{.first = thin_u.data(), .rows = m, .cols = k, .step = m * k};
    const matrix_stack<T> right{.first = thin_vh.data(), .rows = k, .cols = n, .step = k * n};
    const auto complete_one = [&](std::size_t i) {
        const aligned_vector<T> left_basis = square_basis(left.copy_of(i));
        const matrix<T> right_basis(n, n, square_basis(detail::adjoint(right.copy_of(i))));
        const matrix<T> rows = detail::adjoint(right_basis);
        std::copy(left_basis.begin(), left_basis.end(), u.data.data() + i * m * m);
        std::copy(rows.data.begin(), rows.data.end(), vh.data.data() + i * n * n);
    };
    for_each_matrix(of, 4 * (m * m + n * n) * k, complete_one);
    return triple_of(wrap(std::move(u)), wrap(std::move(values)), wrap(std::move(vh)));
}

template <class T>
PyObject* values_of(const tensor<T>& a, const stack_shape& of)
{
    tensor<double> values = unset_stack<double>(of.lead, {std::min(of.rows, of.cols)});
    computed(a.data.size(), [&] { find_singular_values(a, of, values.data.data()); });
    return wrap(std::move(values));
}

constexpr binding::signature<1> cholesky_signature{"cholesky", {"a"}};
constexpr binding::signature<2> qr_signature{"qr", {"a", "mode"}};
constexpr binding::signature<2> eigh_signature{"eigh", {"a", "method"}};
constexpr binding::signature<1> eigvalsh_signature{"eigvalsh", {"a"}};
constexpr binding::signature<3> svd_signature{"svd", {"a", "full_matrices", "method"}};
constexpr binding::signature<1> svdvals_signature{"svdvals", {"a"}};

} // namespace

PyObject* cholesky(const binding::call_arguments& call)
{
    const auto [given] = cholesky_signature.bind(call);
    const operand a(given);
    const stack_shape of = square_stack_of(a, "cholesky");
    if (of.is_single())
        return telling({given}, {}, [&] { return wrap(boundary::cholesky(a.value())); });
    return of_stack(given, a, of, [](const auto& x, const stack_shape& shape) {
        return lower_factors(x, shape);
    });
}

PyObject* qr(const binding::call_arguments& call)
{
    const auto [given, mode_name] = qr_signature.bind(call);
    const qr_mode mode = qr_mode_named(mode_name);
    const operand a(given);
    const stack_shape of = stack_of(a, "qr");
    const bool complete = mode == qr_mode::complete && of.rows > of.cols;
    if (of.is_single() && !complete && !has_own_qr(a.value(), of))
        return telling({given}, {}, [&] {
            return by_type(a, [&](const auto& x) { return single_factors(x, mode); });
        });
    return of_stack(given, a, of, [&](const auto& x, const stack_shape& shape) {
        return complete ? complete_factors(x, shape) : thin_factors(x, shape, mode != qr_mode::r);
    });
}

PyObject* eigh(const binding::call_arguments& call)
{
    const auto [given, method_name] = eigh_signature.bind(call);
    const operand a(given);
    const stack_shape of = square_stack_of(a, "eigh");
    const std::string method = binding::to_text(method_name);
    const bool is_alone = of.is_single() && !stacks::is_small(of.rows);
    return of_stack(given, a, of, [&](const auto& x, const stack_shape& shape) {
        const eigen_method by = boundary::eigen_method_named(method);
        return is_alone ? single_eigh(x, by) : eigh_of(x, shape, by);
    });
}

PyObject* eigvalsh(const binding::call_arguments& call)
{
    const auto [given] = eigvalsh_signature.bind(call);
    const operand a(given);
    const auto of_type = [](const auto& x, const stack_shape& of) { return eigvalsh_of(x, of); };
    return of_stack(given, a, square_stack_of(a, "eigvalsh"), of_type);
}

PyObject* svd(const binding::call_arguments& call)
{
    const auto [given, full, method_name] = svd_signature.bind(call);
    const operand a(given);
    const bool complete = flag_parameter(full);
    const std::string method = binding::to_text(method_name);
    const stack_shape of = stack_of(a, "svd");
    const bool is_thin = !complete || of.rows == of.cols;
    const bool is_alone = of.is_single() && !stacks::is_small(of.rows, of.cols);
    return of_stack(given, a, of, [&](const auto& x, const stack_shape& shape) {
        const svd_method by = boundary::svd_method_named(method);
        if (is_thin && is_alone)
            return single_svd(x, by);
        return is_thin ? thin_svd(x, shape, by) : full_svd(x, shape, by);
    });
}

PyObject* svdvals(const binding::call_arguments& call)
{
    const auto [given] = svdvals_signature.bind(call);
    const operand a(given);
    const auto of_type = [](const auto& x, const stack_shape& of) { return values_of(x, of); };
    return of_stack(given, a, stack_of(a, "svdvals"), of_type);
}

} // namespace numerical::package

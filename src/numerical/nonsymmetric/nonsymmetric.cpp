#include "numerical/nonsymmetric/nonsymmetric.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "numerical/nonsymmetric/block_exchange.hpp"
#include "numerical/nonsymmetric/hessenberg.hpp"
#include "numerical/nonsymmetric/reduction_to_schur.hpp"
#include "numerical/nonsymmetric/standard_block.hpp"
#include "numerical/nonsymmetric/triangular_vectors.hpp"
#include "numerical/nonsymmetric/unit_columns.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/matrix_view.hpp"
#include "numerical/strided/transpose.hpp"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

namespace numerical {
namespace {

using complex = std::complex<double>;

template <class T>
void require_square(const matrix<T>& a, const char* operation)
{
    if (a.rows != a.cols)
        throw dimension_error(std::string(operation) + " requires a square matrix");
}

template <class T>
void multiply_by_power(aligned_vector<T>& x, int exponent)
{
    if (exponent != 0)
        for (T& element : x)
            element = detail::scaled_by_power(element, exponent);
}

template <class T>
detail::schur_views<T> views_of(schur_factors<T>& factors, aligned_vector<T>& adjoint)
{
    const std::size_t n = factors.t.rows;
    const std::size_t columns = factors.q.rows == n ? n : 0;
    return {{factors.t.data.data(), n, n}, {adjoint.data(), n, columns}};
}

} // namespace

// --- Hessenberg form -----------------------------------------------------------------------------

namespace {

template <class T>
struct scaled_reduction
{
    matrix<T> h;
    detail::hessenberg_reduction<T> reflections;
};

template <class T>
scaled_reduction<T> reduce(matrix<T> a)
{
    constexpr const char* operation = "Hessenberg decomposition";
    require_square(a, operation);
    const int exponent = detail::scale_to_safe_range(a, operation);
    auto reflections = detail::reduce_to_hessenberg(a.data, a.rows);
    multiply_by_power(a.data, -exponent);
    return {std::move(a), std::move(reflections)};
}

} // namespace

template <class T>
hessenberg_factors<T> hessenberg_form(matrix<T> a)
{
    scaled_reduction<T> reduction = reduce(std::move(a));
    const std::size_t n = reduction.h.rows;
    return {std::move(reduction.h), {n, n, detail::hessenberg_basis(reduction.reflections)}};
}

template <class T>
matrix<T> hessenberg_matrix(matrix<T> a)
{
    return reduce(std::move(a)).h;
}

// --- Schur form ----------------------------------------------------------------------------------

template <class T>
schur_factors<T> schur_form(matrix<T> a, schur_vectors vectors)
{
    constexpr const char* operation = "Schur decomposition";
    require_square(a, operation);
    const std::size_t n = a.rows;
    const int exponent = detail::scale_to_safe_range(a, operation);
    auto schur =
        detail::reduce_to_schur(std::move(a), detail::balancing::permute,
                                detail::schur_extent::whole, operation, detail::qr_step_limit(n));
    multiply_by_power(schur.t.data, -exponent);
    schur_factors<T> factors{std::move(schur.t), {0, 0, {}}, {}};
    factors.values = detail::diagonal_eigenvalues(factors.t);
    if (vectors == schur_vectors::compute) {
        detail::undo_balance(schur.balanced, detail::eigenvector_side::right, schur.q);
        factors.q = std::move(schur.q);
    }
    return factors;
}

// (a - λ₂, c) is an eigenvector of [ a b ; c a ] for λ₁, which the rotation maps to e₁.
schur_factors<complex> complex_schur_form(const schur_factors<double>& real)
{
    const std::size_t n = real.t.rows;
    schur_factors<complex> factors{
        {n, n, {real.t.data.begin(), real.t.data.end()}}, {0, 0, {}}, real.values};
    const bool vectors = real.q.rows == n;
    aligned_vector<complex> adjoint(vectors ? n * n : 0);
    if (vectors) {
        const auto transposed = detail::adjoint(real.q);
        std::copy(transposed.data.begin(), transposed.data.end(), adjoint.begin());
        factors.q = {n, n, aligned_vector<complex>(n * n)};
    }
    const auto views = views_of(factors, adjoint);
    for (std::size_t k = 0; k + 1 < n; ++k) {
        if (real.t.data[(k + 1) * n + k] == 0)
            continue;
        const complex below = views.h(k + 1, k);
        const auto g = detail::rotation_onto(views.h(k, k) - real.values[k + 1], below);
        detail::rotate(views, k, g, k, k + 2, {0, n});
        views.h(k, k) = real.values[k];
        views.h(k + 1, k + 1) = real.values[k + 1];
        views.h(k + 1, k) = 0;
        ++k;
    }
    if (vectors)
        factors.q = detail::adjoint(matrix<complex>(n, n, std::move(adjoint)));
    return factors;
}

template <class T>
std::size_t order_schur_form(schur_factors<T>& factors, const std::vector<bool>& selected)
{
    const std::size_t n = factors.t.rows;
    if (selected.size() != n)
        throw dimension_error("ordered Schur form: there must be a flag for each eigenvalue");
    const bool vectors = factors.q.rows == n;
    aligned_vector<T> adjoint = vectors ? detail::adjoint(factors.q).data : aligned_vector<T>();
    const auto views = views_of(factors, adjoint);
    std::size_t settled = 0;
    bool refused = false;
    for (std::size_t k = 0; k < n && !refused;) {
        const std::size_t order = detail::block_order<T>(views.h, k);
        if (selected[k] || (order == 2 && selected[k + 1])) {
            refused = detail::move_block_up(views, k, settled) != settled;
            settled += order;
        }
        k += order;
    }
    factors.values = detail::diagonal_eigenvalues(factors.t);
    if (vectors)
        factors.q = detail::adjoint(matrix<T>(n, n, std::move(adjoint)));
    if (refused)
        throw convergence_error(
            "ordered Schur form: two eigenvalues are too close to change places");
    return settled;
}

// --- eigenvalues and eigenvectors ----------------------------------------------------------------

namespace {

void scale_values(aligned_vector<complex>& values, int exponent)
{
    if (exponent != 0)
        for (complex& value : values)
            value = detail::scaled_by_power(value, exponent);
}

template <class T>
matrix<complex> right_vectors(const detail::balanced_schur<T>& schur,
                              const aligned_vector<complex>& values)
{
    const std::size_t n = schur.t.rows;
    matrix<T> x(n, n,
                detail::multiplied_vectors(detail::view_of(schur.t), detail::view_of(schur.q)));
    detail::undo_balance(schur.balanced, detail::eigenvector_side::right, x);
    return detail::unit_columns(x, values);
}

// Reverses the columns of X. If u + i·v is a vector of a real matrix's transpose for λ, then u -
// i·v is one for conj(λ).
template <class T>
void reverse_columns(matrix<T>& x)
{
    for (std::size_t i = 0; i < x.rows; ++i)
        std::reverse(x.data.data() + i * x.cols, x.data.data() + (i + 1) * x.cols);
}

void exchange_parts(matrix<double>& x, const aligned_vector<complex>& values)
{
    const std::size_t n = x.rows;
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t k = 0; k < n; ++k)
            if (values[k].imag() > 0) {
                double* const parts = x.data.data() + i * n + k; // v, u
                std::swap(parts[0], parts[1]);
                parts[1] = -parts[1];
                ++k;
            }
}

void exchange_parts(matrix<complex>&, const aligned_vector<complex>&) {}

template <class T>
matrix<complex> left_vectors(const detail::balanced_schur<T>& schur,
                             const aligned_vector<complex>& values)
{
    const std::size_t n = schur.t.rows;
    const aligned_vector<T> reversed = detail::reversed_adjoint(detail::view_of(schur.t));
    matrix<T> basis = schur.q;
    reverse_columns(basis);
    matrix<T> x(n, n,
                detail::multiplied_vectors<T>({reversed.data(), n, n}, detail::view_of(basis)));
    reverse_columns(x);
    exchange_parts(x, values);
    detail::undo_balance(schur.balanced, detail::eigenvector_side::left, x);
    return detail::unit_columns(x, values);
}

bool all_real(const aligned_vector<complex>& values, const double*)
{
    return std::all_of(values.begin(), values.end(),
                       [](const complex& z) { return z.imag() == 0; });
}

bool all_real(const aligned_vector<complex>&, const complex*)
{
    return false;
}

} // namespace

template <class T>
aligned_vector<complex> general_eigenvalues(matrix<T> a)
{
    constexpr const char* operation = "eigenvalues";
    require_square(a, operation);
    const std::size_t n = a.rows;
    const int exponent = detail::scale_to_safe_range(a, operation);
    const auto schur = detail::reduce_to_schur(std::move(a), detail::balancing::permute_and_scale,
                                               detail::schur_extent::active_block, operation,
                                               detail::qr_step_limit(n));
    aligned_vector<complex> values = detail::diagonal_eigenvalues(schur.t);
    scale_values(values, -exponent);
    return values;
}

template <class T>
general_eigenpairs general_eigen(matrix<T> a, eigenvector_sides sides)
{
    constexpr const char* operation = "eigendecomposition";
    require_square(a, operation);
    const std::size_t n = a.rows;
    const int exponent = detail::scale_to_safe_range(a, operation);
    const auto schur =
        detail::reduce_to_schur(std::move(a), detail::balancing::permute_and_scale,
                                detail::schur_extent::whole, operation, detail::qr_step_limit(n));
    general_eigenpairs pairs{.values = detail::diagonal_eigenvalues(schur.t),
                             .real = false,
                             .right = {0, 0, {}},
                             .left = {0, 0, {}}};
    pairs.real = all_real(pairs.values, static_cast<const T*>(nullptr));
    if (sides != eigenvector_sides::left)
        pairs.right = right_vectors(schur, pairs.values);
    if (sides != eigenvector_sides::right)
        pairs.left = left_vectors(schur, pairs.values);
    scale_values(pairs.values, -exponent);
    return pairs;
}

template hessenberg_factors<double> hessenberg_form(matrix<double>);
template hessenberg_factors<complex> hessenberg_form(matrix<complex>);
template matrix<double> hessenberg_matrix(matrix<double>);
template matrix<complex> hessenberg_matrix(matrix<complex>);
template schur_factors<double> schur_form(matrix<double>, schur_vectors);
template schur_factors<complex> schur_form(matrix<complex>, schur_vectors);
template std::size_t order_schur_form(schur_factors<double>&, const std::vector<bool>&);
template std::size_t order_schur_form(schur_factors<complex>&, const std::vector<bool>&);
template aligned_vector<complex> general_eigenvalues(matrix<double>);
template aligned_vector<complex> general_eigenvalues(matrix<complex>);
template general_eigenpairs general_eigen(matrix<double>, eigenvector_sides);
template general_eigenpairs general_eigen(matrix<complex>, eigenvector_sides);

} // namespace numerical

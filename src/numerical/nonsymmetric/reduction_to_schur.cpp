#include "numerical/nonsymmetric/reduction_to_schur.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/nonsymmetric/hessenberg.hpp"
#include "numerical/nonsymmetric/multishift_qr.hpp"
#include "numerical/nonsymmetric/standard_block.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/dense_passes.hpp"
#include "numerical/strided/matrix_view.hpp"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

namespace numerical::detail {
namespace {

template <class T>
matrix<T> square(std::size_t n, aligned_vector<T> data)
{
    return {n, n, std::move(data)};
}

// The Schur form of the active block.
template <class T>
struct active_schur
{
    std::size_t missing; // eigenvalues not found within the limit; if any, the rest is empty
    aligned_vector<T> t;
    aligned_vector<T> q;
};

template <class T>
active_schur<T> solve_active(aligned_vector<T> a, std::size_t n, schur_extent extent,
                             std::size_t step_limit)
{
    const auto reduction = reduce_to_hessenberg(a, n);
    const bool vectors = extent == schur_extent::whole;
    // Rows of small blocks need padding; large ones are processed in padded windows.
    const bool pad = n < multishift_crossover;
    padded_square<T> padded_h(pad ? n : 0);
    padded_square<T> padded_z(vectors ? n : 0);
    const block_view<T> dense{a.data(), n, n};
    schur_views<T> views{pad ? padded_h.copy(dense) : dense, {nullptr, 0, 0}};
    if (vectors) {
        views.z = padded_z.view();
        const aligned_vector<T> basis = hessenberg_basis(reduction);
        adjoint_into<T>(views.z, {basis.data(), n, n});
    }
    const std::size_t missing = qr_iteration(views, extent, step_limit);
    if (missing != 0)
        return {missing, {}, {}};
    if (pad)
        for (std::size_t i = 0; i < n; ++i)
            std::copy_n(views.h.row(i), n, dense.row(i));
    active_schur<T> result{0, std::move(a), {}};
    if (vectors)
        result.q = adjoint_copy<T>(views.z);
    return result;
}

// C := C·Q.
template <class T>
void multiply_right(block_view<T> c, const aligned_vector<T>& q)
{
    aligned_vector<T> copy = uninitialized<T>(c.rows * c.cols);
    for (std::size_t i = 0; i < c.rows; ++i)
        std::copy_n(c.row(i), c.cols, copy.data() + i * c.cols);
    gemm_new<T>(c.rows, c.cols, c.cols, copy.data(), c.cols, q.data(), c.cols, c.first, c.stride);
}

// C := Qᴴ·C.
template <class T>
void multiply_left_adjoint(block_view<T> c, const aligned_vector<T>& q)
{
    const aligned_vector<T> adjoint = adjoint_copy<T>({q.data(), c.rows, c.rows});
    aligned_vector<T> copy = uninitialized<T>(c.rows * c.cols);
    for (std::size_t i = 0; i < c.rows; ++i)
        std::copy_n(c.row(i), c.cols, copy.data() + i * c.cols);
    gemm_new<T>(c.rows, c.cols, c.rows, adjoint.data(), c.rows, copy.data(), c.cols, c.first,
                c.stride);
}

template <class T>
aligned_vector<T> block_copy(block_view<const T> block)
{
    aligned_vector<T> copy = uninitialized<T>(block.rows * block.cols);
    for (std::size_t i = 0; i < block.rows; ++i)
        std::copy_n(block.row(i), block.cols, copy.data() + i * block.cols);
    return copy;
}

// T and Q of the whole from those of the active block [from, to).
template <class T>
void embed(balanced_schur<T>& result, active_schur<T> active, schur_extent extent)
{
    const std::size_t n = result.t.rows;
    const std::size_t from = result.balanced.from;
    const std::size_t to = result.balanced.to;
    const std::size_t m = to - from;
    const block_view<T> t = view_of(result.t);
    for (std::size_t i = 0; i < m; ++i)
        std::copy_n(active.t.data() + i * m, m, t.row(from + i) + from);
    if (extent == schur_extent::active_block)
        return;
    if (from > 0)
        multiply_right(t.sub(0, from, from, to), active.q);
    if (to < n)
        multiply_left_adjoint(t.sub(from, to, to, n), active.q);
    aligned_vector<T> q = zeros<T>(n * n);
    for (std::size_t i = 0; i < n; ++i)
        q[i * n + i] = 1;
    for (std::size_t i = 0; i < m; ++i)
        std::copy_n(active.q.data() + i * m, m, q.data() + (from + i) * n + from);
    result.q = square(n, std::move(q));
}

} // namespace

template <class T>
int scale_to_safe_range(matrix<T>& a, const char* operation)
{
    // The largest of the parts, as a modulus may overflow where they don't.
    const double largest = largest_finite_part(a.data.data(), a.data.size(), operation);
    if (largest == 0 || (largest >= 1 / safe_magnitude && largest <= safe_magnitude))
        return 0;
    const int exponent = -std::ilogb(largest);
    for (T& element : a.data)
        element = scaled_by_power(element, exponent);
    return exponent;
}

template <class T>
aligned_vector<complex> diagonal_eigenvalues(const matrix<T>& t)
{
    const std::size_t n = t.rows;
    aligned_vector<complex> values(n);
    for (std::size_t k = 0; k < n; ++k) {
        const T* const row = t.data.data() + k * n + k;
        values[k] = row[0];
        if constexpr (std::is_same_v<T, double>)
            if (k + 1 < n && row[n] != 0) {
                const auto [first, second] =
                    eigenvalues_of_standard({row[0], row[1], row[n], row[n + 1]});
                values[k] = first;
                values[++k] = second;
            }
    }
    return values;
}

void throw_not_converged(const char* operation, std::size_t found, std::size_t n)
{
    throw convergence_error(
        std::string(operation) + ": the QR iteration did not converge within its steps; " +
        std::to_string(found) + " of " + std::to_string(n) + " eigenvalues were found");
}

template <class T>
balanced_schur<T> reduce_to_schur(matrix<T> a, balancing how, schur_extent extent,
                                  const char* operation, std::size_t step_limit)
{
    balanced_schur<T> result{balance_matrix(a, how), {0, 0, {}}, {0, 0, {}}};
    const std::size_t n = a.rows;
    const std::size_t from = result.balanced.from;
    const std::size_t m = result.balanced.to - from;
    aligned_vector<T> block =
        m == n ? std::move(a.data) : block_copy<T>(view_of(a).sub(from, from + m, from, from + m));
    active_schur<T> active = solve_active(std::move(block), m, extent, step_limit);
    if (active.missing != 0)
        throw_not_converged(operation, n - active.missing, n);
    if (m == n) {
        result.t = square(n, std::move(active.t));
        if (extent == schur_extent::whole)
            result.q = square(n, std::move(active.q));
        return result;
    }
    result.t = std::move(a);
    embed(result, std::move(active), extent);
    return result;
}

template int scale_to_safe_range(matrix<double>&, const char*);
template int scale_to_safe_range(matrix<complex>&, const char*);
template aligned_vector<complex> diagonal_eigenvalues(const matrix<double>&);
template aligned_vector<complex> diagonal_eigenvalues(const matrix<complex>&);
template balanced_schur<double> reduce_to_schur(matrix<double>, balancing, schur_extent,
                                                const char*, std::size_t);
template balanced_schur<complex> reduce_to_schur(matrix<complex>, balancing, schur_extent,
                                                 const char*, std::size_t);

} // namespace numerical::detail

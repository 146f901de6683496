#include "numerical/systems/triangle.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/transpose.hpp"
#include "numerical/systems/moduli.hpp"
#include "numerical/systems/norm_estimate.hpp"
#include "numerical/systems/row_dot.hpp"

#include <algorithm>

namespace numerical {
namespace detail {
namespace {

// Row i of the triangle between the columns [from, to).
struct row_extent
{
    std::size_t from;
    std::size_t to;
};

template <class T>
row_extent row_of(const triangle<T>& t, std::size_t i)
{
    return t.is_lower() ? row_extent{0, i + 1} : row_extent{i, t.of.rows};
}

// x := M·x; an element is replaced once no other row needs it.
template <class T>
void multiply_vector_by_triangle(int path, const triangle<T>& m, T* x)
{
    const std::size_t n = m.of.rows;
    for (std::size_t step = 0; step < n; ++step) {
        const std::size_t i = m.is_lower() ? n - 1 - step : step;
        const auto [from, to] = row_of(m, i);
        x[i] = row_dot(path, m.of.row(i) + from, x + from, to - from);
    }
}

// x := Mᵀ·x
template <class T>
void multiply_vector_by_transposed(int path, const triangle<T>& m, T* x)
{
    const std::size_t n = m.of.rows;
    for (std::size_t step = 0; step < n; ++step) {
        const std::size_t i = m.is_lower() ? step : n - 1 - step;
        const auto [from, to] = row_of(m, i);
        const T factor = x[i];
        x[i] = T(0);
        subtract_scaled_on(path, x + from, m.of.row(i) + from, -factor, to - from);
    }
}

template <class T>
double one_norm_of_triangle(const triangle<T>& t)
{
    aligned_vector<double> sums(t.of.rows);
    aligned_vector<double> moduli(t.of.rows);
    for (std::size_t i = 0; i < t.of.rows; ++i) {
        const auto [from, to] = row_of(t, i);
        add_moduli(sums.data() + from, t.of.row(i) + from, to - from, moduli.data());
    }
    return sums.empty() ? 0 : *std::max_element(sums.begin(), sums.end());
}

} // namespace
} // namespace detail

template <class T>
bool is_singular(const triangle<T>& t)
{
    if (t.has_ones())
        return false;
    for (std::size_t i = 0; i < t.of.rows; ++i)
        if (t.of(i, i) == T(0))
            return true;
    return false;
}

template <class T>
void multiply_triangle(const triangle<T>& t, matrix_form form, detail::block_view<T> x)
{
    const int path = detail::gemm_path_current();
    const auto multiply = form == matrix_form::plain ? detail::multiply_vector_by_triangle<T>
                                                     : detail::multiply_vector_by_transposed<T>;
    aligned_vector<T> store = detail::uninitialized<T>(x.rows * x.cols);
    const detail::block_view<T> vectors{store.data(), x.cols, x.rows};
    detail::transpose_into(vectors, x);
    if (form == matrix_form::adjoint)
        detail::conjugate_all(vectors.first, x.rows * x.cols);
    for (std::size_t j = 0; j < x.cols; ++j)
        multiply(path, t, vectors.row(j));
    if (form == matrix_form::adjoint)
        detail::conjugate_all(vectors.first, x.rows * x.cols);
    detail::transpose_into(x, vectors);
}

template <class T>
double reciprocal_condition(const triangle<T>& t)
{
    const std::size_t n = t.of.rows;
    if (is_singular(t))
        return 0;
    const auto solve_as = [&t](matrix_form form) {
        return [&t, form](detail::block_view<T> x) { solve_triangle(t, form, x); };
    };
    return reciprocal_condition(
        n, detail::one_norm_of_triangle(t),
        estimate_one_norm<T>(n, solve_as(matrix_form::plain), solve_as(matrix_form::adjoint)));
}

template bool is_singular(const triangle<double>&);
template bool is_singular(const triangle<detail::complex>&);
template void multiply_triangle(const triangle<double>&, matrix_form, detail::block_view<double>);
template void multiply_triangle(const triangle<detail::complex>&, matrix_form,
                                detail::block_view<detail::complex>);
template double reciprocal_condition(const triangle<double>&);
template double reciprocal_condition(const triangle<detail::complex>&);

} // namespace numerical

#include "package/triangle_factors.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "numerical/factor/cholesky.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/transpose.hpp"
#include "numerical/systems/kept_cholesky.hpp"
#include "package/kept_stacks.hpp"

#include <algorithm>
#include <string>
#include <type_traits>

namespace numerical::package {
namespace {

triangle_half half_parameter(PyObject* lower)
{
    return flag_parameter(lower) ? triangle_half::lower : triangle_half::upper;
}

// --- triangles whose entries are the user's
// -------------------------------------------------------
template <class T>
bool is_finite_triangle(const triangle<T>& t)
{
    for (std::size_t i = 0; i < t.of.rows; ++i) {
        const std::size_t ones = t.has_ones() ? 1 : 0;
        const std::size_t from = t.is_lower() ? 0 : i + ones;
        const std::size_t to = t.is_lower() ? i + 1 - ones : t.of.rows;
        if (!is_all_finite(t.of.sub(i, i + 1, from, to)))
            return false;
    }
    return true;
}

template <class T>
bool has_finite_diagonal(const triangle<T>& t)
{
    for (std::size_t i = 0; i < t.of.rows; ++i)
        if (!t.has_ones() && !detail::is_finite(t.of(i, i)))
            return false;
    return true;
}

// An element that isn't finite makes a solution that isn't, so the triangle is searched only if the
// result isn't finite, and otherwise read once.
template <class T>
void solve_checked(const triangle<T>& t, matrix_form form, detail::block_view<T> x)
{
    solve_triangle(t, form, x);
    const bool suspicious = may_have_met_zero<T>(x);
    if ((suspicious || !has_finite_diagonal(t)) && !is_finite_triangle(t))
        throw non_finite_error("solve_triangular: the matrix holds an infinite or NaN entry");
    if (suspicious && is_singular(t))
        throw singular_matrix_error("solve_triangular: matrix is singular");
}

// --- rank-one changes of a Cholesky factor -------------------------------------------------------
template <auto change_real, auto change_complex>
PyObject* changed_factor(const binding::signature<2>& signature,
                         const binding::call_arguments& call)
{
    const auto [given_factor, given_v] = signature.bind(call);
    operand factor(given_factor);
    operand v(given_v);
    const std::string name = signature.function;
    if (factor.rank() != 2)
        binding::fail(PyExc_ValueError, name + " takes one matrix, not a stack of shape " +
                                            detail::shape_text(factor.shape()));
    const stack_shape of = square_stack_of(factor, signature.function);
    if (v.shape() != shape_list{of.rows})
        binding::fail(PyExc_ValueError, name + " takes a vector of " + std::to_string(of.rows) +
                                            " elements, not shape " +
                                            detail::shape_text(v.shape()));
    const auto change = [&]<class T>(const tensor<T>& l, const tensor<T>& x) {
        if (!is_all_finite<T>({x.data.data(), 1, of.rows}))
            throw non_finite_error(name + ": the vector holds an infinite or NaN entry");
        aligned_vector<T> changed = detail::copy_of(l.data.data(), l.data.size());
        computed(l.data.size(), [&] {
            if constexpr (std::is_same_v<T, double>)
                change_real(changed, x.data);
            else
                change_complex(changed, x.data);
        });
        return wrap(tensor<T>(l.shape, std::move(changed)));
    };
    return telling({given_factor, given_v}, {}, [&] { return by_type(factor, v, change); });
}

constexpr binding::signature<1> upper_signature{"cholesky", {"a"}};
constexpr binding::signature<3> definite_solve_signature{"solve", {"c", "lower", "b"}};
constexpr binding::signature<2> definite_rcond_signature{"rcond", {"c", "lower"}};
constexpr binding::signature<2> update_signature{"update", {"factor", "v"}};
constexpr binding::signature<2> downdate_signature{"downdate", {"factor", "v"}};
constexpr binding::signature<5> triangular_signature{"solve_triangular",
                                                     {"a", "b", "trans", "lower", "unit_diagonal"}};
constexpr binding::signature<2> triangular_rcond_signature{"rcond", {"a", "lower"}};

} // namespace

PyObject* upper_cholesky(const binding::call_arguments& call)
{
    const auto [given] = upper_signature.bind(call);
    const operand a(given);
    const std::size_t n = square_stack_of(a, upper_signature.function).rows;
    if (a.rank() != 2)
        binding::fail(PyExc_ValueError, "upper_cholesky takes one matrix");
    return telling({given}, {}, [&] {
        return by_type(a, [&]<class T>(const tensor<T>& x) {
            aligned_vector<T> u;
            computed(x.data.size(), [&] { u = upper_cholesky_factor(x.data.data(), n, n); });
            return wrap(tensor<T>({n, n}, std::move(u)));
        });
    });
}

PyObject* definite_solve(const binding::call_arguments& call)
{
    const auto [given_c, given_lower, given_b] = definite_solve_signature.bind(call);
    operand c(given_c);
    operand b(given_b);
    const stack_shape of = square_stack_of(c, "solve");
    const triangle_half half = half_parameter(given_lower);
    const right_sides sides = right_sides_of(of.lead, b.shape(), "solve");
    const auto solve = [&]<class T>(const tensor<T>& factor, const tensor<T>& right) {
        require_right_sides(of, sides, "solve");
        return solved_in_place(of, right, sides, [&](std::size_t k, detail::block_view<T> x) {
            const triangle<T> kept{view_of(factor, of, k), half};
            solve_definite(kept, x);
            if (may_have_met_zero<T>(x) && is_singular(kept))
                throw singular_matrix_error("solve: matrix is singular");
        });
    };
    return telling({given_c, given_b}, sides.lead, [&] { return by_type(c, b, solve); });
}

PyObject* definite_rcond(const binding::call_arguments& call)
{
    const auto [given_c, given_lower] = definite_rcond_signature.bind(call);
    const operand c(given_c);
    const stack_shape of = square_stack_of(c, "rcond");
    const triangle_half half = half_parameter(given_lower);
    return by_type(c, [&]<class T>(const tensor<T>& factor) {
        return number_of_each(of, [&](std::size_t i) {
            return reciprocal_condition_of_definite(triangle<T>{view_of(factor, of, i), half});
        });
    });
}

PyObject* cholesky_update(const binding::call_arguments& call)
{
    return changed_factor<update_cholesky<double>, update_cholesky<complex>>(update_signature,
                                                                             call);
}

PyObject* cholesky_downdate(const binding::call_arguments& call)
{
    return changed_factor<downdate_cholesky<double>, downdate_cholesky<complex>>(downdate_signature,
                                                                                 call);
}

PyObject* triangular_solve(const binding::call_arguments& call)
{
    const auto [given_a, given_b, given_form, given_lower, given_ones] =
        triangular_signature.bind(call);
    operand a(given_a);
    operand b(given_b);
    const stack_shape of = square_stack_of(a, triangular_signature.function);
    const matrix_form form = form_parameter(given_form);
    const triangle_half half = half_parameter(given_lower);
    const auto diagonal =
        flag_parameter(given_ones) ? triangle_diagonal::ones : triangle_diagonal::stored;
    const right_sides sides = right_sides_of(of.lead, b.shape(), triangular_signature.function);
    const auto solve = [&]<class T>(const tensor<T>& matrices, const tensor<T>& right) {
        require_right_sides(of, sides, triangular_signature.function);
        return solved_in_place(of, right, sides, [&](std::size_t k, detail::block_view<T> x) {
            solve_checked<T>({view_of(matrices, of, k), half, diagonal}, form, x);
        });
    };
    return telling({given_a, given_b}, sides.lead, [&] { return by_type(a, b, solve); });
}

PyObject* triangular_rcond(const binding::call_arguments& call)
{
    const auto [given_a, given_lower] = triangular_rcond_signature.bind(call);
    const operand a(given_a);
    const stack_shape of = square_stack_of(a, "rcond");
    const triangle_half half = half_parameter(given_lower);
    return by_type(a, [&]<class T>(const tensor<T>& matrices) {
        return number_of_each(of, [&](std::size_t i) {
            return reciprocal_condition(triangle<T>{view_of(matrices, of, i), half});
        });
    });
}

} // namespace numerical::package

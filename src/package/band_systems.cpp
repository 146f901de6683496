#include "package/band_systems.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "numerical/factor/lu.hpp"
#include "numerical/systems/band.hpp"
#include "numerical/systems/kept_lu.hpp"
#include "numerical/systems/norm_estimate.hpp"
#include "package/kept_stacks.hpp"

#include <algorithm>
#include <optional>
#include <utility>

namespace numerical::package {
namespace {

const char* const singular_text = "solve: matrix is singular";

std::optional<bandwidths> widths_parameter(PyObject* object)
{
    if (is_absent(object))
        return std::nullopt;
    const aligned_vector<std::ptrdiff_t> given = integers_parameter(object, "widths");
    if (given.size() != 2 || given[0] < 0 || given[1] < 0)
        binding::fail(PyExc_ValueError, "widths are two counts");
    return bandwidths{std::size_t(given[0]), std::size_t(given[1])};
}

// Solves in place of x; writes the reciprocal condition if `rcond` isn't null.
template <class T>
void solve_whole(detail::block_view<const T> a, detail::block_view<T> x, double* rcond)
{
    const lu_decomposition<T> lu(a);
    if (lu.singular)
        throw singular_matrix_error(singular_text);
    const aligned_vector<std::ptrdiff_t> exchanges = exchanges_of(lu.permutation);
    const kept_lu<T> kept{lu.factors.view(), exchanges.data()};
    solve_kept(kept, matrix_form::plain, x);
    if (rcond != nullptr)
        *rcond = reciprocal_condition(kept, one_norm(a));
}

template <class T>
void solve_band(detail::block_view<const T> a, const std::optional<bandwidths>& given,
                detail::block_view<T> x, double* rcond)
{
    bandwidths band = given ? *given : bandwidths_of(a);
    if (!given && is_wide(band, a.rows))
        return solve_whole(a, x, rcond);
    const std::size_t most = a.rows == 0 ? 0 : a.rows - 1;
    band = {std::min(band.lower, most), std::min(band.upper, most)};
    const band_decomposition<T> factors(a, band);
    if (factors.is_singular())
        throw singular_matrix_error(singular_text);
    factors.solve(matrix_form::plain, x);
    if (rcond != nullptr)
        *rcond = factors.reciprocal_condition(one_norm_of_band(a, band));
}

template <class T>
PyObject* solved(const tensor<T>& a, const stack_shape& of, const tensor<T>& b,
                 const right_sides& sides, const std::optional<bandwidths>& widths, bool conditions)
{
    require_right_sides(of, sides, "solve");
    tensor<T> x = unset_solutions<T>(sides, sides.rows);
    tensor<double> rconds = unset_stack<double>(sides.lead, {});
    const std::size_t elements = sides.rows * sides.cols;
    const stack_places from_b(sides.own, sides.lead, elements);
    const auto right = from_b(b.data.data(), sides.rows, sides.cols);
    const matrix_numbers numbers(of.lead, sides.lead);
    const auto solve_one = [&](std::size_t i) {
        T* const to = x.data.data() + i * elements;
        std::copy_n(right.at(i), elements, to);
        solve_band(view_of(a, of, numbers(i)), widths,
                   detail::block_view<T>{to, sides.rows, sides.cols},
                   conditions ? rconds.data.data() + i : nullptr);
    };
    computed(a.data.size() + x.data.size(), [&] {
        detail::first_failure failures;
        detail::run_one_by_one(sides.count(), of.rows * (of.rows + 8 * sides.cols) + 512, failures,
                               solve_one);
        failures.rethrow();
    });
    PyObject* rcond = Py_None;
    if (conditions)
        rcond = number_or_tensor(std::move(rconds));
    else
        Py_INCREF(rcond);
    return pair_of(wrap(std::move(x)), rcond);
}

constexpr binding::signature<4> band_signature{"solve", {"a", "b", "widths", "conditions"}};

} // namespace

PyObject* band_solve(const binding::call_arguments& call)
{
    const auto [given_a, given_b, given_widths, given_conditions] = band_signature.bind(call);
    operand a(given_a);
    operand b(given_b);
    const stack_shape of = square_stack_of(a, band_signature.function);
    const std::optional<bandwidths> widths = widths_parameter(given_widths);
    const bool conditions = flag_parameter(given_conditions);
    const right_sides sides = right_sides_of(of.lead, b.shape(), band_signature.function);
    return telling({given_a, given_b}, sides.lead, [&] {
        return by_type(a, b, [&](const auto& x, const auto& y) {
            return solved(x, of, y, sides, widths, conditions);
        });
    });
}

} // namespace numerical::package

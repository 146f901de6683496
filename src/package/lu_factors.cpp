#include "package/lu_factors.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/checks.hpp"
#include "numerical/errors.hpp"
#include "numerical/factor/determinant.hpp"
#include "numerical/factor/lu.hpp"
#include "numerical/strided/dense_passes.hpp"
#include "numerical/systems/kept_lu.hpp"
#include "numerical/systems/norm_estimate.hpp"
#include "package/kept_stacks.hpp"
#include "package/positions.hpp"

#include <algorithm>
#include <limits>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

namespace numerical::package {
namespace {

template <class T>
PyObject* packed_factors(const tensor<T>& a, const stack_shape& of)
{
    const std::size_t m = of.rows;
    const std::size_t n = of.cols;
    tensor<T> packed = unset_stack<T>(of.lead, {m, n});
    tensor<double> norms = unset_stack<double>(of.lead, {});
    positions exchanges(joined(of.lead, {m}), aligned_vector<std::ptrdiff_t>(of.count * m));
    const auto factor_one = [&](std::size_t i) {
        norms.data[i] = one_norm(view_of(a, of, i));
        const T* const given = a.data.data() + i * m * n;
        detail::require_finite(given, m * n, "LU decomposition");
        T* const factors = packed.data.data() + i * m * n;
        detail::copy_on_threads(given, m * n, factors);
        const lu_pivots pivots = factorize_lu<T>({factors, m, n});
        std::transform(pivots.exchanges.begin(), pivots.exchanges.end(),
                       exchanges.data.data() + i * m,
                       [](std::size_t row) { return std::ptrdiff_t(row); });
    };
    for_each_matrix(of, m * n * std::min(m, n) * sizeof(T) / sizeof(double) / 4 + 512, factor_one);
    return triple_of(wrap(std::move(packed)), wrap(std::move(exchanges)),
                     number_or_tensor(std::move(norms)));
}

// The exchanges that belong to factors of that shape, each within its matrix.
const positions& exchanges_parameter(PyObject* object, const stack_shape& of, const char* function)
{
    const positions* exchanges = positions_in(object);
    if (exchanges == nullptr)
        binding::fail(PyExc_TypeError, std::string(function) + ": piv must be Positions");
    if (exchanges->shape != joined(of.lead, {of.rows}))
        binding::fail(PyExc_ValueError,
                      std::string(function) + ": piv of shape " +
                          detail::shape_text(exchanges->shape) +
                          " doesn't belong to factors of shape " +
                          detail::shape_text(joined(of.lead, {of.rows, of.cols})));
    for (const std::ptrdiff_t row : exchanges->data)
        if (row < 0 || std::size_t(row) >= of.rows)
            binding::fail(PyExc_ValueError, std::string(function) + ": piv holds " +
                                                std::to_string(row) + ", which is no row of a" +
                                                " matrix of " + std::to_string(of.rows));
    return *exchanges;
}

template <class T>
kept_lu<T> kept_factors(const tensor<T>& packed, const stack_shape& of, const positions& exchanges,
                        std::size_t i)
{
    return {view_of(packed, of, i), exchanges.data.data() + i * of.rows};
}

std::int32_t sign_of_exchanges(const std::ptrdiff_t* exchanges, std::size_t n)
{
    std::int32_t sign = 1;
    for (std::size_t i = 0; i < n; ++i)
        if (exchanges[i] != std::ptrdiff_t(i))
            sign = -sign;
    return sign;
}

template <class T>
PyObject* determinants(const tensor<T>& packed, const stack_shape& of, const positions& exchanges)
{
    const std::size_t n = of.rows;
    tensor<T> found = unset_stack<T>(of.lead, {});
    for (std::size_t i = 0; i < of.count; ++i)
        found.data[i] =
            detail::determinant_of_diagonal(sign_of_exchanges(exchanges.data.data() + i * n, n),
                                            packed.data.data() + i * n * n, n, n + 1);
    return number_or_tensor(std::move(found));
}

template <class T>
PyObject* signs_and_logs(const tensor<T>& packed, const stack_shape& of, const positions& exchanges)
{
    const std::size_t n = of.rows;
    tensor<T> signs = unset_stack<T>(of.lead, {});
    tensor<double> logs = unset_stack<double>(of.lead, {});
    for (std::size_t i = 0; i < of.count; ++i) {
        sign_and_log<T> found{T(0), -std::numeric_limits<double>::infinity()};
        if (!is_singular(kept_factors(packed, of, exchanges, i).upper()))
            found = detail::slogdet_of_diagonal(sign_of_exchanges(exchanges.data.data() + i * n, n),
                                                packed.data.data() + i * n * n, n, n + 1);
        signs.data[i] = found.sign;
        logs.data[i] = found.log;
    }
    return pair_of(number_or_tensor(std::move(signs)), number_or_tensor(std::move(logs)));
}

constexpr binding::signature<1> lu_factors_signature{"lu_factor", {"a"}};
constexpr binding::signature<1> lu_signature{"lu", {"a"}};
constexpr binding::signature<4> lu_solve_signature{"solve", {"lu", "piv", "b", "trans"}};
constexpr binding::signature<3> lu_rcond_signature{"rcond", {"lu", "piv", "norms"}};
constexpr binding::signature<2> lu_det_signature{"det", {"lu", "piv"}};
constexpr binding::signature<2> lu_slogdet_signature{"slogdet", {"lu", "piv"}};
constexpr binding::signature<1> lu_places_signature{"lu_places", {"piv"}};
} // namespace

PyObject* lu_factors(const binding::call_arguments& call)
{
    const auto [given] = lu_factors_signature.bind(call);
    const operand a(given);
    const stack_shape of = square_stack_of(a, lu_factors_signature.function);
    return telling({given}, of.lead, [&] {
        return by_type(a, [&](const auto& x) { return packed_factors(x, of); });
    });
}

PyObject* lu_of_any(const binding::call_arguments& call)
{
    const auto [given] = lu_signature.bind(call);
    const operand a(given);
    const stack_shape of = stack_of(a, lu_signature.function);
    return telling({given}, of.lead, [&] {
        return by_type(a, [&](const auto& x) { return packed_factors(x, of); });
    });
}

PyObject* lu_solve(const binding::call_arguments& call)
{
    const auto [given_lu, given_piv, given_b, given_form] = lu_solve_signature.bind(call);
    operand lu(given_lu);
    operand b(given_b);
    const stack_shape of = square_stack_of(lu, "solve");
    const positions& exchanges = exchanges_parameter(given_piv, of, "solve");
    const matrix_form form = form_parameter(given_form);
    const right_sides sides = right_sides_of(of.lead, b.shape(), "solve");
    const auto solve = [&]<class T>(const tensor<T>& packed, const tensor<T>& right) {
        require_right_sides(of, sides, "solve");
        return solved_in_place(of, right, sides, [&](std::size_t k, detail::block_view<T> x) {
            const kept_lu<T> kept = kept_factors(packed, of, exchanges, k);
            solve_kept(kept, form, x);
            if (may_have_met_zero<T>(x) && is_singular(kept.upper()))
                throw singular_matrix_error("solve: matrix is singular");
        });
    };
    return telling({given_lu, given_b}, sides.lead, [&] { return by_type(lu, b, solve); });
}

PyObject* lu_rcond(const binding::call_arguments& call)
{
    const auto [given_lu, given_piv, given_norms] = lu_rcond_signature.bind(call);
    const operand lu(given_lu);
    const operand norms(given_norms);
    const stack_shape of = square_stack_of(lu, "rcond");
    const positions& exchanges = exchanges_parameter(given_piv, of, "rcond");
    if (norms.is_complex() || norms.shape() != of.lead)
        binding::fail(PyExc_ValueError, "rcond: norms of another shape than the factors");
    const tensor<double>& norm = norms.as<double>();
    return by_type(lu, [&](const auto& packed) {
        return number_of_each(of, [&](std::size_t i) {
            return reciprocal_condition(kept_factors(packed, of, exchanges, i), norm.data[i]);
        });
    });
}

PyObject* lu_det(const binding::call_arguments& call)
{
    const auto [given_lu, given_piv] = lu_det_signature.bind(call);
    const operand lu(given_lu);
    const stack_shape of = square_stack_of(lu, "det");
    const positions& exchanges = exchanges_parameter(given_piv, of, "det");
    return by_type(lu, [&](const auto& packed) { return determinants(packed, of, exchanges); });
}

PyObject* lu_slogdet(const binding::call_arguments& call)
{
    const auto [given_lu, given_piv] = lu_slogdet_signature.bind(call);
    const operand lu(given_lu);
    const stack_shape of = square_stack_of(lu, "slogdet");
    const positions& exchanges = exchanges_parameter(given_piv, of, "slogdet");
    return by_type(lu, [&](const auto& packed) { return signs_and_logs(packed, of, exchanges); });
}

PyObject* lu_places(const binding::call_arguments& call)
{
    const auto [given] = lu_places_signature.bind(call);
    const positions* exchanges = positions_in(given);
    if (exchanges == nullptr || exchanges->shape.empty())
        binding::fail(PyExc_TypeError, "lu_places: piv must be Positions of rank 1 and more");
    const std::size_t n = exchanges->shape.back();
    positions places(exchanges->shape, aligned_vector<std::ptrdiff_t>(exchanges->data.size()));
    std::vector<std::size_t> row_at(n);
    for (std::size_t first = 0; first < places.data.size(); first += n) {
        std::iota(row_at.begin(), row_at.end(), std::size_t{0});
        for (std::size_t i = 0; i < n; ++i)
            std::swap(row_at[i], row_at.at(std::size_t(exchanges->data[first + i])));
        for (std::size_t i = 0; i < n; ++i)
            places.data[first + row_at[i]] = std::ptrdiff_t(i);
    }
    return wrap(std::move(places));
}

} // namespace numerical::package

#include "package/indefinite_factors.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "numerical/factor/determinant.hpp"
#include "numerical/systems/kept_indefinite.hpp"
#include "package/kept_stacks.hpp"
#include "package/positions.hpp"

#include <algorithm>
#include <limits>
#include <string>
#include <utility>

namespace numerical::package {
namespace {

symmetry symmetry_parameter(PyObject* hermitian)
{
    return flag_parameter(hermitian) ? symmetry::hermitian : symmetry::symmetric;
}

template <class T>
PyObject* factors_of(const tensor<T>& a, const stack_shape& of, symmetry kind)
{
    const std::size_t n = of.rows;
    aligned_vector<T> lower;
    tensor<T> diagonal = unset_stack<T>(of.lead, {n});
    tensor<T> below = unset_stack<T>(of.lead, {n});
    tensor<double> norms = unset_stack<double>(of.lead, {});
    positions permutation(joined(of.lead, {n}), aligned_vector<std::ptrdiff_t>(of.count * n));
    if (!of.is_single())
        lower = detail::uninitialized<T>(of.count * n * n);
    const auto factor_one = [&](std::size_t i) {
        indefinite_decomposition<T> f(view_of(a, of, i), kind);
        norms.data[i] = f.one_norm;
        std::copy(f.diagonal.begin(), f.diagonal.end(), diagonal.data.data() + i * n);
        std::copy(f.below.begin(), f.below.end(), below.data.data() + i * n);
        std::copy(f.permutation.begin(), f.permutation.end(), permutation.data.data() + i * n);
        if (of.is_single())
            lower = std::move(f.lower);
        else
            std::copy(f.lower.begin(), f.lower.end(), lower.data() + i * n * n);
    };
    for_each_matrix(of, n * n * n * sizeof(T) / sizeof(double) / 4 + 512, factor_one);
    tensor<T> l(joined(of.lead, {n, n}), std::move(lower));
    return pair_of(triple_of(wrap(std::move(l)), wrap(std::move(diagonal)), wrap(std::move(below))),
                   pair_of(wrap(std::move(permutation)), number_or_tensor(std::move(norms))));
}

// The arguments that hold factors, checked to fit each other.
class given_factors
{
public:
    given_factors(PyObject* given_lower, PyObject* given_diagonal, PyObject* given_below,
                  PyObject* given_permutation, PyObject* hermitian)
        : lower(given_lower), diagonal(given_diagonal), below(given_below),
          of(square_stack_of(lower, "ldl")), kind(symmetry_parameter(hermitian)),
          permutation(positions_in(given_permutation))
    {
        const shape_list vectors = joined(of.lead, {of.rows});
        const bool fits = permutation != nullptr && permutation->shape == vectors &&
                          diagonal.shape() == vectors && below.shape() == vectors &&
                          diagonal.is_complex() == lower.is_complex() &&
                          below.is_complex() == lower.is_complex();
        const auto is_row = [&](std::ptrdiff_t row) {
            return row >= 0 && std::size_t(row) < of.rows;
        };
        if (!fits || !std::all_of(permutation->data.begin(), permutation->data.end(), is_row))
            binding::fail(PyExc_ValueError, "the parts of the LDL factors don't fit each other");
    }

    operand lower;
    operand diagonal;
    operand below;
    stack_shape of;
    symmetry kind;
    const positions* permutation;

    // The factors of matrix i.
    template <class T>
    kept_indefinite<T> at(std::size_t i) const
    {
        const std::size_t first = i * of.rows;
        return {view_of(lower.as<T>(), of, i), diagonal.as<T>().data.data() + first,
                below.as<T>().data.data() + first, permutation->data.data() + first, kind};
    }

    // Calls f(L) with L as double or complex.
    template <class F>
    PyObject* by_type(const F& f) const
    {
        return package::by_type(lower, f);
    }
};

// Row permutation[i] of the first is row i of L.
template <class T>
void write_parts(const kept_indefinite<T>& factors, T* outer, T* d)
{
    const std::size_t n = factors.lower.rows;
    detail::set_zero(d, n * n);
    for (std::size_t i = 0; i < n; ++i) {
        std::copy_n(factors.lower.row(i), n, outer + std::size_t(factors.permutation[i]) * n);
        d[i * (n + 1)] = factors.diagonal[i];
        if (const T f = factors.below[i]; f != T(0)) {
            d[(i + 1) * n + i] = f;
            d[i * n + i + 1] = factors.kind == symmetry::hermitian ? detail::conjugate(f) : f;
        }
    }
}

constexpr binding::signature<2> ldl_signature{"ldl", {"a", "hermitian"}};
constexpr binding::signature<5> parts_signature{
    "ldl", {"lower", "diagonal", "below", "permutation", "hermitian"}};
constexpr binding::signature<6> ldl_solve_signature{
    "solve", {"lower", "diagonal", "below", "permutation", "hermitian", "b"}};
constexpr binding::signature<6> rcond_signature{
    "rcond", {"lower", "diagonal", "below", "permutation", "hermitian", "norms"}};

} // namespace

PyObject* ldl_factors(const binding::call_arguments& call)
{
    const auto [given, hermitian] = ldl_signature.bind(call);
    const operand a(given);
    const stack_shape of = square_stack_of(a, ldl_signature.function);
    const symmetry kind = symmetry_parameter(hermitian);
    return telling({given}, of.lead, [&] {
        return by_type(a, [&](const auto& x) { return factors_of(x, of, kind); });
    });
}

PyObject* ldl_parts(const binding::call_arguments& call)
{
    const auto [lower, diagonal, below, permutation, hermitian] = parts_signature.bind(call);
    const given_factors factors(lower, diagonal, below, permutation, hermitian);
    return factors.by_type([&]<class T>(const tensor<T>&) {
        const stack_shape& of = factors.of;
        const std::size_t square = of.rows * of.rows;
        tensor<T> outer = unset_stack<T>(of.lead, {of.rows, of.rows});
        tensor<T> d = unset_stack<T>(of.lead, {of.rows, of.rows});
        for (std::size_t i = 0; i < of.count; ++i)
            write_parts(factors.at<T>(i), outer.data.data() + i * square,
                        d.data.data() + i * square);
        return pair_of(wrap(std::move(outer)), wrap(std::move(d)));
    });
}

PyObject* ldl_solve(const binding::call_arguments& call)
{
    const auto [lower, diagonal, below, permutation, hermitian, given_b] =
        ldl_solve_signature.bind(call);
    given_factors factors(lower, diagonal, below, permutation, hermitian);
    operand b(given_b);
    if (b.is_complex() && !factors.lower.is_complex()) {
        factors.lower.make_complex();
        factors.diagonal.make_complex();
        factors.below.make_complex();
    }
    const stack_shape& of = factors.of;
    const right_sides sides = right_sides_of(of.lead, b.shape(), "solve");
    const auto solve = [&]<class T>(const tensor<T>&, const tensor<T>& right) {
        require_right_sides(of, sides, "solve");
        return solved_in_place(of, right, sides, [&](std::size_t k, detail::block_view<T> x) {
            const kept_indefinite<T> kept = factors.at<T>(k);
            solve_indefinite(kept, x);
            if (may_have_met_zero<T>(x) && is_singular(kept))
                throw singular_matrix_error("solve: matrix is singular");
        });
    };
    return telling({lower, given_b}, sides.lead, [&] { return by_type(factors.lower, b, solve); });
}

PyObject* ldl_rcond(const binding::call_arguments& call)
{
    const auto [lower, diagonal, below, permutation, hermitian, given_norms] =
        rcond_signature.bind(call);
    const given_factors factors(lower, diagonal, below, permutation, hermitian);
    const operand norms(given_norms);
    if (norms.is_complex() || norms.shape() != factors.of.lead)
        binding::fail(PyExc_ValueError, "rcond: norms of another shape than the factors");
    const tensor<double>& norm = norms.as<double>();
    return factors.by_type([&]<class T>(const tensor<T>&) {
        return number_of_each(factors.of, [&](std::size_t i) {
            return reciprocal_condition(factors.at<T>(i), norm.data[i]);
        });
    });
}

PyObject* ldl_det(const binding::call_arguments& call)
{
    const auto [lower, diagonal, below, permutation, hermitian] = parts_signature.bind(call);
    const given_factors factors(lower, diagonal, below, permutation, hermitian);
    return factors.by_type([&]<class T>(const tensor<T>&) {
        tensor<T> found = unset_stack<T>(factors.of.lead, {});
        for (std::size_t i = 0; i < factors.of.count; ++i) {
            const aligned_vector<T> values = determinant_factors(factors.at<T>(i));
            found.data[i] = detail::determinant_of_diagonal(1, values.data(), values.size(), 1);
        }
        return number_or_tensor(std::move(found));
    });
}

PyObject* ldl_slogdet(const binding::call_arguments& call)
{
    const auto [lower, diagonal, below, permutation, hermitian] = parts_signature.bind(call);
    const given_factors factors(lower, diagonal, below, permutation, hermitian);
    return factors.by_type([&]<class T>(const tensor<T>&) {
        tensor<T> signs = unset_stack<T>(factors.of.lead, {});
        tensor<double> logs = unset_stack<double>(factors.of.lead, {});
        for (std::size_t i = 0; i < factors.of.count; ++i) {
            const kept_indefinite<T> kept = factors.at<T>(i);
            sign_and_log<T> found{T(0), -std::numeric_limits<double>::infinity()};
            if (!is_singular(kept)) {
                const aligned_vector<T> values = determinant_factors(kept);
                found = detail::slogdet_of_diagonal(1, values.data(), values.size(), 1);
            }
            signs.data[i] = found.sign;
            logs.data[i] = found.log;
        }
        return pair_of(number_or_tensor(std::move(signs)), number_or_tensor(std::move(logs)));
    });
}

} // namespace numerical::package

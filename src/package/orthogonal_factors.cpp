#include "package/orthogonal_factors.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/errors.hpp"
#include "numerical/matrix.hpp"
#include "numerical/strided/dense_passes.hpp"
#include "numerical/systems/kept_qr.hpp"
#include "package/kept_stacks.hpp"
#include "package/positions.hpp"

#include <algorithm>
#include <utility>

namespace numerical::package {
namespace {

constexpr std::size_t block_elements = reflectors_of_block * reflectors_of_block;

std::size_t blocks_of(std::size_t k)
{
    return detail::ceil_div(k, reflectors_of_block);
}

// The elements of one matrix of a result.
template <class T, class Elements>
void put(tensor<T>& to, std::size_t i, const Elements& elements)
{
    std::copy(elements.begin(), elements.end(),
              to.data.begin() + std::ptrdiff_t(i * elements.size()));
}

template <class T>
PyObject* factors_of(const tensor<T>& a, const stack_shape& of, column_order order)
{
    const std::size_t k = std::min(of.rows, of.cols);
    tensor<T> vectors = unset_stack<T>(of.lead, {of.rows, k});
    tensor<T> factors =
        unset_stack<T>(of.lead, {blocks_of(k), reflectors_of_block, reflectors_of_block});
    tensor<T> phases = unset_stack<T>(of.lead, {k});
    tensor<T> r = unset_stack<T>(of.lead, {k, of.cols});
    positions permutation(joined(of.lead, {of.cols}),
                          aligned_vector<std::ptrdiff_t>(of.count * of.cols));
    const auto factor_one = [&](std::size_t i) {
        matrix<T> one = dense(a, of).copy_of(i);
        detail::require_finite(one, "QR decomposition");
        const auto found = factor_qr(std::move(one.data), of.rows, of.cols, order);
        put(vectors, i, found.vectors);
        put(factors, i, found.factors);
        put(phases, i, found.phases);
        put(r, i, found.r);
        put(permutation, i, found.permutation);
    };
    for_each_matrix(of, 2 * of.rows * of.cols * k + 4096, factor_one);
    return pair_of(
        triple_of(wrap(std::move(vectors)), wrap(std::move(factors)), wrap(std::move(phases))),
        pair_of(wrap(std::move(r)), wrap(std::move(permutation))));
}

// The arguments that hold Q, checked to fit each other.
class given_reflectors
{
public:
    given_reflectors(PyObject* given_vectors, PyObject* given_factors, PyObject* given_phases)
        : vectors(given_vectors), factors(given_factors), phases(given_phases),
          of(stack_of(vectors, "q_multiply"))
    {
        const bool fits =
            of.cols <= of.rows && phases.shape() == joined(of.lead, {of.cols}) &&
            factors.shape() ==
                joined(of.lead, {blocks_of(of.cols), reflectors_of_block, reflectors_of_block}) &&
            factors.is_complex() == vectors.is_complex() &&
            phases.is_complex() == vectors.is_complex();
        if (!fits)
            binding::fail(PyExc_ValueError, "the parts of the QR factors don't fit each other");
    }

    operand vectors;
    operand factors;
    operand phases;
    stack_shape of;

    void make_complex()
    {
        vectors.make_complex();
        factors.make_complex();
        phases.make_complex();
    }

    // The reflectors of matrix i.
    template <class T>
    kept_reflectors<T> at(std::size_t i) const
    {
        return {view_of(vectors.as<T>(), of, i),
                factors.as<T>().data.data() + i * blocks_of(of.cols) * block_elements,
                phases.as<T>().data.data() + i * of.cols};
    }
};

constexpr binding::signature<2> qr_factor_signature{"qr_factor", {"a", "pivoting"}};
constexpr binding::signature<5> apply_signature{"q_multiply",
                                                {"vectors", "factors", "phases", "c", "adjoint"}};

} // namespace

PyObject* qr_factors(const binding::call_arguments& call)
{
    const auto [given, pivoting] = qr_factor_signature.bind(call);
    const operand a(given);
    const stack_shape of = stack_of(a, qr_factor_signature.function);
    const column_order order =
        flag_parameter(pivoting) ? column_order::pivoted : column_order::given;
    return telling({given}, of.lead, [&] {
        return by_type(a, [&](const auto& x) { return factors_of(x, of, order); });
    });
}

PyObject* qr_apply(const binding::call_arguments& call)
{
    const auto [vectors, factors, phases, given_c, given_adjoint] = apply_signature.bind(call);
    given_reflectors q(vectors, factors, phases);
    operand c(given_c);
    if (c.is_complex() && !q.vectors.is_complex())
        q.make_complex();
    const bool adjoint = flag_parameter(given_adjoint);
    const right_sides sides = right_sides_of(q.of.lead, c.shape(), apply_signature.function);
    const auto apply = [&]<class T>(const tensor<T>&, const tensor<T>& right) {
        if (sides.rows != q.of.rows)
            throw dimension_error("q_multiply: the number of rows differs from Q's");
        return solved_in_place(q.of, right, sides, [&](std::size_t k, detail::block_view<T> x) {
            aligned_vector<T> elements = detail::copy_of(x.first, x.rows * x.cols);
            if (adjoint)
                multiply_by_adjoint_q(q.at<T>(k), elements, x.cols);
            else
                multiply_by_q(q.at<T>(k), elements, x.cols);
            std::copy(elements.begin(), elements.end(), x.first);
        });
    };
    return telling({given_c}, sides.lead, [&] { return by_type(q.vectors, c, apply); });
}

} // namespace numerical::package

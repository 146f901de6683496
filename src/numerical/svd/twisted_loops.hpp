#pragma once

// The kernel of twisted_kernels.hpp for lanes of any width. For the kernels' own sources only,
// after the header that defines the lanes.

#include "numerical/svd/twisted_kernels.hpp"

#include <cstddef>
#include <limits>
#include <utility>

namespace numerical::detail {
namespace {

// In a row, what the rows of one side leave of it, and the ‖z‖² of that side if z ends there
// with 1.
template <class L>
struct twisted_side
{
    L pivot;
    L square;

    // To the next row: upper ones pass on eᵢ/(qᵢ + pivot) of the pivot, lower ones the converse.
    void pass(double numerator, double denominator, double product, L shift)
    {
        const L reciprocal = L(1) / (L(denominator) + pivot);
        pivot = pivot * (L(numerator) * reciprocal) - shift;
        square = L(1) + square * (L(product) * (reciprocal * reciprocal));
    }
};

// γ of the best row so far.
template <class L>
struct least_gamma
{
    L gamma;
    L square_of_z;

    void take_if_less(const twisted_side<L>& lower, L upper_pivot, L upper_square, L shift)
    {
        const L other = (upper_pivot + lower.pivot) + shift;
        const auto is_less = other * other < gamma * gamma;
        gamma = select(is_less, other, gamma);
        square_of_z = select(is_less, (upper_square + lower.square) - L(1), square_of_z);
    }
};

template <class L, std::size_t... I>
void run_twisted(const squared_bidiagonal& of, twisted_batch& batch, double* room,
                 std::index_sequence<I...>)
{
    constexpr std::size_t row = 2 * shifts_of_batch;
    const std::size_t last = of.rows - 1;
    const L shifts[] = {L::load(batch.shifts + I * L::width)...};
    const auto store = [&](const twisted_side<L>& upper, std::size_t i, std::size_t v) {
        upper.pivot.store(room + i * row + v * L::width);
        upper.square.store(room + i * row + shifts_of_batch + v * L::width);
    };
    twisted_side<L> upper[] = {{L(0) - shifts[I], L(1)}...};
    for (std::size_t i = 0; i < last; ++i) {
        (store(upper[I], i, I), ...);
        (upper[I].pass(of.e[i], of.q[i], of.products[i], shifts[I]), ...);
    }
    (store(upper[I], last, I), ...);

    const auto compare = [&](least_gamma<L>& least, const twisted_side<L>& lower, std::size_t i,
                             std::size_t v) {
        least.take_if_less(lower, L::load(room + i * row + v * L::width),
                           L::load(room + i * row + shifts_of_batch + v * L::width), shifts[v]);
    };
    const L infinite(std::numeric_limits<double>::infinity());
    least_gamma<L> least[] = {{(static_cast<void>(I), infinite), L(1)}...};
    twisted_side<L> lower[] = {{L(of.q[last]) - shifts[I], L(1)}...};
    (compare(least[I], lower[I], last, I), ...);
    for (std::size_t i = last; i-- > 0;) {
        (lower[I].pass(of.q[i], of.e[i], of.products[i], shifts[I]), ...);
        (compare(least[I], lower[I], i, I), ...);
    }
    const auto finish = [&](const least_gamma<L>& found, std::size_t v) {
        const L correction = found.gamma / found.square_of_z;
        correction.store(batch.corrections + v * L::width);
        (correction * found.gamma).store(batch.residual_squares + v * L::width);
    };
    (finish(least[I], I), ...);
}

template <class L>
void run_twisted(const squared_bidiagonal& of, twisted_batch& batch, double* room)
{
    run_twisted<L>(of, batch, room, std::make_index_sequence<shifts_of_batch / L::width>());
}

} // namespace
} // namespace numerical::detail

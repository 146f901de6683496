#pragma once

// The kernels of symmetric_column.hpp for vectors of any width. For the kernels' own sources only:
// unnamed, as the vectors are.

#include "numerical/eigen/symmetric_column.hpp"

namespace numerical::detail {
namespace {

// add_to(sum, j) for each vector of the doubles [from, to). The sum of all lanes.
template <class Lanes, class F>
double sum_of_vectors(std::size_t from, std::size_t to, const F& add_to)
{
    constexpr std::size_t width = Lanes::width;
    typename Lanes::vector sums[4] = {Lanes::zero(), Lanes::zero(), Lanes::zero(), Lanes::zero()};
    std::size_t j = from;
    for (; j + 4 * width <= to; j += 4 * width) {
#pragma GCC unroll 4
        for (std::size_t c = 0; c < 4; ++c)
            add_to(sums[c], j + c * width);
    }
    for (; j < to; j += width)
        add_to(sums[0], j);
    return Lanes::fold(Lanes::plus(Lanes::plus(sums[0], sums[1]), Lanes::plus(sums[2], sums[3])));
}

template <class Lanes>
double take_symmetric_row(const double* row, const double* coefficients, const column_vectors& of,
                          std::size_t from, std::size_t to)
{
    using vector = typename Lanes::vector;
    const vector by_v = Lanes::all(coefficients[0]);
    const vector by_w = Lanes::all(coefficients[1]);
    return sum_of_vectors<Lanes>(from, to, [&](vector& sum, std::size_t j) {
        const vector half = Lanes::less(Lanes::load(row + j), by_v, Lanes::load(of.v + j));
        const vector entry = Lanes::less(half, by_w, Lanes::load(of.w + j));
        Lanes::store(of.x + j, entry);
        sum = Lanes::more(sum, entry, entry);
    });
}

template <class Lanes>
double take_hermitian_row(const double* row, const double* coefficients, const column_vectors& of,
                          std::size_t from, std::size_t to)
{
    using vector = typename Lanes::vector;
    const vector v_re = Lanes::all(coefficients[0]);
    const vector v_im = Lanes::alternating(coefficients[1]);
    const vector w_re = Lanes::all(coefficients[2]);
    const vector w_im = Lanes::alternating(coefficients[3]);
    return sum_of_vectors<Lanes>(2 * from, 2 * to, [&](vector& sum, std::size_t j) {
        const vector column_v = Lanes::load(of.v + j);
        const vector column_w = Lanes::load(of.w + j);
        vector entry = Lanes::less(Lanes::load(row + j), v_re, column_v);
        entry = Lanes::less(entry, v_im, Lanes::swapped(column_v));
        entry = Lanes::less(entry, w_re, column_w);
        entry = Lanes::less(entry, w_im, Lanes::swapped(column_w));
        Lanes::store(of.x + j, entry);
        sum = Lanes::more(sum, entry, entry);
    });
}

// `parts` doubles of an element.
template <class Lanes, std::size_t parts>
void scale_column(const column_vectors& of, double factor, std::size_t from, std::size_t to)
{
    const auto factors = Lanes::all(factor);
    for (std::size_t j = parts * from; j < parts * to; j += Lanes::width)
        Lanes::store(of.x + j, Lanes::times(Lanes::load(of.x + j), factors));
}

// What the strips have at index j, added in order.
template <class Lanes>
typename Lanes::vector total(const double* of_first, std::size_t step, std::size_t strips,
                             std::size_t j)
{
    auto sum = Lanes::load(of_first + j);
    for (std::size_t s = 1; s < strips; ++s)
        sum = Lanes::plus(sum, Lanes::load(of_first + s * step + j));
    return sum;
}

template <class Lanes>
double add_symmetric_strips(const column_vectors& of, std::size_t strips, std::size_t from,
                            std::size_t to)
{
    using vector = typename Lanes::vector;
    return sum_of_vectors<Lanes>(from, to, [&](vector& sum, std::size_t j) {
        const vector product = total<Lanes>(of.y, of.step_of_y, strips, j);
        Lanes::store(of.y + j, product);
        sum = Lanes::more(sum, product, Lanes::load(of.x + j));
    });
}

template <class Lanes>
double add_hermitian_strips(const column_vectors& of, std::size_t strips, std::size_t from,
                            std::size_t to)
{
    using vector = typename Lanes::vector;
    const std::size_t step = 2 * of.step_of_y;
    const double* const exchanged = of.y + 2 * of.cols;
    const vector conjugating = Lanes::alternating(-1);
    return sum_of_vectors<Lanes>(2 * from, 2 * to, [&](vector& sum, std::size_t j) {
        const vector turned = Lanes::swapped(total<Lanes>(exchanged, step, strips, j));
        const vector product =
            Lanes::more(total<Lanes>(of.y, step, strips, j), conjugating, turned);
        Lanes::store(of.y + j, product);
        sum = Lanes::more(sum, product, Lanes::load(of.x + j));
    });
}

template <class Lanes, std::size_t parts>
void follow_product(const column_vectors& of, double projection, std::size_t from, std::size_t to)
{
    const auto twice = Lanes::all(2 * projection);
    for (std::size_t j = parts * from; j < parts * to; j += Lanes::width) {
        const auto product = Lanes::load(of.y + j);
        Lanes::store(of.w + j,
                     Lanes::less(Lanes::plus(product, product), twice, Lanes::load(of.x + j)));
    }
}

template <class Lanes>
column_kernels symmetric_column_of()
{
    return {.take_row = take_symmetric_row<Lanes>,
            .scale = scale_column<Lanes, 1>,
            .add_strips = add_symmetric_strips<Lanes>,
            .follow = follow_product<Lanes, 1>};
}

template <class Lanes>
column_kernels hermitian_column_of()
{
    return {.take_row = take_hermitian_row<Lanes>,
            .scale = scale_column<Lanes, 2>,
            .add_strips = add_hermitian_strips<Lanes>,
            .follow = follow_product<Lanes, 2>};
}

} // namespace
} // namespace numerical::detail

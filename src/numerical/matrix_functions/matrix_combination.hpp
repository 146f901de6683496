#pragma once

// Linear combinations of dense matrices, of which polynomials of a matrix are made.

#include "numerical/counts.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"

#include <algorithm>
#include <array>
#include <cstddef>

namespace numerical::detail {

template <class T>
struct term
{
    double factor;
    const T* matrix;
};

// pass(from, to) for pieces of [0, count), on threads; a pass over so many arrays of doubles.
template <class F>
void pass_on_threads(std::size_t count, std::size_t arrays, const F& pass)
{
    constexpr std::size_t piece = 8192;
    const auto pass_piece = [&](std::size_t p) {
        pass(p * piece, std::min(p * piece + piece, count));
    };
    parallel_for(ceil_div(count, piece), arrays * piece, pass_piece);
}

// `to` := the sum of the terms and `diagonal` times the identity, n × n, in one pass over memory.
// `to` may be one of the terms.
template <class T, std::size_t Count>
void combine(const std::array<term<T>, Count>& terms, double diagonal, std::size_t n, T* to)
{
    const std::size_t parts = n * n * (sizeof(T) / sizeof(double));
    auto* const sum = as_doubles(to);
    pass_on_threads(parts, Count + 1, [&](std::size_t from, std::size_t end) {
        for (std::size_t i = from; i < end; ++i) {
            double s = 0;
            for (const term<T>& each : terms)
                s += each.factor * as_doubles(each.matrix)[i];
            sum[i] = s;
        }
    });
    for (std::size_t i = 0; i < n; ++i)
        to[i * n + i] += diagonal;
}

} // namespace numerical::detail

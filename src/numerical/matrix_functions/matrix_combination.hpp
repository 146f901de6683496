#pragma once

// Linear combinations of dense matrices, of which polynomials of a matrix are made.

#include "numerical/scalar.hpp"

#include <array>
#include <cstddef>

namespace numerical::detail {

template <class T>
struct term
{
    double factor;
    const T* matrix;
};

// `to` := the sum of the terms and `diagonal` times the identity, n × n, in one pass over memory.
// `to` may be one of the terms.
template <class T, std::size_t Count>
void combine(const std::array<term<T>, Count>& terms, double diagonal, std::size_t n, T* to)
{
    const std::size_t parts = n * n * (sizeof(T) / sizeof(double));
    auto* const sum = as_doubles(to);
    for (std::size_t i = 0; i < parts; ++i) {
        double s = 0;
        for (const term<T>& each : terms)
            s += each.factor * as_doubles(each.matrix)[i];
        sum[i] = s;
    }
    for (std::size_t i = 0; i < n; ++i)
        to[i * n + i] += diagonal;
}

} // namespace numerical::detail

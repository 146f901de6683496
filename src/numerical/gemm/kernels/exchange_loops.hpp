#pragma once

// The exchange of exchange.hpp for vectors of any width. For the kernels' own sources only:
// unnamed, as the vectors are.

#include "numerical/gemm/kernels/lanes/access.hpp"

#include <cstddef>

namespace numerical::detail {
namespace {

template <class Lanes>
void exchange(double* x, double* y, std::size_t n)
{
    std::size_t i = 0;
#pragma GCC unroll 4
    for (; i + Lanes::width <= n; i += Lanes::width) {
        const auto kept = Lanes::load(x + i);
        Lanes::store(x + i, Lanes::load(y + i));
        Lanes::store(y + i, kept);
    }
    if (i < n) {
        const last_vector<Lanes> last(n - i);
        const auto kept = last.load(x + i);
        last.store(x + i, last.load(y + i));
        last.store(y + i, kept);
    }
}

} // namespace
} // namespace numerical::detail

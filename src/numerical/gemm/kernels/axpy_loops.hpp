#pragma once

// The update of axpy.hpp for vectors of any width. For the kernels' own sources only: unnamed, as
// the vectors are.

#include "numerical/gemm/kernels/lanes/access.hpp"

#include <cstddef>

namespace numerical::detail {
namespace {

template <class Lanes>
void scaled_add(double* y, const double* x, double alpha, std::size_t n)
{
    const auto scale = Lanes::all(alpha);
    std::size_t i = 0;
#pragma GCC unroll 2
    for (; i + Lanes::width <= n; i += Lanes::width)
        Lanes::store(y + i, Lanes::more(Lanes::load(y + i), scale, Lanes::load(x + i)));
    if (i < n) {
        const last_vector<Lanes> last(n - i);
        last.store(y + i, Lanes::more(last.load(y + i), scale, last.load(x + i)));
    }
}

} // namespace
} // namespace numerical::detail

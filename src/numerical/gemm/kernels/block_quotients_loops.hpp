#pragma once

// The loop of block_quotients.hpp for vectors of any width. For the kernels' own sources only:
// unnamed, as the vectors are.

#include "numerical/gemm/kernels/block_quotients.hpp"
#include "numerical/gemm/kernels/gemv_transposed_loops.hpp"
#include "numerical/gemm/kernels/lanes/access.hpp"

#include <cstddef>

namespace numerical::detail {
namespace {

template <class Lanes, class Coefficient, std::size_t order, class T>
void divide_by_block_of(const block_quotients<T>& block, std::size_t n)
{
    Coefficient inverse[order][order];
    for (std::size_t i = 0; i < order; ++i)
        for (std::size_t j = 0; j < order; ++j)
            inverse[i][j] =
                Coefficient(reinterpret_cast<const double*>(&block.minus_inverse[i][j]));
    const auto signs = Lanes::all(block.signs[0], block.signs[1]);
    const auto step = [&](std::size_t at, const auto& access) {
        typename Lanes::vector w[order];
        for (std::size_t j = 0; j < order; ++j) {
            w[j] = access.load(block.w[j] + at);
            access.store(block.minus_w[j] + at, Lanes::times(signs, w[j]));
        }
        for (std::size_t i = 0; i < order; ++i) {
            auto sum = Lanes::zero();
            for (std::size_t j = 0; j < order; ++j)
                sum = inverse[i][j].subtracted_from(sum, w[j]);
            access.store(block.l[i] + at, sum);
        }
    };
    std::size_t at = 0;
    for (; at + Lanes::width <= n; at += Lanes::width)
        step(at, whole_vector<Lanes>());
    if (at < n)
        step(at, last_vector<Lanes>(n - at));
}

// n in numbers.
template <class Lanes, class Coefficient, class T>
void divide_by_block(const block_quotients<T>& block, std::size_t n)
{
    const std::size_t doubles = n * Coefficient::doubles;
    if (block.order == 1)
        divide_by_block_of<Lanes, Coefficient, 1>(block, doubles);
    else
        divide_by_block_of<Lanes, Coefficient, 2>(block, doubles);
}

} // namespace
} // namespace numerical::detail

#pragma once

// What the machine can do at most, measured: the ceiling that the kernels' figures are shares of.

#include <cstddef>

namespace peak {

// Runs `turns` turns of independent fused multiply-adds in full vectors; returns a value that
// depends on all of them.
double avx2_fma(std::size_t turns);
double avx512_fma(std::size_t turns);

constexpr double avx2_flops_per_turn = 12 * 4 * 2;
constexpr double avx512_flops_per_turn = 16 * 8 * 2;

} // namespace peak

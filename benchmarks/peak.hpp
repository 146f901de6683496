#pragma once

// What the machine can do at most, measured: the ceiling that the kernels' figures are shares of.

#include <cstddef>

namespace peak {

// Run `turns` turns of independent multiply-adds in full vectors of a path, fused where the path
// fuses, and return a value that depends on all of them. The portable path has the two lanes of
// SSE2, which every x86-64 processor has.
double portable_multiply_add(std::size_t turns);
double avx2_fma(std::size_t turns);
double avx512_fma(std::size_t turns);

constexpr double portable_flops_per_turn = 12 * 2 * 2;
constexpr double avx2_flops_per_turn = 12 * 4 * 2;
constexpr double avx512_flops_per_turn = 16 * 8 * 2;

} // namespace peak

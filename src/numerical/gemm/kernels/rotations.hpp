#pragma once

// Rotations of neighbouring rows of a strip, in three forms with the same bits: no product is fused
// with a sum. Declarations only, so it may be included from any target.

#include <cstddef>

namespace numerical::detail {

// Columns are taken in strips of 16 doubles whose rows lie one after the other.
constexpr std::size_t strip_width = 16;

// Chains that go over a strip together.
constexpr std::size_t wave_chains = 4;

// Chains of rotations of one length. Chain 0 begins with `row` and its neighbour one `step` further
// (step is 1 or -1 rows), and goes on by one row at each rotation; each other chain is one row
// behind the one before it. A rotation makes out = c·moving + s·next of the row that it leaves and
// moving = c·next - s·moving of the row that it takes along, so that `next` of a chain is `out` of
// the chain before it. Coefficients are pairs (c, s): all chains' first ones, then all second ones.
struct rotation_wave
{
    std::size_t row;
    std::ptrdiff_t step;
    std::size_t length;
    const double* coefficients;
};

// One chain, and wave_chains of them.
void rotate_chain(double* strip, const rotation_wave& wave);
void rotate_wave(double* strip, const rotation_wave& wave);
void avx2_unfused_rotate_chain(double* strip, const rotation_wave& wave);
void avx2_unfused_rotate_wave(double* strip, const rotation_wave& wave);
void avx512_rotate_chain(double* strip, const rotation_wave& wave);
void avx512_rotate_wave(double* strip, const rotation_wave& wave);

} // namespace numerical::detail

#pragma once

// Systems of up to four real equations, as blocks of order 1 and 2 on the diagonals of real Schur
// forms make them.

#include <array>
#include <cstddef>

namespace numerical::detail {

constexpr std::size_t most_unknowns = 4;

using small_block = std::array<std::array<double, most_unknowns>, most_unknowns>;

struct small_system
{
    std::size_t count; // equations, and unknowns
    small_block a{};
    std::array<double, most_unknowns> b{};
};

struct small_solution
{
    std::array<double, most_unknowns> x{};
    bool singular = false; // a pivot was below the least one and has been set to it
};

// Gaussian elimination with complete pivoting. A pivot of less than `least` is set to it; where
// `least` is zero, so that there is nothing to divide by, the solution holds no numbers.
small_solution solve(small_system system, double least);

} // namespace numerical::detail

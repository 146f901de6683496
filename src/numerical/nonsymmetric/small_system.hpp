#pragma once

// Systems of up to four real equations, as they arise from diagonal blocks of order 1 and 2 of real
// Schur forms.

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

// Gaussian elimination with complete pivoting. A pivot smaller than `least` is replaced by it; if
// `least` is zero as well, the solution isn't finite.
small_solution solve(small_system s, double least);

} // namespace numerical::detail

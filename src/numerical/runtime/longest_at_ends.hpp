#pragma once

#include <cstddef>

namespace numerical::detail {

// The order of a loop's indices when later ones take longer: a permutation that puts the longest at
// both ends. The caller of a loop takes indices from the front and the workers from the back
// (pool_job.hpp), so that they meet at the shortest and end at about the same time.
constexpr std::size_t longest_at_ends(std::size_t position, std::size_t count)
{
    return 2 * position < count ? count - 1 - 2 * position : 2 * position - count;
}

} // namespace numerical::detail

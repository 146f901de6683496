#pragma once

// How a product with a vector is cut for the threads: where the cut doesn't change bits.

#include "numerical/counts.hpp"
#include "numerical/gemm/vector_product.hpp"
#include "numerical/runtime/parallel_for.hpp"

#include <algorithm>
#include <cstddef>

namespace numerical::detail {

// Of `count` columns or rows those for an index: a share for each thread that the work is worth, a
// multiple of `least`, and no more than `most`.
struct share_limits
{
    std::size_t least;
    std::size_t most;
};

inline std::size_t share_of_task(std::size_t count, std::size_t products_of_one,
                                 const share_limits& limit)
{
    constexpr std::size_t products_of_thread = 65536 * products_per_unit;
    const std::size_t share = count / allowed_threads() + 1;
    const std::size_t wanted = std::max(share, products_of_thread / (products_of_one + 1));
    return std::min(round_up(wanted, limit.least), limit.most);
}

} // namespace numerical::detail

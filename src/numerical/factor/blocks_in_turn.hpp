#pragma once

// Blocks of reflectors applied one after the other. To gather a block is serial work, so each is
// gathered while the pool applies the one before.

#include "numerical/runtime/parallel_for.hpp"

#include <cstddef>
#include <optional>
#include <utility>

namespace numerical::detail {

// make(b) prepares block b for its target: its result has count(), work() and apply(slab) as
// slabs_application has, and owns what it needs. It must not read the target.
template <class Make>
void apply_in_turn(std::size_t blocks, const Make& make)
{
    if (blocks == 0)
        return;
    auto block = make(0);
    for (std::size_t b = 0; b < blocks; ++b) {
        std::optional<decltype(block)> next;
        const auto apply_to_slab = [&](std::size_t s) { block.apply(s); };
        const auto prepare_next = [&] {
            if (b + 1 < blocks)
                next.emplace(make(b + 1));
        };
        parallel_for_beside(block.count(), block.work(), apply_to_slab, prepare_next);
        if (next)
            block = std::move(*next);
    }
}

} // namespace numerical::detail

#pragma once

// Blocks of reflectors applied one after the other: block by block, each to all slabs of a target,
// or slab by slab, each by all blocks.

#include "numerical/runtime/parallel_for.hpp"

#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

namespace numerical::detail {

// make(b) prepares block b for its target: its result has count(), work() and apply(slab) as
// slabs_application has, and owns what it needs. It must not read the target. To gather a block is
// serial work, so each is gathered while the pool applies the one before.
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

// The same for blocks whose slabs are the same part of the target. They are all made first, each
// with `work_to_make` on the scale of parallel_for; then each slab is taken through all of them by
// one thread and moves between caches once. The blocks become longer. For targets of L2's
// size: in larger ones the blocks themselves, which every slab reads, would come from memory.
template <class Make>
void apply_to_each_slab(std::size_t blocks, std::size_t work_to_make, const Make& make)
{
    if (blocks == 0)
        return;
    std::vector<std::optional<decltype(make(0))>> made(blocks);
    const auto make_block = [&](std::size_t b) { made[b].emplace(make(b)); };
    parallel_for(blocks, work_to_make, make_block);
    const auto apply_all = [&](std::size_t s) {
        for (const auto& block : made)
            block->apply(s);
    };
    const auto& longest = *made.back();
    parallel_for(longest.count(), blocks * longest.work() / 2, apply_all);
}

} // namespace numerical::detail

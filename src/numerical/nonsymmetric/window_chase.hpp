#pragma once

// The steps of a chain of bulges in one window. The reflectors of a step don't wait for each other:
// those of half of the bulges are formed at once, in vector lanes, and the other half of the
// bulges, which has been formed before, is applied meanwhile.

#include "numerical/nonsymmetric/bulge.hpp"
#include "numerical/nonsymmetric/chain_update.hpp"
#include "numerical/nonsymmetric/reflector_lanes.hpp"

#include <cstddef>
#include <span>

namespace numerical::detail {

// Rows from one bulge to the next: a bulge of two shifts is three rows long.
constexpr std::size_t bulge_spacing = 3;

// The most bulges of a chain: two groups.
constexpr std::size_t most_bulges = 2 * reflector_lanes;

struct step_range
{
    std::size_t from;
    std::size_t to;
};

// At step t bulge j forms its reflector in row top + t - 3j, the first bulge being ahead. The block
// is [top, end).
struct chain_of_bulges
{
    std::size_t top;
    std::size_t end;
    std::span<const shift_pair> shifts;
};

// Takes the chain through the steps in the window, whose rows and columns [window.from, window.to)
// are copied to `inside`, and records the reflectors.
template <class T>
void chase_through_window(const bulge_kernels<T>& kernels, const chain_of_bulges& chain,
                          const chain_window& window, const step_range& steps, block_view<T> inside,
                          chain_record<T>& record);

} // namespace numerical::detail

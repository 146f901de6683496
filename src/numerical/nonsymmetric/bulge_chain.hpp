#pragma once

// The small-bulge multishift sweep (Braman, Byers and Mathias 2002, part I): chains of bulges of
// two shifts each, tightly packed, three rows apart, go down the active block window by window.
// While the bulges cross a window, other threads apply the reflectors of the window before.

#include "numerical/nonsymmetric/chain_update.hpp"
#include "numerical/nonsymmetric/window_chase.hpp"

#include <array>
#include <cstddef>
#include <span>

namespace numerical::detail {

// The bulges of a chain: with more of them each reflector costs more inside the window, whose order
// grows; with fewer the copies of strips serve fewer reflectors.
constexpr std::size_t chain_bulges = most_bulges;

// The steps of a chain in one window: its own length.
constexpr std::size_t steps_of_window(std::size_t bulges)
{
    return bulge_spacing * bulges;
}

template <class T>
struct sweep_storage
{
    explicit sweep_storage(std::size_t order);

    padded_square<T> window;
    std::array<chain_record<T>, 2> records; // of a window and of the one before
};

// The largest window of a sweep.
constexpr std::size_t greatest_window = 2 * steps_of_window(chain_bulges) + 4;

// One sweep with all the shifts over the unreduced block [top, end).
template <class T>
void multishift_sweep(const schur_views<T>& s, std::size_t top, std::size_t end,
                      std::span<const shift_pair> shifts, const similarity_reach& reach,
                      sweep_storage<T>& storage);

} // namespace numerical::detail

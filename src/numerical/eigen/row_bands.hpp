#pragma once

// Passes over the rows of a matrix in bands, which threads share, for the copies between products:
// the pool is awake and its caches hold parts of the operands, so that short passes repay it.

#include "numerical/counts.hpp"
#include "numerical/runtime/parallel_for.hpp"

#include <algorithm>
#include <cstddef>

namespace numerical::detail {

// pass(from, to) for bands of rows [0, rows) of `cols` elements T, each row in one band. A band
// writes nothing that another one reads or writes.
template <class T, class F>
void for_each_band(std::size_t rows, std::size_t cols, const F& pass)
{
    constexpr std::size_t band_rows = 32;
    constexpr std::size_t work_of_element = 2 * sizeof(T) / sizeof(double);
    const auto pass_band = [&](std::size_t b) {
        pass(b * band_rows, std::min((b + 1) * band_rows, rows));
    };
    parallel_for(ceil_div(rows, band_rows), band_rows * cols * work_of_element, pass_band);
}

} // namespace numerical::detail

#pragma once

// What a reduction to Hessenberg form column by column leaves for later: to multiply the rows above
// the columns that are left by the reflectors of those already reduced, in blocks of these. As no
// later column reads these rows, that may be done while it is reduced.

#include "numerical/aligned_vector.hpp"
#include "numerical/factor/reflector_block.hpp"
#include "numerical/gemm/block_view.hpp"

#include <cstddef>
#include <utility>
#include <vector>

namespace numerical::detail {

// Of a block, and rows that are multiplied together.
constexpr std::size_t reflectors_of_block = 32;

// The work goes in rounds: each forms the blocks that are known since the one before, while it
// multiplies by those that the one before has formed. It writes rows and reflectors of known blocks
// only.
template <class T>
class rows_above
{
public:
    // Row k of `reflectors` becomes vᴴ of column k's reflector. A's row i has been multiplied by
    // those of the columns before i when its block becomes known.
    rows_above(block_view<T> matrix, block_view<T> reflectors);

    // The columns before this one, which begins a block or ends the matrix, have been reduced.
    void make_known(std::size_t column);

    // A round's tasks run in any order, or at the same time.
    std::size_t tasks() const { return known - formed + (formed - applied != 0 ? formed : 0); }

    void run_task(std::size_t task);
    void end_round();

    // Of a round, in products of two elements.
    std::size_t work() const;

    // Multiplies rows of strip s, which begins at row s·reflectors_of_block, by the blocks that
    // have been formed since the last round.
    std::size_t strips() const { return ceil_div(a.rows, reflectors_of_block); }

    void multiply_strip(std::size_t strip);

    std::vector<reflector_block<T>> take_blocks() { return std::move(blocks); }

private:
    void form_block(std::size_t block);
    void multiply_rows(const reflector_block<T>& block, std::size_t from, std::size_t to);

    const block_view<T> a;
    const block_view<T> adjoints;
    std::vector<reflector_block<T>> blocks;

    // Counts of the first blocks.
    std::size_t known = 0;
    std::size_t formed = 0;
    std::size_t applied = 0;
};

} // namespace numerical::detail

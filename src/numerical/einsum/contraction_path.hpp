#pragma once

// The order in which three or more operands are contracted, pair by pair. Up to four operands all
// orders are tried; beyond that each step takes the cheapest pair. The path depends on labels and
// extents alone, so the same text and shapes always give the same path. The number of multiply-adds
// decides, then the largest intermediate.

#include "numerical/einsum/subscripts.hpp"

#include <cstddef>
#include <string>
#include <vector>

namespace numerical::detail {

// A pair of positions, first below second, in the list of operands at that step. The
// step takes the two out of the list and appends their result; the others keep their order.
struct contraction_step
{
    std::size_t first;
    std::size_t second;

    friend bool operator==(const contraction_step&, const contraction_step&) = default;
};

// The labels of the result of contracting two of `inputs`: those that the output or another input
// needs, in their order in the pair.
std::string pair_keeps(const std::vector<std::string>& inputs, std::size_t first,
                       std::size_t second, const std::string& output);

// The cheapest of all orders, the number of its multiply-adds and the size of its largest
// intermediate. Of equally cheap orders the one with the smaller intermediate is chosen, then the
// first one found.
void cheapest_path(const std::vector<std::string>& inputs, const std::string& output,
                   const label_extents& extents, std::vector<contraction_step>& path, double& cost,
                   double& peak);

std::vector<contraction_step> contraction_path(std::vector<std::string> inputs,
                                               const std::string& output,
                                               const label_extents& extents);

} // namespace numerical::detail

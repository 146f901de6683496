#pragma once

// The additional entries of the vector paths' tables. For the kernels' own sources only: unnamed,
// as the kernels are.

#include "numerical/stacks/lane_qr.hpp"
#include "numerical/stacks/lane_tables.hpp"
#include "numerical/stacks/row_products.hpp"

namespace numerical::detail {
namespace {

constexpr lane_kernels with_qr(lane_kernels kernels)
{
    kernels.narrow_qr = qr_in_lanes<rounded, rounded>;
    kernels.fused_gram_qr = qr_in_lanes<fused, rounded>;
    kernels.fused_qr = qr_in_lanes<fused, fused>;
    return kernels;
}

constexpr small_product_kernels small_products{
    .by_rows_rounded = multiply_by_rows<rounded>,
    .by_rows_fused = multiply_by_rows<fused>,
    .vector_rounded = multiply_vector<rounded>,
    .vector_fused = multiply_vector<fused>,
};

} // namespace
} // namespace numerical::detail

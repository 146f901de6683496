#pragma once

// The tables of lane kernels, which the objects of all paths fill from the same templates. For the
// kernels' own sources only: unnamed, as the kernels are.

#include "numerical/stacks/lane_cholesky.hpp"
#include "numerical/stacks/lane_complex_qr.hpp"
#include "numerical/stacks/lane_eigen.hpp"
#include "numerical/stacks/lane_lu.hpp"
#include "numerical/stacks/lane_product.hpp"
#include "numerical/stacks/lane_svd.hpp"

namespace numerical::detail {
namespace {

// Without the QR kernels, which the vector paths add.
constexpr lane_kernels real_kernels{
    .width = lanes::width,
    .solve_vector = solve_in_lanes<rounded, real_number>,
    .solve_matrix = solve_in_lanes<fused, real_number>,
    .inverse = invert_in_lanes<real_number>,
    .lu_diagonal = lu_diagonal_in_lanes<real_number>,
    .cholesky = cholesky_in_lanes<rounded, real_number>,
    .cholesky_fused_trailing = cholesky_in_lanes<fused, real_number>,
    .multiply_rounded = multiply_in_lanes<rounded, real_number>,
    .multiply_fused = multiply_in_lanes<fused, real_number>,
    .narrow_qr = nullptr,
    .fused_gram_qr = nullptr,
    .fused_qr = nullptr,
};

constexpr lane_kernels complex_kernels{
    .width = lanes::width,
    .solve_vector = solve_in_lanes<rounded, complex_number>,
    .solve_matrix = solve_in_lanes<fused, complex_number>,
    .inverse = invert_in_lanes<complex_number>,
    .lu_diagonal = lu_diagonal_in_lanes<complex_number>,
    .cholesky = cholesky_in_lanes<rounded, complex_number>,
    .cholesky_fused_trailing = nullptr,
    .multiply_rounded = multiply_in_lanes<rounded, complex_number>,
    .multiply_fused = nullptr,
    .narrow_qr = nullptr,
    .fused_gram_qr = nullptr,
    .fused_qr = nullptr,
};

constexpr reflector_kernels complex_reflectors{lanes::width, complex_qr_in_lanes};

template <class N>
constexpr jacobi_kernels jacobi_of{
    .width = lanes::width,
    .eigh = eigen_in_lanes<N, jacobi_results::values_and_vectors>,
    .eigenvalues = eigen_in_lanes<N, jacobi_results::values>,
    .svd = svd_in_lanes<N>,
    .singular_values = singular_values_in_lanes<N>,
    .pinv = pinv_in_lanes<N>,
};

} // namespace
} // namespace numerical::detail

#include "numerical/stacks/portable_lanes.hpp"

#include "numerical/stacks/lane_cholesky.hpp"
#include "numerical/stacks/lane_complex_qr.hpp"
#include "numerical/stacks/lane_eigen.hpp"
#include "numerical/stacks/lane_lu.hpp"
#include "numerical/stacks/lane_product.hpp"
#include "numerical/stacks/lane_svd.hpp"

namespace numerical::detail {

const lane_kernels portable_real_lanes{
    lanes::width,
    solve_in_lanes<rounded, real_number>,
    solve_in_lanes<fused, real_number>,
    invert_in_lanes<real_number>,
    lu_diagonal_in_lanes<real_number>,
    cholesky_in_lanes<rounded, real_number>,
    cholesky_in_lanes<fused, real_number>,
    multiply_in_lanes<rounded, real_number>,
    multiply_in_lanes<fused, real_number>,
    nullptr,
    nullptr,
    nullptr,
};

const lane_kernels portable_complex_lanes{
    lanes::width,
    solve_in_lanes<rounded, complex_number>,
    solve_in_lanes<fused, complex_number>,
    invert_in_lanes<complex_number>,
    lu_diagonal_in_lanes<complex_number>,
    cholesky_in_lanes<rounded, complex_number>,
    nullptr,
    multiply_in_lanes<rounded, complex_number>,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
};

const reflector_kernels portable_complex_reflectors{lanes::width, complex_qr_in_lanes};

const jacobi_kernels portable_jacobi{
    lanes::width,
    eigen_in_lanes<real_number, jacobi_results::values_and_vectors>,
    eigen_in_lanes<real_number, jacobi_results::values>,
    svd_in_lanes<real_number>,
    singular_values_in_lanes<real_number>,
    pinv_in_lanes<real_number>,
};

const jacobi_kernels portable_complex_jacobi{
    lanes::width,
    eigen_in_lanes<complex_number, jacobi_results::values_and_vectors>,
    eigen_in_lanes<complex_number, jacobi_results::values>,
    svd_in_lanes<complex_number>,
    singular_values_in_lanes<complex_number>,
    pinv_in_lanes<complex_number>,
};

} // namespace numerical::detail

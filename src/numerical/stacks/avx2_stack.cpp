#include "numerical/stacks/avx2_lanes.hpp"

#include "numerical/stacks/lane_cholesky.hpp"
#include "numerical/stacks/lane_complex_qr.hpp"
#include "numerical/stacks/lane_eigen.hpp"
#include "numerical/stacks/lane_lu.hpp"
#include "numerical/stacks/lane_product.hpp"
#include "numerical/stacks/lane_qr.hpp"
#include "numerical/stacks/lane_svd.hpp"
#include "numerical/stacks/row_products.hpp"

namespace numerical::detail {

const lane_kernels avx2_real_lanes{
    lanes::width,
    solve_in_lanes<rounded, real_number>,
    solve_in_lanes<fused, real_number>,
    invert_in_lanes<real_number>,
    lu_diagonal_in_lanes<real_number>,
    cholesky_in_lanes<rounded, real_number>,
    cholesky_in_lanes<fused, real_number>,
    multiply_in_lanes<rounded, real_number>,
    multiply_in_lanes<fused, real_number>,
    qr_in_lanes<rounded, rounded>,
    qr_in_lanes<fused, rounded>,
    qr_in_lanes<fused, fused>,
};

const lane_kernels avx2_complex_lanes{
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

const small_product_kernels avx2_small_products{
    multiply_by_rows<rounded>,
    multiply_by_rows<fused>,
    multiply_vector<rounded>,
    multiply_vector<fused>,
};

const reflector_kernels avx2_complex_reflectors{lanes::width, complex_qr_in_lanes};

const jacobi_kernels avx2_jacobi{
    lanes::width,
    eigen_in_lanes<real_number, jacobi_results::values_and_vectors>,
    eigen_in_lanes<real_number, jacobi_results::values>,
    svd_in_lanes<real_number>,
    singular_values_in_lanes<real_number>,
    pinv_in_lanes<real_number>,
};

const jacobi_kernels avx2_complex_jacobi{
    lanes::width,
    eigen_in_lanes<complex_number, jacobi_results::values_and_vectors>,
    eigen_in_lanes<complex_number, jacobi_results::values>,
    svd_in_lanes<complex_number>,
    singular_values_in_lanes<complex_number>,
    pinv_in_lanes<complex_number>,
};

} // namespace numerical::detail

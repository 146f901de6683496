#include "numerical/stacks/avx2_lanes.hpp"

#include "numerical/stacks/vector_tables.hpp"

namespace numerical::detail {

constinit const lane_kernels avx2_real_lanes = with_qr(real_kernels);
constinit const small_product_kernels avx2_small_products = small_products;
constinit const lane_kernels avx2_complex_lanes = complex_kernels;
constinit const reflector_kernels avx2_complex_reflectors = complex_reflectors;
constinit const jacobi_kernels avx2_jacobi = jacobi_of<real_number>;
constinit const jacobi_kernels avx2_complex_jacobi = jacobi_of<complex_number>;

} // namespace numerical::detail

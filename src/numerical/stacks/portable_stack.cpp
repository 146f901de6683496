#include "numerical/stacks/portable_lanes.hpp"

#include "numerical/stacks/lane_tables.hpp"

namespace numerical::detail {

constinit const lane_kernels portable_real_lanes = real_kernels;
constinit const lane_kernels portable_complex_lanes = complex_kernels;
constinit const reflector_kernels portable_complex_reflectors = complex_reflectors;
constinit const jacobi_kernels portable_jacobi = jacobi_of<real_number>;
constinit const jacobi_kernels portable_complex_jacobi = jacobi_of<complex_number>;

} // namespace numerical::detail

#include "numerical/gemm/kernels/both_roles.hpp"

#include "numerical/gemm/kernels/both_roles_loops.hpp"
#include "numerical/gemm/kernels/lanes/avx2.hpp"

namespace numerical::detail {

void avx2_both_roles(const both_roles_pass<double>& pass)
{
    pass_all_rows<lanes, real_roles, 4>(pass);
}

void avx2_complex_both_roles(const both_roles_pass<std::complex<double>>& pass)
{
    pass_all_rows<lanes, complex_roles, 2>(of_doubles(pass));
}

} // namespace numerical::detail

#include "numerical/eigen/symmetric_column.hpp"

#include "numerical/gemm/kernels/lanes/avx512.hpp"

#include "numerical/eigen/symmetric_column_loops.hpp"

namespace numerical::detail {

column_kernels avx512_symmetric_column()
{
    return symmetric_column_of<lanes>();
}

column_kernels avx512_hermitian_column()
{
    return hermitian_column_of<lanes>();
}

} // namespace numerical::detail

#include "numerical/gemm/kernels/lu_columns.hpp"

#include "numerical/gemm/kernels/lanes/avx512.hpp"
#include "numerical/gemm/kernels/lu_columns_loops.hpp"

// Built for AVX-512F alone.

namespace numerical::detail {

void avx512_apply_columns(std::size_t run, const double* l, double* dest, std::size_t dest_columns,
                          std::size_t stride, std::size_t rows)
{
    apply_columns<lanes, real_coefficient<lanes>>(run, l, dest, dest_columns, stride, rows);
}

void avx512_apply_complex_columns(std::size_t run, const double* l, double* dest,
                                  std::size_t dest_columns, std::size_t stride, std::size_t rows)
{
    apply_columns<lanes, complex_coefficient<lanes>>(run, l, dest, dest_columns, stride, rows);
}

std::size_t avx512_eliminate_next_column(std::size_t run, double* l, std::size_t stride,
                                         std::size_t rows)
{
    return eliminate_next_column<lanes>(run, l, stride, rows);
}

} // namespace numerical::detail

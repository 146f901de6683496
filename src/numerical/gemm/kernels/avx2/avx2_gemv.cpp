#include "numerical/gemm/kernels/gemv.hpp"

#include "numerical/gemm/kernels/gemv_loops.hpp"
#include "numerical/gemm/kernels/lanes/avx2.hpp"
#include "numerical/gemm/kernels/short_gemv_loops.hpp"

// Built for AVX2 and FMA.

namespace numerical::detail {

void avx2_row_dots(double* out, const double* v, const double* rows, std::size_t stride,
                   std::size_t count, std::size_t n)
{
    dots_of_all_rows<lanes, real_row_sum, 2>(out, v, rows, stride, count, n);
}

void avx2_complex_row_dots(double* out, const double* v, const double* rows, std::size_t stride,
                           std::size_t count, std::size_t n)
{
    dots_of_all_rows<lanes, complex_row_sum, 1>(out, v, rows, stride, count, n);
}

void avx2_add_row_dots(double* w, const double* rows, std::size_t stride, std::size_t count,
                       const double* x, std::size_t n)
{
    add_short_dots<lanes, 4, 1>(w, rows, stride, count, x, n);
}

void avx2_add_complex_row_dots(double* w, const double* rows, std::size_t stride, std::size_t count,
                               const double* x, std::size_t n)
{
    add_short_dots<lanes, 2, 2>(w, rows, stride, count, x, n);
}

void avx2_gemv(double* y, const double* rows, std::size_t stride, std::size_t count,
               const double* x, std::size_t n)
{
    products_of_all_rows<lanes, real_row_sum, 4>(y, rows, stride, count, x, n);
}

void avx2_complex_gemv(double* y, const double* rows, std::size_t stride, std::size_t count,
                       const double* x, std::size_t n)
{
    products_of_all_rows<lanes, complex_row_product, 2>(y, rows, stride, count, x, n);
}

} // namespace numerical::detail

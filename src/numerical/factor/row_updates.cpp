#include "numerical/factor/row_updates.hpp"

#include "numerical/gemm/vector_dispatch.hpp"

namespace numerical::detail {
namespace {

template <class T>
void subtract_row_by_row(T* rows, std::size_t stride, std::size_t count, const T* coeffs,
                         const T* x, std::size_t n)
{
    for (std::size_t i = 0; i < count; ++i)
        subtract_scaled_on(portable_path, rows + i * stride, x, coeffs[i], n);
}

} // namespace

void subtract_from_rows_on(int path, double* rows, std::size_t stride, std::size_t count,
                           const double* coeffs, const double* x, std::size_t n)
{
    const auto form = path == avx512_path ? avx512_subtract_from_rows
                      : path == avx2_path ? avx2_subtract_from_rows
                                          : subtract_row_by_row<double>;
    form(rows, stride, count, coeffs, x, n);
}

void subtract_from_rows_on(int path, std::complex<double>* rows, std::size_t stride,
                           std::size_t count, const std::complex<double>* coeffs,
                           const std::complex<double>* x, std::size_t n)
{
    if (path == portable_path)
        return subtract_row_by_row(rows, stride, count, coeffs, x, n);
    const auto form =
        path == avx512_path ? avx512_subtract_from_complex_rows : avx2_subtract_from_complex_rows;
    form(reinterpret_cast<double*>(rows), stride, count, reinterpret_cast<const double*>(coeffs),
         reinterpret_cast<const double*>(x), n);
}

} // namespace numerical::detail

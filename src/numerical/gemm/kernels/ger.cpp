#include "numerical/gemm/kernels/ger.hpp"

#include "numerical/gemm/path.hpp"
#include "numerical/scalar.hpp"

namespace numerical::detail {
namespace {

template <class T>
void subtract_row_by_row(T* rows, std::size_t stride, std::size_t count, const T* coeffs,
                         const T* x, std::size_t n)
{
    for (std::size_t i = 0; i < count; ++i) {
        const T coeff = coeffs[i]; // a copy: the compiler must assume that rows alias it
        for (std::size_t j = 0; j < n; ++j)
            rows[i * stride + j] -= coeff * x[j];
    }
}

} // namespace

void subtract_from_rows_on(int path, double* rows, std::size_t stride, std::size_t count,
                           const double* coeffs, const double* x, std::size_t n)
{
    choose(path, subtract_row_by_row<double>, avx2_subtract_from_rows,
           avx512_subtract_from_rows)(rows, stride, count, coeffs, x, n);
}

void subtract_from_rows_on(int path, complex* rows, std::size_t stride, std::size_t count,
                           const complex* coeffs, const complex* x, std::size_t n)
{
    if (path == portable_path)
        return subtract_row_by_row(rows, stride, count, coeffs, x, n);
    const auto form =
        path == avx512_path ? avx512_subtract_from_complex_rows : avx2_subtract_from_complex_rows;
    form(as_doubles(rows), stride, count, as_doubles(coeffs), as_doubles(x), n);
}

} // namespace numerical::detail

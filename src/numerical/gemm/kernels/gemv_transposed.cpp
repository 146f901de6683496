#include "numerical/gemm/kernels/gemv_transposed.hpp"

#include "numerical/gemm/path.hpp"
#include "numerical/scalar.hpp"

namespace numerical::detail {

void add_column_sums_on(int path, double* sums, const double* coefficients, const double* rows,
                        std::size_t stride, std::size_t count, std::size_t n)
{
    choose(path, add_column_sums, avx2_add_column_sums,
           avx512_add_column_sums)(sums, coefficients, rows, stride, count, n);
}

void add_column_sums_on(int path, std::complex<double>* sums,
                        const std::complex<double>* coefficients, const std::complex<double>* rows,
                        std::size_t stride, std::size_t count, std::size_t n)
{
    const auto form = choose(path, add_complex_column_sums, avx2_add_complex_column_sums,
                             avx512_add_complex_column_sums);
    form(as_doubles(sums), as_doubles(coefficients), as_doubles(rows), 2 * stride, count, 2 * n);
}

} // namespace numerical::detail

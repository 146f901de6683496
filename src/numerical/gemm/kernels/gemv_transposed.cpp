#include "numerical/gemm/kernels/gemv_transposed.hpp"

#include "numerical/gemm/path.hpp"
#include "numerical/scalar.hpp"

#include <array>

namespace numerical::detail {

void add_column_sums_on(int path, double* sums, const double* coefficients, const double* rows,
                        std::size_t stride, std::size_t count, std::size_t n)
{
    choose(path, add_column_sums, avx2_add_column_sums,
           avx512_add_column_sums)(sums, coefficients, rows, stride, count, n);
}

// (c + i·s)·(Re a, Im a) is c·(Re a, Im a) + s·(-Im a, Re a): the two halves change places once,
// after the sums.
void add_column_sums_on(int path, std::complex<double>* sums,
                        const std::complex<double>* coefficients, const std::complex<double>* rows,
                        std::size_t stride, std::size_t count, std::size_t n)
{
    std::array<double, 2 * column_tile> parts{};
    const auto form =
        choose(path, add_column_sum_pairs, avx2_add_column_sum_pairs, avx512_add_column_sum_pairs);
    form(parts.data(), as_doubles(coefficients), as_doubles(rows), 2 * stride, count, 2 * n);
    const double* const turned = parts.data() + column_tile;
    for (std::size_t j = 0; j < n; ++j)
        sums[j] += std::complex<double>(parts[2 * j] - turned[2 * j + 1],
                                        parts[2 * j + 1] + turned[2 * j]);
}

} // namespace numerical::detail

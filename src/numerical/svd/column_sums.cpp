#include "numerical/svd/column_sums.hpp"

#include "numerical/gemm/path.hpp"

#include <array>

namespace numerical::detail {

void add_column_sums(double* sums, const double* coefficients, const double* rows,
                     std::size_t stride, std::size_t count, std::size_t n)
{
    for (std::size_t i = 0; i < count; ++i)
        for (std::size_t j = 0; j < n; ++j)
            sums[j] += coefficients[i] * rows[i * stride + j];
}

void add_column_sum_pairs(double* sums, const double* coefficients, const double* rows,
                          std::size_t stride, std::size_t count, std::size_t n)
{
    for (std::size_t i = 0; i < count; ++i)
        for (std::size_t j = 0; j < n; ++j) {
            sums[j] += coefficients[2 * i] * rows[i * stride + j];
            sums[column_tile + j] += coefficients[2 * i + 1] * rows[i * stride + j];
        }
}

void add_column_sums_on(int path, double* sums, const double* coefficients, const double* rows,
                        std::size_t stride, std::size_t count, std::size_t n)
{
    const auto form = path == avx512_path ? avx512_add_column_sums
                      : path == avx2_path ? avx2_add_column_sums
                                          : add_column_sums;
    form(sums, coefficients, rows, stride, count, n);
}

// (c + i·s)·(Re a, Im a) is c·(Re a, Im a) + s·(-Im a, Re a): the two halves change places once,
// after the sums.
void add_column_sums_on(int path, std::complex<double>* sums,
                        const std::complex<double>* coefficients, const std::complex<double>* rows,
                        std::size_t stride, std::size_t count, std::size_t n)
{
    std::array<double, 2 * column_tile> parts{};
    const auto form = path == avx512_path ? avx512_add_column_sum_pairs
                      : path == avx2_path ? avx2_add_column_sum_pairs
                                          : add_column_sum_pairs;
    form(parts.data(), reinterpret_cast<const double*>(coefficients),
         reinterpret_cast<const double*>(rows), 2 * stride, count, 2 * n);
    const double* const turned = parts.data() + column_tile;
    for (std::size_t j = 0; j < n; ++j)
        sums[j] += std::complex<double>(parts[2 * j] - turned[2 * j + 1],
                                        parts[2 * j + 1] + turned[2 * j]);
}

} // namespace numerical::detail

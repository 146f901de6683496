#include "numerical/gemm/gemm.hpp"

#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"

#include <algorithm>
#include <memory>

namespace numerical::detail {
namespace {

constexpr std::size_t block_depth = 256;
constexpr std::size_t block_cols = 512;

// [Re C | Im C], row by row.
void split_c(std::size_t rows, std::size_t cols, const complex* c, std::size_t ldc, double* parts)
{
    const auto split_row = [=](std::size_t i) {
        double* const out = parts + i * 2 * cols;
        for (std::size_t j = 0; j < cols; ++j) {
            out[j] = c[i * ldc + j].real();
            out[cols + j] = c[i * ldc + j].imag();
        }
    };
    parallel_for(rows, cols, split_row);
}

void join_c(std::size_t rows, std::size_t cols, const double* parts, complex* c, std::size_t ldc)
{
    const auto join_row = [=](std::size_t i) {
        const double* const in = parts + i * 2 * cols;
        for (std::size_t j = 0; j < cols; ++j)
            c[i * ldc + j] = {in[j], in[cols + j]};
    };
    parallel_for(rows, cols, join_row);
}

// [Re A | -Im A], row by row.
void split_a(std::size_t rows, std::size_t depth, const complex* a, std::size_t lda, double* parts)
{
    const auto split_row = [=](std::size_t i) {
        double* const out = parts + i * 2 * depth;
        for (std::size_t p = 0; p < depth; ++p) {
            out[p] = a[i * lda + p].real();
            out[depth + p] = -a[i * lda + p].imag();
        }
    };
    parallel_for(rows, depth, split_row);
}

// [  Re B | Im B ]
// [ Im B | -Re B ]; each index writes a row of both halves.
void split_b(std::size_t depth, std::size_t cols, const complex* b, std::size_t ldb, double* parts)
{
    const auto split_position = [=](std::size_t p) {
        double* const upper = parts + p * 2 * cols;
        double* const lower = parts + (depth + p) * 2 * cols;
        for (std::size_t j = 0; j < cols; ++j) {
            const double re = b[p * ldb + j].real();
            const double im = b[p * ldb + j].imag();
            upper[j] = re;
            upper[cols + j] = im;
            lower[j] = im;
            lower[cols + j] = -re;
        }
    };
    parallel_for(depth, 2 * cols, split_position);
}

} // namespace

void gemm_split(std::size_t m, std::size_t n, std::size_t k, const complex* a, std::size_t lda,
                const complex* b, std::size_t ldb, complex* c, std::size_t ldc)
{
    const std::size_t most_depth = std::min(k, block_depth);
    const std::size_t most_cols = std::min(n, block_cols);
    // Plain arrays: every element is written before it is read.
    const std::unique_ptr<double[]> real_a(new double[m * 2 * most_depth]);
    const std::unique_ptr<double[]> real_b(new double[2 * most_depth * 2 * most_cols]);
    const std::unique_ptr<double[]> real_c(new double[m * 2 * most_cols]);
    for (std::size_t j = 0; j < n; j += block_cols) {
        const std::size_t cols = std::min(n - j, block_cols);
        split_c(m, cols, c + j, ldc, real_c.get());
        for (std::size_t p = 0; p < k; p += block_depth) {
            const std::size_t depth = std::min(k - p, block_depth);
            split_a(m, depth, a + p, lda, real_a.get());
            split_b(depth, cols, b + p * ldb + j, ldb, real_b.get());
            gemm<double>(m, 2 * cols, 2 * depth, real_a.get(), 2 * depth, real_b.get(), 2 * cols,
                         real_c.get(), 2 * cols);
        }
        join_c(m, cols, real_c.get(), c + j, ldc);
    }
}

} // namespace numerical::detail

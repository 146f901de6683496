#include "numerical/gemm/gemm.hpp"

#include "numerical/gemm/packed.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/scalar.hpp"

#include <algorithm>

namespace numerical::detail {
namespace {

// A block too small for tiles: the products one by one, over [Re A | Im A] and B above iB.
void multiply_directly(std::size_t m, std::size_t cols, std::size_t depth, const complex* a,
                       std::size_t lda, const complex* b, std::size_t ldb, complex* c,
                       std::size_t ldc)
{
    const packing_storage<double> parts(m * 2 * depth, 2 * depth * 2 * cols);
    for (std::size_t i = 0; i < m; ++i)
        for (std::size_t p = 0; p < depth; ++p) {
            parts.a[i * 2 * depth + p] = a[i * lda + p].real();
            parts.a[i * 2 * depth + depth + p] = a[i * lda + p].imag();
        }
    for (std::size_t p = 0; p < depth; ++p)
        for (std::size_t j = 0; j < cols; ++j) {
            const complex value = b[p * ldb + j];
            double* const as_it_is = parts.b + p * 2 * cols + 2 * j;
            double* const times_i = as_it_is + depth * 2 * cols;
            as_it_is[0] = value.real();
            as_it_is[1] = value.imag();
            times_i[0] = -value.imag();
            times_i[1] = value.real();
        }
    gemm_rows<double>(m, 2 * cols, 2 * depth, parts.a, 2 * depth, parts.b, 2 * cols,
                      reinterpret_cast<double*>(c), 2 * ldc);
}

} // namespace

void gemm_split(std::size_t m, std::size_t n, std::size_t k, const complex* a, std::size_t lda,
                const complex* b, std::size_t ldb, complex* c, std::size_t ldc)
{
    const auto by_tiles = gemm_path_current() == avx512_path
                              ? gemm_packed<avx512_complex_tile_kernel, double>
                              : gemm_packed<avx2_complex_tile_kernel, double>;
    for (std::size_t j = 0; j < n; j += split_cols) {
        const std::size_t cols = std::min(n - j, split_cols);
        for (std::size_t p = 0; p < k; p += split_depth) {
            const std::size_t depth = std::min(k - p, split_depth);
            const complex* const a_block = a + p;
            const complex* const b_block = b + p * ldb + j;
            if (worth_tiles(m, 2 * cols, 2 * depth))
                by_tiles(m, 2 * cols, depth, reinterpret_cast<const double*>(a_block), 2 * lda,
                         reinterpret_cast<const double*>(b_block), 2 * ldb,
                         reinterpret_cast<double*>(c + j), 2 * ldc);
            else
                multiply_directly(m, cols, depth, a_block, lda, b_block, ldb, c + j, ldc);
        }
    }
}

} // namespace numerical::detail

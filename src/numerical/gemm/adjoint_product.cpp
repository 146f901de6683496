#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/gemm/gemm.hpp"
#include "numerical/gemm/packed.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/scalar.hpp"
#include "numerical/strided/transpose.hpp"

#include <algorithm>

namespace numerical::detail {
namespace {

// Aᴴ·B by a copy of Aᴴ, for products too small for tiles and for the portable path.
template <class T>
void multiply_copy(product_operands<T> p, void (*multiply)(const product_operands<T>&))
{
    const aligned_vector<T> adjoint =
        adjoint_copy<T>({.first = p.a, .rows = p.k, .cols = p.m, .stride = p.lda});
    p.a = adjoint.data();
    p.lda = p.k;
    multiply(p);
}

} // namespace

template <>
void gemm_adjoint(std::size_t m, std::size_t n, std::size_t k, const double* a, std::size_t lda,
                  const double* b, std::size_t ldb, double* c, std::size_t ldc)
{
    const int path = gemm_path_current();
    if (path == portable_path || !summed_by_tiles(m, n, k))
        return multiply_copy<double>(
            {.m = m, .n = n, .k = k, .a = a, .lda = lda, .b = b, .ldb = ldb, .c = c, .ldc = ldc},
            any_product<double>);
    const auto by_tiles = path == avx512_path ? gemm_adjoint_tiles<avx512_adjoint_kernel, double>
                                              : gemm_adjoint_tiles<avx2_adjoint_kernel, double>;
    by_tiles({.m = m, .n = n, .k = k, .a = a, .lda = lda, .b = b, .ldb = ldb, .c = c, .ldc = ldc});
}

template <>
void gemm_adjoint(std::size_t m, std::size_t n, std::size_t k, const complex* a, std::size_t lda,
                  const complex* b, std::size_t ldb, complex* c, std::size_t ldc)
{
    const int path = gemm_path_current();
    if (path == portable_path || !summed_by_tiles(m, n, k))
        return multiply_copy<complex>(
            {.m = m, .n = n, .k = k, .a = a, .lda = lda, .b = b, .ldb = ldb, .c = c, .ldc = ldc},
            any_product<complex>);
    const auto by_tiles = path == avx512_path
                              ? gemm_adjoint_tiles<avx512_complex_adjoint_kernel, double>
                              : gemm_adjoint_tiles<avx2_complex_adjoint_kernel, double>;
    for (std::size_t j = 0; j < n; j += split_cols) {
        const std::size_t cols = std::min(n - j, split_cols);
        for (std::size_t p = 0; p < k; p += split_depth) {
            const std::size_t depth = std::min(k - p, split_depth);
            const complex* const a_block = a + p * lda;
            const complex* const b_block = b + p * ldb + j;
            if (summed_by_tiles(m, 2 * cols, 2 * depth))
                by_tiles({.m = m,
                          .n = 2 * cols,
                          .k = depth,
                          .a = as_doubles(a_block),
                          .lda = 2 * lda,
                          .b = as_doubles(b_block),
                          .ldb = 2 * ldb,
                          .c = as_doubles(c + j),
                          .ldc = 2 * ldc});
            else
                multiply_copy<complex>({.m = m,
                                        .n = cols,
                                        .k = depth,
                                        .a = a_block,
                                        .lda = lda,
                                        .b = b_block,
                                        .ldb = ldb,
                                        .c = c + j,
                                        .ldc = ldc},
                                       gemm_split);
        }
    }
}

} // namespace numerical::detail

#include "numerical/gemm/gemm.hpp"
#include "numerical/gemm/summation.hpp"

#include "numerical/gemm/packed.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/gemm/unfused.hpp"
#include "numerical/gemm/vector_product.hpp"
#include "numerical/scalar.hpp"

#include <algorithm>

namespace numerical::detail {
namespace {

// The operands as doubles, but for k.
product_operands<double> in_parts(const product_operands<complex>& p)
{
    return {.m = p.m,
            .n = 2 * p.n,
            .k = p.k,
            .a = as_doubles(p.a),
            .lda = 2 * p.lda,
            .b = as_doubles(p.b),
            .ldb = 2 * p.ldb,
            .c = as_doubles(p.c),
            .ldc = 2 * p.ldc,
            .into = p.into};
}

// A block too small for tiles: the products one by one, over [Re A | Im A] and B above iB.
void multiply_directly(const product_operands<complex>& p)
{
    const std::size_t cols = 2 * p.n;
    const packing_storage<double> parts(p.m * 2 * p.k, 2 * p.k * cols);
    for (std::size_t i = 0; i < p.m; ++i)
        for (std::size_t l = 0; l < p.k; ++l) {
            parts.a[i * 2 * p.k + l] = p.a[i * p.lda + l].real();
            parts.a[i * 2 * p.k + p.k + l] = p.a[i * p.lda + l].imag();
        }
    for (std::size_t l = 0; l < p.k; ++l)
        for (std::size_t j = 0; j < p.n; ++j) {
            const complex value = p.b[l * p.ldb + j];
            double* const as_it_is = parts.b + l * cols + 2 * j;
            double* const times_i = as_it_is + p.k * cols;
            as_it_is[0] = value.real();
            as_it_is[1] = value.imag();
            times_i[0] = -value.imag();
            times_i[1] = value.real();
        }
    product_operands<double> real = in_parts(p);
    real.k = 2 * p.k;
    real.a = parts.a;
    real.lda = 2 * p.k;
    real.b = parts.b;
    real.ldb = cols;
    multiply_rows(real);
}

// The leading positions whose blocks are large enough for tiles: all but perhaps the last block's.
std::size_t depth_of_tiles(std::size_t m, std::size_t n, std::size_t k)
{
    const std::size_t rest = k % split_depth;
    return summed_by_tiles(m, 2 * n, 2 * rest) ? k : k - rest;
}

} // namespace

void gemm_split(const product_operands<complex>& p)
{
    const bool with_vector = is_vector_product(p);
    const auto by_tiles = gemm_path_current() == avx512_path
                              ? gemm_packed<avx512_complex_tile_kernel, double>
                              : gemm_packed<avx2_complex_tile_kernel, double>;
    for (std::size_t j = 0; j < p.n; j += split_cols) {
        product_operands<complex> cols = p;
        cols.n = std::min(p.n - j, split_cols);
        cols.b += j;
        cols.c += j;
        std::size_t l = 0;
        if (with_vector) {
            l = depth_of_tiles(p.m, cols.n, p.k);
            cols.k = l;
            multiply_vector(cols, split_depth);
        }
        for (; l < p.k; l += split_depth) {
            product_operands<complex> block = cols;
            block.k = std::min(p.k - l, split_depth);
            block.a += l;
            block.b += l * p.ldb;
            if (l != 0)
                block.into = into_c::add;
            if (summed_by_tiles(block.m, 2 * block.n, 2 * block.k))
                by_tiles(in_parts(block));
            else
                multiply_directly(block);
        }
    }
}

} // namespace numerical::detail

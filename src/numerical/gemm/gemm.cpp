#include "numerical/gemm/gemm.hpp"

#include "numerical/checks.hpp"
#include "numerical/errors.hpp"
#include "numerical/gemm/packed.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/gemm/row_kernels.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"

#include <complex>
#include <utility>

namespace numerical::detail {

namespace {

// A direct product of no more is too little to ask the pool.
constexpr std::size_t serial_products_by_rows = 512;

// c[j] += sum over l of a[l]·b[l·ldb + j] for j < n.
template <class T>
void multiply_row(std::size_t n, std::size_t k, const T* a, const T* b, std::size_t ldb, T* c)
{
    for (std::size_t l = 0; l < k; ++l)
        for (std::size_t j = 0; j < n; ++j)
            c[j] += a[l] * b[l * ldb + j];
}

void multiply_row_wide(std::size_t n, std::size_t k, const double* a, const double* b,
                       std::size_t ldb, double* c)
{
    avx2_unfused_multiply_row(n, k, a, b, ldb, c);
}

void multiply_row_wide(std::size_t n, std::size_t k, const complex* a, const complex* b,
                       std::size_t ldb, complex* c)
{
    const std::size_t done = avx2_unfused_multiply_row(n, k, a, b, ldb, c);
    multiply_row(n - done, k, a, b + done, ldb, c + done);
}

} // namespace

template <class T>
void gemm_rows(std::size_t m, std::size_t n, std::size_t k, const T* a, std::size_t lda, const T* b,
               std::size_t ldb, T* c, std::size_t ldc)
{
    const bool wide = gemm_path_current() != portable_path && cpu_features().avx2;
    const auto multiply_one = [=](std::size_t i) {
        if (wide)
            multiply_row_wide(n, k, a + i * lda, b, ldb, c + i * ldc);
        else
            multiply_row(n, k, a + i * lda, b, ldb, c + i * ldc);
    };
    if (m * n * k <= serial_products_by_rows)
        for (std::size_t i = 0; i < m; ++i)
            multiply_one(i);
    else
        parallel_for(m, k * n / 4, multiply_one);
}

template void gemm_rows(std::size_t, std::size_t, std::size_t, const double*, std::size_t,
                        const double*, std::size_t, double*, std::size_t);
template void gemm_rows(std::size_t, std::size_t, std::size_t, const complex*, std::size_t,
                        const complex*, std::size_t, complex*, std::size_t);

namespace {

using packed_product = void (*)(std::size_t, std::size_t, std::size_t, const double*, std::size_t,
                                const double*, std::size_t, double*, std::size_t);

packed_product real_product_on(int path)
{
    if (path == avx512_path)
        return gemm_packed<avx512_tile_kernel, double>;
    if (path == avx2_path)
        return gemm_packed<avx2_tile_kernel, double>;
    return gemm_packed<vector_tile_kernel<double>, double>;
}

} // namespace

template <>
void gemm(std::size_t m, std::size_t n, std::size_t k, const double* a, std::size_t lda,
          const double* b, std::size_t ldb, double* c, std::size_t ldc)
{
    if (!worth_tiles(m, n, k))
        return gemm_rows(m, n, k, a, lda, b, ldb, c, ldc);
    real_product_on(gemm_path_current())(m, n, k, a, lda, b, ldb, c, ldc);
}

template <>
void gemm(std::size_t m, std::size_t n, std::size_t k, const complex* a, std::size_t lda,
          const complex* b, std::size_t ldb, complex* c, std::size_t ldc)
{
    if (!worth_tiles(m, n, k))
        return gemm_rows(m, n, k, a, lda, b, ldb, c, ldc);
    if (gemm_path_current() == portable_path)
        return gemm_packed<vector_tile_kernel<complex>, complex>(m, n, k, a, lda, b, ldb, c, ldc);
    gemm_split(m, n, k, a, lda, b, ldb, c, ldc);
}

} // namespace numerical::detail

namespace numerical {

template <class T>
matrix<T> operator*(const matrix<T>& a, const matrix<T>& b)
{
    if (a.cols != b.rows)
        throw dimension_error("matrix–matrix product: inner dimensions differ");
    std::vector<T> product = detail::zeros<T>(detail::checked_mul(a.rows, b.cols));
    if (!product.empty() && a.cols != 0)
        detail::gemm(a.rows, b.cols, a.cols, a.data.data(), a.cols, b.data.data(), b.cols,
                     product.data(), b.cols);
    return matrix<T>(a.rows, b.cols, std::move(product));
}

template matrix<double> operator*(const matrix<double>&, const matrix<double>&);
template matrix<std::complex<double>> operator*(const matrix<std::complex<double>>&,
                                                const matrix<std::complex<double>>&);

} // namespace numerical

#include "numerical/gemm/gemm.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/checks.hpp"
#include "numerical/errors.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/gemm/packed.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/gemm/unfused.hpp"
#include "numerical/gemm/vector_product.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/thread_scratch.hpp"

#include <algorithm>
#include <complex>
#include <type_traits>
#include <utility>

namespace numerical::detail {

namespace {

void by_tiles(const product_operands<double>& p)
{
    if (is_vector_product(p))
        return multiply_vector(p);
    using form = void (*)(const product_operands<double>&);
    choose<form>(gemm_path_current(), gemm_packed<vector_tile_kernel<double>>,
                 gemm_packed<avx2_tile_kernel>, gemm_packed<avx512_tile_kernel>)(p);
}

void by_tiles(const product_operands<complex>& p)
{
    if (gemm_path_current() == portable_path)
        gemm_packed<vector_tile_kernel<complex>>(p);
    else
        gemm_split(p);
}

} // namespace

template <class T>
void any_product(const product_operands<T>& p)
{
    if (summed_by_tiles(p.m, p.n, p.k))
        by_tiles(p);
    else
        multiply_rows(p);
}

void product_in_order(summation order, const product_operands<double>& p)
{
    if (order == summation::by_tiles)
        by_tiles(p);
    else
        multiply_rows(p);
}

template void any_product(const product_operands<double>&);
template void any_product(const product_operands<complex>&);

template <class T>
void gemm(std::size_t m, std::size_t n, std::size_t k, const T* a, std::size_t lda, const T* b,
          std::size_t ldb, T* c, std::size_t ldc)
{
    any_product<T>(
        {.m = m, .n = n, .k = k, .a = a, .lda = lda, .b = b, .ldb = ldb, .c = c, .ldc = ldc});
}

template <class T>
void gemm_new(std::size_t m, std::size_t n, std::size_t k, const T* a, std::size_t lda, const T* b,
              std::size_t ldb, T* c, std::size_t ldc)
{
    any_product<T>({.m = m,
                    .n = n,
                    .k = k,
                    .a = a,
                    .lda = lda,
                    .b = b,
                    .ldb = ldb,
                    .c = c,
                    .ldc = ldc,
                    .into = into_c::store});
}

void gemm_new_by_columns(std::size_t m, std::size_t n, std::size_t k, const double* a,
                         std::size_t lda, const double* b, std::size_t ldb, double* c,
                         std::size_t ldc)
{
    by_tiles({.m = m,
              .n = n,
              .k = k,
              .a = a,
              .lda = lda,
              .b = b,
              .ldb = ldb,
              .c = c,
              .ldc = ldc,
              .into = into_c::store,
              .b_order = order_of_b::by_columns});
}

namespace {

template <class Place>
void batch_by_tiles(std::size_t batches, const product_operands<double>& first,
                    const batch_steps& steps, const Place& place)
{
    using form =
        void (*)(std::size_t, const product_operands<double>&, const batch_steps&, const Place&);
    choose<form>(gemm_path_current(), gemm_packed_batch<vector_tile_kernel<double>>,
                 gemm_packed_batch<avx2_tile_kernel>,
                 gemm_packed_batch<avx512_tile_kernel>)(batches, first, steps, place);
}

// place(i, multiply) calls multiply(c, next) as for gemm_packed_batch.
template <class T, class Place>
void multiply_batch(const batch_sizes& sizes, const batch_steps& steps, const T* a, const T* b,
                    const Place& place)
{
    const auto [batches, m, n, k] = sizes;
    const product_operands<T> first{.m = m,
                                    .n = n,
                                    .k = k,
                                    .a = a,
                                    .lda = k,
                                    .b = b,
                                    .ldb = n,
                                    .c = nullptr,
                                    .ldc = n,
                                    .into = into_c::store};
    const bool with_vector = is_vector_product(first);
    if constexpr (std::is_same_v<T, double>)
        if (summed_by_tiles(m, n, k) && !with_vector)
            return batch_by_tiles(batches, first, steps, place);
    const auto multiply_one = [&](std::size_t i) {
        place(i, [&](T* c, const T*) { any_product(first.later(i, steps, c)); });
    };
    parallel_for(batches, m * n * k / (with_vector ? products_per_unit : 16), multiply_one);
}

batch_steps dense_steps(const batch_sizes& sizes)
{
    return {sizes.m * sizes.k, sizes.k * sizes.n};
}

} // namespace

template <class T>
void gemm_batch_by_steps(const batch_sizes& sizes, const batch_steps& steps, const T* a, const T* b,
                         T* c)
{
    const std::size_t step = sizes.m * sizes.n;
    multiply_batch(sizes, steps, a, b, [=](std::size_t i, const auto& multiply) {
        multiply(c + i * step, c + (i + 1) * step);
    });
}

template <class T>
void gemm_batch(const batch_sizes& sizes, const T* a, const T* b, T* c)
{
    gemm_batch_by_steps(sizes, dense_steps(sizes), a, b, c);
}

template <class T>
void gemm_batch_transposed(const batch_sizes& sizes, const T* a, const T* b, T* c)
{
    const auto [m, n] = std::pair(sizes.m, sizes.n);
    multiply_batch(sizes, dense_steps(sizes), a, b,
                   [c, m = m, n = n](std::size_t i, const auto& multiply) {
                       thread_scratch<T> product(m * n);
                       T* const transposed = c + i * m * n;
                       multiply(product.data(), transposed);
                       transpose_into<T>({transposed, n, m}, {product.data(), m, n});
                   });
}

template void gemm(std::size_t, std::size_t, std::size_t, const double*, std::size_t, const double*,
                   std::size_t, double*, std::size_t);
template void gemm(std::size_t, std::size_t, std::size_t, const complex*, std::size_t,
                   const complex*, std::size_t, complex*, std::size_t);
template void gemm_new(std::size_t, std::size_t, std::size_t, const double*, std::size_t,
                       const double*, std::size_t, double*, std::size_t);
template void gemm_new(std::size_t, std::size_t, std::size_t, const complex*, std::size_t,
                       const complex*, std::size_t, complex*, std::size_t);
template void gemm_batch_by_steps(const batch_sizes&, const batch_steps&, const double*,
                                  const double*, double*);
template void gemm_batch_by_steps(const batch_sizes&, const batch_steps&, const complex*,
                                  const complex*, complex*);
template void gemm_batch(const batch_sizes&, const double*, const double*, double*);
template void gemm_batch(const batch_sizes&, const complex*, const complex*, complex*);
template void gemm_batch_transposed(const batch_sizes&, const double*, const double*, double*);
template void gemm_batch_transposed(const batch_sizes&, const complex*, const complex*, complex*);

} // namespace numerical::detail

namespace numerical {

template <class T>
matrix<T> operator*(const matrix<T>& a, const matrix<T>& b)
{
    if (a.cols != b.rows)
        throw dimension_error("matrix–matrix product: inner dimensions differ");
    aligned_vector<T> product = detail::uninitialized<T>(detail::checked_mul(a.rows, b.cols));
    if (!product.empty())
        detail::gemm_new(a.rows, b.cols, a.cols, a.data.data(), a.cols, b.data.data(), b.cols,
                         product.data(), b.cols);
    return matrix<T>(a.rows, b.cols, std::move(product));
}

template matrix<double> operator*(const matrix<double>&, const matrix<double>&);
template matrix<std::complex<double>> operator*(const matrix<std::complex<double>>&,
                                                const matrix<std::complex<double>>&);

} // namespace numerical

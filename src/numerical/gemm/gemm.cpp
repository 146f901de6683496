#include "numerical/gemm/gemm.hpp"

#include "numerical/checks.hpp"
#include "numerical/errors.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/storage.hpp"

#include <complex>
#include <utility>

namespace numerical::detail {

template <class T>
void gemm(std::size_t m, std::size_t n, std::size_t k, const T* a, std::size_t lda, const T* b,
          std::size_t ldb, T* c, std::size_t ldc)
{
    const auto multiply_row = [=](std::size_t i) {
        for (std::size_t l = 0; l < k; ++l)
            for (std::size_t j = 0; j < n; ++j)
                c[i * ldc + j] += a[i * lda + l] * b[l * ldb + j];
    };
    parallel_for(m, k * n / 4, multiply_row);
}

template void gemm(std::size_t, std::size_t, std::size_t, const double*, std::size_t,
                   const double*, std::size_t, double*, std::size_t);
template void gemm(std::size_t, std::size_t, std::size_t, const std::complex<double>*, std::size_t,
                   const std::complex<double>*, std::size_t, std::complex<double>*, std::size_t);

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

#include "numerical/gemm/tile_kernels.hpp"

namespace numerical::detail {

// Position after position over all 48 accumulators: each takes a product and a sum, both rounded.
// The complex product is the built-in one, which recovers infinities.
template <class T>
void gemm_kernel(std::size_t kc, const T* a, const T* b, std::size_t ldb,
                 std::array<T, gemm_mr * gemm_nr<T>>& acc)
{
    constexpr std::size_t nr = gemm_nr<T>;
    for (std::size_t p = 0; p < kc; ++p)
        for (std::size_t r = 0; r < gemm_mr; ++r) {
            const T scale = a[p * gemm_mr + r];
            for (std::size_t j = 0; j < nr; ++j)
                acc[r * nr + j] += scale * b[p * ldb + j];
        }
}

template <class T>
void vector_tile_kernel<T>::tile(const tile_operands_of<T>& t)
{
    constexpr std::size_t nr = gemm_nr<T>;
    std::array<T, gemm_mr * nr> acc{};
    if (t.into == into_c::add)
        for (std::size_t r = 0; r < t.rows; ++r)
            for (std::size_t j = 0; j < t.cols; ++j)
                acc[r * nr + j] = t.c[r * t.ldc + j];
    gemm_kernel<T>(t.kc, t.a, t.b, t.ldb, acc);
    for (std::size_t r = 0; r < t.rows; ++r)
        for (std::size_t j = 0; j < t.cols; ++j)
            t.c[r * t.ldc + j] = acc[r * nr + j];
}

template struct vector_tile_kernel<double>;
template struct vector_tile_kernel<std::complex<double>>;
template void gemm_kernel(std::size_t, const double*, const double*, std::size_t,
                          std::array<double, gemm_mr * gemm_nr<double>>&);
template void
gemm_kernel(std::size_t, const std::complex<double>*, const std::complex<double>*, std::size_t,
            std::array<std::complex<double>, gemm_mr * gemm_nr<std::complex<double>>>&);

} // namespace numerical::detail

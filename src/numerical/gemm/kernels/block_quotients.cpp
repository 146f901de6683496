#include "numerical/gemm/kernels/block_quotients.hpp"

#include "numerical/gemm/path.hpp"
#include "numerical/scalar.hpp"

namespace numerical::detail {
namespace {

template <class T>
void plain_divide_by_block(const block_quotients<T>& block, std::size_t n)
{
    for (std::size_t j = 0; j < block.order; ++j)
        for (std::size_t k = 0; k < n * sizeof(T) / sizeof(double); ++k)
            block.minus_w[j][k] = block.signs[k % 2] * block.w[j][k];
    for (std::size_t i = 0; i < block.order; ++i) {
        auto* const l = reinterpret_cast<T*>(block.l[i]);
        for (std::size_t k = 0; k < n; ++k) {
            T sum = 0;
            for (std::size_t j = 0; j < block.order; ++j)
                sum -= block.minus_inverse[i][j] * reinterpret_cast<const T*>(block.w[j])[k];
            l[k] = sum;
        }
    }
}

} // namespace

template <>
void divide_by_block_on(int path, const block_quotients<double>& block, std::size_t n)
{
    choose(path, plain_divide_by_block<double>, avx2_divide_by_block, avx512_divide_by_block)(block,
                                                                                              n);
}

template <>
void divide_by_block_on(int path, const block_quotients<complex>& block, std::size_t n)
{
    choose(path, plain_divide_by_block<complex>, avx2_divide_by_complex_block,
           avx512_divide_by_complex_block)(block, n);
}

} // namespace numerical::detail

#pragma once

// Columns of L = W·D⁻¹ that belong to a block of D of order 1 or 2, in a portable, an AVX2 and an
// AVX-512 form. Declarations only, so the header may be included from any target. Complex data is
// interleaved (real, imaginary).

#include <complex>
#include <cstddef>

namespace numerical::detail {

// T = double or std::complex<double>. Of a Hermitian block of order 1 complex columns are columns
// of doubles.
template <class T>
struct block_quotients
{
    std::size_t order;
    const double* w[2];
    double* l[2];
    double* minus_w[2];    // receive -W, or its negative conjugates
    double signs[2];       // of -W by those of W, of elements at even and at odd places
    T minus_inverse[2][2]; // -D⁻¹: that of column j of W in column i of L is element [i][j]
};

// l[i] = 0 - Σⱼ minus_inverse[i][j]·w[j], j ascending, for n numbers; on AVX paths each term is
// fused, a complex one by its real and then by its imaginary part.
template <class T>
void divide_by_block_on(int path, const block_quotients<T>& block, std::size_t n);

void avx2_divide_by_block(const block_quotients<double>& block, std::size_t n);
void avx512_divide_by_block(const block_quotients<double>& block, std::size_t n);
void avx2_divide_by_complex_block(const block_quotients<std::complex<double>>& block,
                                  std::size_t n);
void avx512_divide_by_complex_block(const block_quotients<std::complex<double>>& block,
                                    std::size_t n);

} // namespace numerical::detail

#pragma once

// Rows of C for products too small or too thin for tiles. Declarations only, so it may be
// included from any target.
//
//     c[j] += sum over l < k of a[l]·b[l·ldb + j],  j < n
//
// or, where it is to be stored, c[j] = 0 and that sum. l ascends for every element, and product and
// sum are each rounded, so the bits are those of the plain loops. A block of the row stays in
// registers over all l.

#include "numerical/gemm/product_operands.hpp"

#include <complex>
#include <cstddef>

namespace numerical::detail {

void avx2_unfused_multiply_rows(const product_operands<double>& p);

// One row by the quick complex product, which can't recover infinities: the row is left as it was
// from the first block in which a NaN came out. The number of columns before it, n where there is
// none.
std::size_t avx2_unfused_multiply_row(std::size_t n, std::size_t k, const std::complex<double>* a,
                                      const std::complex<double>* b, std::size_t ldb,
                                      std::complex<double>* c, into_c into);

} // namespace numerical::detail

#pragma once

// Substitution of one vector with a triangle that fits in cache, in an AVX2 and an AVX-512 form.
// Declarations only, so it may be included from any target. The stride is in elements.
//
// Eight unknowns at a time, so that one pass over their rows serves all of them and only the small
// triangle on the diagonal is a chain of single operations: 28 fused multiply-adds and, unless the
// diagonal is ones, eight divisions, during which a processor that executes out of order runs ahead
// into the next rows. The unknowns that came last are used last for that.
//
// Every step is fused. Its order depends on the form and on n, never on the alignment: an element
// loses the dot of its row with the other groups' unknowns, which is summed by lanes, and then the
// products with those of its own group one by one; transposed, one product after the other.

#include <cstddef>

namespace numerical::detail {

enum class vector_triangle { lower, unit_lower, upper, unit_upper };

// x := M⁻¹·x for that triangle M of the n × n array at `m`.
void avx2_substitute(vector_triangle of, double* x, const double* m, std::size_t stride,
                     std::size_t n);
void avx512_substitute(vector_triangle of, double* x, const double* m, std::size_t stride,
                       std::size_t n);

// xᵀ := xᵀ·M⁻¹.
void avx2_substitute_transposed(vector_triangle of, double* x, const double* m, std::size_t stride,
                                std::size_t n);
void avx512_substitute_transposed(vector_triangle of, double* x, const double* m,
                                  std::size_t stride, std::size_t n);

// y[i] -= sum over j < n of rows[i·stride + j]·x[j] for i < count, summed as above. n is a multiple
// of eight.
void avx2_subtract_dots(double* y, const double* rows, std::size_t stride, std::size_t count,
                        const double* x, std::size_t n);
void avx512_subtract_dots(double* y, const double* rows, std::size_t stride, std::size_t count,
                          const double* x, std::size_t n);

} // namespace numerical::detail

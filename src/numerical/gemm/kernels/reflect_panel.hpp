#pragma once

// One step of a complex panel that is stored by rows. Its columns, each of whose sums is in order,
// are the elements of a vector, and one pass applies a reflector and forms the dots with the next.

#include <complex>
#include <cstddef>

namespace numerical::detail {

// What a pass does to each of `count` rows y of `width` complex numbers, i ascending:
//
//     y -= f·u[i]               two fused steps, the products with Re f first
//     sums += y·conj(v[i])      each product and each sum rounded, from zero
//     next[i] = y[next_column]
//
// All arrays are pairs of doubles, except f, which holds its real parts r as (r, r) and its
// imaginary parts s as (-s, s). The width is a multiple of complex_panel_unit, and the next column
// is in one of the first two vectors.
struct panel_pass
{
    double* rows;
    std::size_t stride;
    std::size_t width;
    std::size_t count;
    const double* f_real;
    const double* f_imag;
    const double* u;
    const double* v;
    double* sums;
    std::size_t next_column;
    double* next;
};

constexpr std::size_t complex_panel_unit = 4;

void avx2_reflect_panel(const panel_pass& pass);
void avx512_reflect_panel(const panel_pass& pass);

// The same by plain loops over std::complex, with Annex G products, where the vector forms use the
// textbook formula: they may differ where a sum is NaN.
void reflect_panel(const panel_pass& pass);

// The kernel of the current path.
void reflect_panel_on(int path, const panel_pass& pass);

} // namespace numerical::detail

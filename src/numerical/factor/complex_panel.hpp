#pragma once

// The step of a complex panel that is held by rows: its columns, whose sums must each stay in
// order, lie side by side in a vector, and one pass applies a reflector and takes the dots with the
// next.

#include <complex>
#include <cstddef>

namespace numerical::detail {

// What a pass does to each of `count` rows y of `width` complex numbers, i ascending:
//
//     y -= f·u[i]               two fused steps, the products with Re f first
//     sums += y·conj(v[i])      each product and each sum rounded, from zero
//     next[i] = y[next_column]
//
// All but the counts are in doubles, two to a number, but f, whose real parts r stand as (r, r) and
// whose imaginary parts s as (-s, s). The width is a multiple of complex_panel_unit and the next
// column one of the first two vectors'.
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

// The same by plain loops over std::complex, whose products are full ones (C99 Annex G) where the
// vectors' are quick: they may differ where a sum comes out NaN.
void reflect_panel(const panel_pass& pass);

// The current path's.
void reflect_panel_on(int path, const panel_pass& pass);

} // namespace numerical::detail

#pragma once

// The chase of one bulge: a step of the implicit QR iteration with two shifts (Francis 1961;
// Watkins 2007). Both element types take two shifts at a time; a reflector of three elements costs
// less than two rotations, and half as many of them wait for each other.

#include "numerical/nonsymmetric/schur_views.hpp"
#include "numerical/scalar.hpp"

#include <cstddef>

namespace numerical::detail {

// |Re z| + |Im z|, a modulus that is good enough to compare with.
inline double rough_modulus(double x)
{
    return std::abs(x);
}

inline double rough_modulus(const complex& z)
{
    return std::abs(z.real()) + std::abs(z.imag());
}

// Two shifts; of a real matrix a conjugate pair or two real ones.
struct shift_pair
{
    complex first;
    complex second;
};

// The x[0..3) whose reflector begins a step: a multiple of the first column of (H - s₁)(H - s₂),
// where H is the block from row and column `top` on, of order 2 at least.
template <class T>
void bulge_start(block_view<const T> h, std::size_t top, std::size_t order, const shift_pair& s,
                 T (&x)[3]);

// The reflector that maps x to β·e₁, and β. A zero tail gives the identity.
template <class T>
bulge_reflector<T> reflector_of_three(const T (&x)[3], T& beta);

// The similarity by a reflector of rows and columns [k, k + count), count 2 or 3. Rows of h are
// multiplied in columns [col_from, reach.col_to), columns in rows [reach.row_from, row_to), rows of
// z in columns [z_from, z_to).
struct reflector_span
{
    std::size_t k;
    std::size_t count;
    std::size_t col_from;
    std::size_t row_to;
};

template <class T>
void apply_reflector(const bulge_kernels<T>& kernels, const schur_views<T>& s,
                     const reflector_span& span, const similarity_reach& reach,
                     const bulge_reflector<T>& h);

// The diagonal block [top, end) and the row k that a bulge of it has come to.
struct bulge_place
{
    std::size_t top;
    std::size_t end;
    std::size_t k;
};

// Moves a bulge down by one row: forms the reflector of rows [k, k + 3), or of the last two, from
// the shifts if k == top, otherwise from column k - 1, and applies it. Returns the reflector.
template <class T>
bulge_reflector<T> move_bulge(const bulge_kernels<T>& kernels, const schur_views<T>& s,
                              const bulge_place& at, const shift_pair& shifts,
                              const similarity_reach& reach);

} // namespace numerical::detail

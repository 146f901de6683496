#pragma once

// Reflectors of three elements, of which the chase of a bulge consists, in three forms each:
// portable, avx2_ and avx512_. Declarations only, so it may be included from any target. Strides
// and counts are in elements; complex data is interleaved (real, imaginary).
//
// H = I - tau·w·wᴴ with w = (1, w1, w2) and a real tau is Hermitian and its own inverse. It equals
// I - 2·v·vᴴ with the unit vector v = w·sqrt(tau/2), but takes one product less for each element.
// As an array of doubles a reflector is {tau, w1, w2}.

#include <complex>
#include <cstddef>

namespace numerical::detail {

template <class T>
struct bulge_reflector
{
    double tau; // 0 for the identity
    T w1;
    T w2;
};

template <class T>
const double* parts_of(const bulge_reflector<T>& h)
{
    static_assert(sizeof(h) == sizeof(double) + 2 * sizeof(T));
    return reinterpret_cast<const double*>(&h);
}

// The number of elements that a row must have beyond its last column in use, since the kernels work
// on whole vectors.
template <class T>
constexpr std::size_t row_padding = 8 * sizeof(double) / sizeof(T);

// Three rows r := H·r from `rows` on: t = tau·(r0 + conj(w1)·r1 + conj(w2)·r2), then r0 - t,
// r1 - w1·t and r2 - w2·t; each product is fused with the sum that follows it, except in the
// portable form. n is rounded up to whole vectors of at most row_padding elements.
template <class T>
void reflect_bulge_rows(T* rows, std::size_t stride, std::size_t n, const bulge_reflector<T>& h);
void avx2_reflect_bulge_rows(double* rows, std::size_t stride, std::size_t n, const double* h);
void avx512_reflect_bulge_rows(double* rows, std::size_t stride, std::size_t n, const double* h);
void avx2_reflect_complex_bulge_rows(double* rows, std::size_t stride, std::size_t n,
                                     const double* h);
void avx512_reflect_complex_bulge_rows(double* rows, std::size_t stride, std::size_t n,
                                       const double* h);

// x := x·H for the first three elements of each of `count` rows. The terms x[i]·H(i, j) are added
// in ascending order, fused except in the portable form. A real row must have a fourth element,
// which is not changed. The vector forms take real rows last to first: a bulge's next reflector
// multiplies the last rows by vectors that overlap what is stored here, which has reached L1 by
// then.
template <class T>
void reflect_bulge_columns(T* rows, std::size_t stride, std::size_t count,
                           const bulge_reflector<T>& h);
void avx2_reflect_bulge_columns(double* rows, std::size_t stride, std::size_t count,
                                const double* h);
void avx512_reflect_bulge_columns(double* rows, std::size_t stride, std::size_t count,
                                  const double* h);
void avx2_reflect_complex_bulge_columns(double* rows, std::size_t stride, std::size_t count,
                                        const double* h);
void avx512_reflect_complex_bulge_columns(double* rows, std::size_t stride, std::size_t count,
                                          const double* h);

// The same for the first six elements by two reflectors, `ahead` for the last three of them. To
// each element x[j] the terms x[i]·(H - I)(i, j) are added in ascending order, fused. A row must
// have an eighth element; the seventh and the eighth are not changed.
void avx512_reflect_two_bulges_columns(double* rows, std::size_t stride, std::size_t count,
                                       const double* behind, const double* ahead);

// The forms of one path. A caller asks once, above its loops.
template <class T>
struct bulge_kernels
{
    int path;

    void rows(T* first, std::size_t stride, std::size_t n, const bulge_reflector<T>& h) const;
    void columns(T* first, std::size_t stride, std::size_t count,
                 const bulge_reflector<T>& h) const;

    // The first six elements of each row by the reflectors of two bulges, one after the other or
    // together. A row has the padding of row_padding.
    void columns_of_two(T* first, std::size_t stride, std::size_t count,
                        const bulge_reflector<T>& behind, const bulge_reflector<T>& ahead) const;
};

} // namespace numerical::detail

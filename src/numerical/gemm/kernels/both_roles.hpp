#pragma once

// Rows of a matrix in both their roles, A·x and wᵀ·A from one reading of A. Declarations only, so
// the header may be included from any target. The order of a sum depends on the form and on n,
// never on the alignment.

#include <complex>
#include <cstddef>

namespace numerical::detail {

// What a pass over `count` rows of n elements, `stride` apart, computes, without conjugation:
//
//     y[i] = sum over j of rows[i·stride + j]·x[j]
//     u[j] += sum over i of w[i]·rows[i·stride + j]
//
// Real sums u[j] ascend from what u holds. In the vector forms of complex ones so do the products
// with the real parts of some rows' w; those with the imaginary parts have a sum of their own,
// which is added after these rows.
template <class T>
struct both_roles_pass
{
    const T* rows;
    std::size_t stride;
    std::size_t count;
    std::size_t n;
    const T* x;
    T* y;
    const T* w;
    T* u;
};

void avx2_both_roles(const both_roles_pass<double>& pass);
void avx512_both_roles(const both_roles_pass<double>& pass);
void avx2_complex_both_roles(const both_roles_pass<std::complex<double>>& pass);
void avx512_complex_both_roles(const both_roles_pass<std::complex<double>>& pass);

// By path; the portable form is plain ascending loops of products by the textbook formula.
// T = double or std::complex<double>.
template <class T>
void both_roles_on(int path, const both_roles_pass<T>& pass);

} // namespace numerical::detail

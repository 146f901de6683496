#pragma once

// Recognition of Hermitian matrices, and their functions by eigenvectors, f(A) = V·diag(f(λ))·Vᴴ. T
// = double or std::complex<double>.

#include "numerical/aligned_vector.hpp"
#include "numerical/matrix.hpp"
#include "numerical/strided/block_view.hpp"

#include <complex>
#include <cstddef>

namespace numerical::detail {

// Whether A equals Aᴴ to the bit.
template <class T>
bool is_hermitian(const matrix<T>& a);

// Whether A equals -Aᴴ to the bit.
bool is_antihermitian(const matrix<std::complex<double>>& a);

// X := (X + Xᴴ)/2.
template <class T>
void make_hermitian(matrix<T>& x);

template <class T>
struct hermitian_spectrum
{
    aligned_vector<double> values; // ascending
    matrix<T> vectors;

    // Sets eigenvalues within n·ε·max|λ| of zero to zero: rounding accounts for them.
    void clear_rounding();
};

// Throws convergence_error.
template <class T>
hermitian_spectrum<T> spectrum_of_hermitian(matrix<T> a);

// V·diag(f)·Vᴴ, Hermitian to the bit.
template <class T>
matrix<T> spectral_sum(const matrix<T>& vectors, const aligned_vector<double>& f);

// The same for the rows of B = Vᴴ, not all of them perhaps: Bᴴ·diag(f)·B. One triangle is formed,
// in blocks of columns.
template <class T>
matrix<T> spectral_sum_of_rows(block_view<const T> b, const double* f);

constexpr std::size_t spectral_block = 128; // columns of a block

} // namespace numerical::detail

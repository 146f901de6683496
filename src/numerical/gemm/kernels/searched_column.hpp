#pragma once

// A column of a matrix that is brought up to date and searched for a pivot, in a portable, an AVX2
// and an AVX-512 form. Declarations only, so the header may be included from any target. Complex
// data passed as double* is interleaved (real, imaginary); counts and strides are in numbers.

#include <complex>
#include <cstddef>

namespace numerical::detail {

// T = double or std::complex<double>.
template <class T>
struct column_update
{
    T* column;
    std::size_t n;
    const T* left;     // which rows are left: all bits of a number are set, or none
    const T* searched; // and which of those are searched
    const T* coefficients;
    const T* columns; // whose multiples the column loses, `stride` apart
    std::size_t stride;
    std::size_t count;
};

// Of a complex column the square of the modulus.
struct largest_in_column
{
    double size;
    std::size_t place;
};

// column[i] -= Σ coefficients[t]·columns[t·stride + i], t ascending, for the rows that are left;
// the others become zero. Returns the first of the greatest magnitudes among those searched: NaNs
// are passed over, and where there is nothing but zeros and NaNs the place is without meaning.
// Fused on AVX paths, a complex term by its real and then by its imaginary part.
template <class T>
largest_in_column update_and_search_on(int path, const column_update<T>& update);

largest_in_column avx2_update_and_search(const column_update<double>& update);
largest_in_column avx512_update_and_search(const column_update<double>& update);
largest_in_column avx2_update_and_search_complex(const column_update<std::complex<double>>& update);
largest_in_column
avx512_update_and_search_complex(const column_update<std::complex<double>>& update);

} // namespace numerical::detail

#pragma once

// Exact scaling by powers of two, for problems whose numbers lie near an end of the range: there
// sums overflow although the solution does not, and what is computed of subnormal numbers has few
// digits. T = double or std::complex<double>.

#include "numerical/aligned_vector.hpp"
#include "numerical/matrix.hpp"
#include "numerical/strided/block_view.hpp"

#include <cstddef>
#include <vector>

namespace numerical::detail {

// x[i] *= 2^exponent, exact short of overflow and underflow; the power itself need not be a double.
template <class T>
void multiply_by_power(T* x, std::size_t n, int exponent);

// a·2^exponent, by multiply_by_power.
template <class T>
matrix<T> times_power(matrix<T> a, int exponent);

// The n elements at x times 2^exponent, on threads.
template <class T>
aligned_vector<T> copy_times_power(const T* x, std::size_t n, int exponent);

// Aᴴ·2^exponent, on threads.
template <class T>
matrix<T> adjoint_times_power(block_view<const T> a, int exponent);

// The largest magnitude of a real or imaginary part, 0 for no elements. NaN doesn't enter.
template <class T>
double largest_part(const aligned_vector<T>& a);

// Elements with this largest part are to be taken times 2 to the power that is returned: 0 unless
// they come close to an end of the range. No digit changes by it.
int guard_exponent(double largest);

// The guards of the columns of a row-major array, each a right-hand side by itself.
template <class T>
std::vector<int> column_guards(const aligned_vector<T>& a, std::size_t columns);

// Column c of the row-major array times 2^exponents[c].
template <class T>
void multiply_columns(aligned_vector<T>& a, const std::vector<int>& exponents);

// exponent - guards[c] for each c: takes a solution back from the guards of its right-hand sides
// and from another scaling in one step, since one after the other they might leave the range on the
// way.
std::vector<int> less_guards(int exponent, std::vector<int> guards);

} // namespace numerical::detail

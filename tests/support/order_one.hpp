#pragma once

#include "numerical/matrix.hpp"
#include "numerical/scalar.hpp"

namespace test {

// Whether a reduction may have the matrix as it is: those near the limits of the range are scaled
// before.
template <class T>
bool is_of_order_one(const numerical::matrix<T>& a)
{
    const double largest = numerical::detail::largest_modulus(a.data.data(), a.data.size());
    return largest < 100 && (largest == 0 || largest > 1e-9);
}

} // namespace test

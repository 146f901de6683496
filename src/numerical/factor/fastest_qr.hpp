#pragma once

// QR by the fastest method for the shape, with other last digits than householder_qr.

#include "numerical/aligned_vector.hpp"
#include "numerical/factor/qr.hpp"

#include <cstddef>

namespace numerical::detail {

// The thin factors: of a tall matrix by tall_qr, of others by the fastest blocks of reflectors.
template <class T>
thin_qr<T> fastest_qr(aligned_vector<T> a, std::size_t rows, std::size_t columns);

// The same R, without Q.
template <class T>
aligned_vector<T> fastest_triangle(aligned_vector<T> a, std::size_t rows, std::size_t columns);

} // namespace numerical::detail

#pragma once

// QR by the fastest method for the shape, whose last digits may be others than householder_qr's.

#include "numerical/factor/qr.hpp"

#include <cstddef>
#include <vector>

namespace numerical::detail {

// The thin factors: of a tall matrix by tall_qr, of others by householder_qr.
template <class T>
thin_qr<T> fastest_qr(std::vector<T> a, std::size_t rows, std::size_t columns);

} // namespace numerical::detail

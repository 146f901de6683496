#pragma once

#include "numerical/aligned_vector.hpp"

namespace numerical::detail {

// The singular value decomposition of a square matrix: values descending, vectors in the columns of
// row-major matrices.
template <class T>
struct square_svd
{
    aligned_vector<double> values;
    aligned_vector<T> u;
    aligned_vector<T> v;
};

} // namespace numerical::detail

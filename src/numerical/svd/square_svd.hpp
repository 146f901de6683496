#pragma once

#include <vector>

namespace numerical::detail {

// The singular value decomposition of a square matrix: values descending, vectors in the columns of
// row-major matrices.
template <class T>
struct square_svd
{
    std::vector<double> values;
    std::vector<T> u;
    std::vector<T> v;
};

} // namespace numerical::detail

#pragma once

// The N-dimensional array that Python sees: dense, contiguous, row-major. A tensor is never written
// to after its construction, so that its buffer may be lent to readers, many threads may read it at
// once, and tensors of the same elements in the same order may share one buffer.

#include "numerical/element_store.hpp"
#include "numerical/matrix.hpp"
#include "numerical/shape_list.hpp"

#include <complex>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <variant>
#include <vector>

namespace numerical {

template <class T>
struct tensor
{
    shape_list shape;   // extent of each axis; empty for rank 0
    shape_list strides; // in elements, derived from the shape
    element_store<T> data;

    // Takes both; dimension_error "dimension product overflows std::size_t" or "tensor: data size
    // does not match the shape". A rank-0 tensor holds one element.
    tensor(shape_list extents, element_store<T> elements)
        : shape(std::move(extents)), data(std::move(elements))
    {
        finalize();
    }

    // rows × cols, the elements moved.
    explicit tensor(matrix<T>&& a);

    // Rank 1, the elements copied.
    explicit tensor(const vector<T>& a);

private:
    void finalize();
};

// What a Python Tensor holds: index 0 is the dtype float64, index 1 complex128.
using any_tensor = std::variant<tensor<double>, tensor<std::complex<double>>>;

// Places of elements, the results of sorting and searching. They are no any_tensor, as they serve
// for counting and indexing and not for the engine's arithmetic.
using positions = tensor<std::ptrdiff_t>;

// Boolean values, each a byte of 1 or 0, the results of comparisons. For arithmetic they are
// converted to a float64 tensor of ones and zeros (elementwise/masks.hpp).
using booleans = tensor<std::uint8_t>;

// The n × n identity.
template <class T>
tensor<T> eye(std::size_t n);

// The same elements in the same order under another shape, copied; dimension_error if the shape
// does not hold as many.
template <class T>
tensor<T> reshape(const tensor<T>& a, shape_list shape);

// The same without a copy: the result shares the elements of `a` (element_store::part).
template <class T>
tensor<T> reshaped_share(const tensor<T>& a, shape_list shape);

// Every sign bit flipped: 0.0 gives -0.0.
template <class T>
tensor<T> operator-(const tensor<T>& a);

} // namespace numerical

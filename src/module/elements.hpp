#pragma once

// Copies of foreign arrays: any strides, any of the element types of typestr.hpp, converted.

#include "module/typestr.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/tensor.hpp"

#include <cstddef>

namespace numerical::boundary {

// An array in another library's memory, which need not be aligned.
struct foreign_array
{
    const unsigned char* data;
    shape_list shape;
    aligned_vector<std::ptrdiff_t> strides; // in bytes, of any sign
    std::size_t count;                      // the product of the extents
    element_type type;
};

// The elements in row-major order as T: double or std::complex<double>, the latter for complex
// items. Integers round to nearest; true is 1. The interpreter lock is released for large arrays,
// unless their bytes are to be swapped.
template <class T>
tensor<T> tensor_from_elements(foreign_array&& from);

} // namespace numerical::boundary

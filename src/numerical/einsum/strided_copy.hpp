#pragma once

// Strided elements gathered into a dense block: transposes, diagonals, any order of axes. Pure data
// movement on the calling thread.

#include "numerical/einsum/loop_axes.hpp"
#include "numerical/tensor.hpp"

#include <complex>
#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace numerical::detail {

// The elements of `from` at the positions of `axes`, in row-major order.
template <class T>
std::vector<T> strided_copy(const T* from, const std::vector<loop_axis<1>>& axes);

// A dense row-major block with axes `from`, rearranged to axes `to`: the distinct labels of `from`
// in any order. A label that occurs twice in `from` gives the diagonal.
template <class T>
std::vector<T> permuted(std::span<const T> data, const std::string& from, const std::string& to,
                        const label_extents& extents);

// An operand's elements with the axes in a given order; copied only if their order differs.
template <class T>
class ordered_elements
{
public:
    ordered_elements(const labelled<T>& operand, const std::string& wanted,
                     const label_extents& extents)
    {
        if (operand.labels == wanted) {
            first = operand.value.data.data();
            return;
        }
        copy = permuted<T>(operand.value.data, operand.labels, wanted, extents);
        first = copy.data();
    }

    ordered_elements(const ordered_elements&) = delete;
    ordered_elements& operator=(const ordered_elements&) = delete;

    const T* data() const { return first; }

private:
    std::vector<T> copy;
    const T* first;
};

// to[r·to_stride + c] = from[c·from_stride + r] for r < rows, c < cols.
void transpose_block(const double* from, std::size_t from_stride, double* to, std::size_t to_stride,
                     std::size_t rows, std::size_t cols);
void transpose_block(const std::complex<double>* from, std::size_t from_stride,
                     std::complex<double>* to, std::size_t to_stride, std::size_t rows,
                     std::size_t cols);

} // namespace numerical::detail

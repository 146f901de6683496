#pragma once

// Operands with their labelled axes in another order.

#include "numerical/aligned_vector.hpp"
#include "numerical/einsum/subscripts.hpp"
#include "numerical/tensor.hpp"

#include <span>
#include <string>

namespace numerical::detail {

// A dense row-major block with axes `from`, rearranged to axes `to`: the distinct labels of `from`
// in any order. A label that occurs twice in `from` gives the diagonal.
template <class T>
aligned_vector<T> permuted(std::span<const T> data, const std::string& from, const std::string& to,
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
    aligned_vector<T> copy;
    const T* first;
};

} // namespace numerical::detail

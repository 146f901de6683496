#include "numerical/einsum/outer_product.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/einsum/loop_axes.hpp"
#include "numerical/einsum/permuted.hpp"
#include "numerical/storage.hpp"

#include <complex>
#include <utility>

namespace numerical::detail {
namespace {

// out[i] = 0 + a[i·a_step]·b[i·b_step], a sum of one term that begins at 0; the steps are 0 or 1.
template <std::size_t a_step, std::size_t b_step, class T>
void multiply_stretch(const T* a, const T* b, T* out, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i)
        out[i] = T(0) + a[i * a_step] * b[i * b_step];
}

template <class T>
void multiply_axis(const T* a, const T* b, const strided_axis<2>& axis, T* out)
{
    const auto [a_step, b_step] = axis.stride;
    const auto multiply = a_step == 0   ? multiply_stretch<0, 1, T>
                          : b_step == 0 ? multiply_stretch<1, 0, T>
                                        : multiply_stretch<1, 1, T>;
    multiply(a, b, out, axis.extent);
}

// The labels in the output's order.
std::string in_output_order(const std::string& labels, const std::string& output)
{
    const label_set set(labels);
    std::string ordered;
    for (const char label : output)
        if (set.contains(label))
            ordered += label;
    return ordered;
}

} // namespace

template <class T>
tensor<T> outer_product(const labelled<T>& a, const labelled<T>& b, const std::string& output,
                        const label_extents& extents)
{
    // In the output's order an operand's elements are read in ascending order, at last
    // contiguously.
    const std::string a_labels = in_output_order(a.labels, output);
    const std::string b_labels = in_output_order(b.labels, output);
    const ordered_elements<T> left(a, a_labels, extents);
    const ordered_elements<T> right(b, b_labels, extents);

    aligned_vector<T> result = uninitialized<T>(extent_product(output, extents));
    if (!result.empty()) {
        auto axes = loop_axes<2>(
            output, {label_strides(a_labels, extents), label_strides(b_labels, extents)}, extents);
        if (axes.empty())
            axes.push_back({1, {}});
        const std::span<const strided_axis<2>> all(axes);
        T* out = result.data();
        for_each_position<2>(all.first(all.size() - 1), {}, [&](const offsets<2>& at) {
            multiply_axis(left.data() + at[0], right.data() + at[1], all.back(), out);
            out += all.back().extent;
        });
    }
    return tensor<T>(extents_of(output, extents), std::move(result));
}

template tensor<double> outer_product(const labelled<double>&, const labelled<double>&,
                                      const std::string&, const label_extents&);
template tensor<std::complex<double>> outer_product(const labelled<std::complex<double>>&,
                                                    const labelled<std::complex<double>>&,
                                                    const std::string&, const label_extents&);

} // namespace numerical::detail

#include "numerical/strided/broadcast.hpp"

#include "numerical/checks.hpp"
#include "numerical/errors.hpp"

#include <algorithm>
#include <cmath>
#include <complex>

namespace numerical {

shape_list broadcast_shape(const shape_list& a, const shape_list& b)
{
    const shape_list& longer = a.size() < b.size() ? b : a;
    const shape_list& shorter = a.size() < b.size() ? a : b;
    shape_list shape = longer;
    const std::size_t missing = longer.size() - shorter.size();
    for (std::size_t i = 0; i < shorter.size(); ++i) {
        std::size_t& extent = shape[missing + i];
        if (extent == 1)
            extent = shorter[i];
        else if (shorter[i] != 1 && shorter[i] != extent)
            throw dimension_error("operands could not be broadcast together with shapes " +
                                  detail::shape_text(a) + " " + detail::shape_text(b));
    }
    return shape;
}

namespace detail {

shape_list broadcast_strides(const shape_list& shape, std::size_t rank)
{
    shape_list strides(rank, 0);
    std::size_t elements = 1;
    for (std::size_t i = 1; i <= shape.size(); ++i) {
        const std::size_t extent = shape[shape.size() - i];
        if (extent != 1)
            strides[rank - i] = elements;
        elements *= extent;
    }
    return strides;
}

broadcast_walk::broadcast_walk(const shape_list& a, const shape_list& b)
    : shape(broadcast_shape(a, b)), count(element_count(shape)), axes(shape.size() + 1)
{
    const shape_list left = broadcast_strides(a, shape.size());
    const shape_list right = broadcast_strides(b, shape.size());
    for (std::size_t i = 0; i < shape.size(); ++i)
        append_axis<2>(axes, {shape[i], {left[i], right[i]}});
    if (axes.empty())
        axes.push_back({1, {0, 0}});
}

row_form broadcast_walk::form() const
{
    const auto [left, right] = axes.back().stride;
    if (left == right)
        return row_form::both;
    return right == 0 ? row_form::left : row_form::right;
}

} // namespace detail

template <class T>
tensor<T> pow(const tensor<T>& a, const tensor<T>& b)
{
    return broadcast_apply(a, b, [](const T& x, const T& y) { return std::pow(x, y); });
}

template tensor<double> pow(const tensor<double>&, const tensor<double>&);
template tensor<std::complex<double>> pow(const tensor<std::complex<double>>&,
                                          const tensor<std::complex<double>>&);

} // namespace numerical

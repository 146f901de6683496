#pragma once

// Einstein summation by one loop nest over all labels in their order, the last one fastest: the
// oracle of the einsum tests, exact on small integers, and to the bit where the order of an
// element's sum is fixed.

#include "matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "numerical/tensor.hpp"

#include <map>
#include <string>
#include <vector>

namespace test {

using extent_map = std::map<char, std::size_t>;

struct einsum_case
{
    std::vector<std::string> inputs;
    std::string output;

    std::string spec() const
    {
        std::string text;
        for (std::size_t i = 0; i < inputs.size(); ++i)
            text += (i == 0 ? "" : ",") + inputs[i];
        return text + "->" + output;
    }
};

inline std::vector<std::size_t> shape_of(const std::string& labels, const extent_map& extents)
{
    std::vector<std::size_t> shape;
    for (const char label : labels)
        shape.push_back(extents.at(label));
    return shape;
}

inline std::size_t position_of(const std::string& labels, const extent_map& extents,
                               const extent_map& index)
{
    std::size_t position = 0;
    for (const char label : labels)
        position = position * extents.at(label) + index.at(label);
    return position;
}

template <class T>
std::vector<numerical::tensor<T>> integer_operands(const einsum_case& of, const extent_map& extents,
                                                   unsigned seed, int limit = 5)
{
    std::vector<numerical::tensor<T>> operands;
    for (const std::string& labels : of.inputs) {
        std::size_t size = 1;
        for (const std::size_t extent : shape_of(labels, extents))
            size *= extent;
        operands.emplace_back(shape_of(labels, extents), integer_vector<T>(size, seed++, limit));
    }
    return operands;
}

template <class T>
std::vector<const numerical::tensor<T>*>
pointers_to(const std::vector<numerical::tensor<T>>& operands)
{
    std::vector<const numerical::tensor<T>*> pointers;
    for (const auto& operand : operands)
        pointers.push_back(&operand);
    return pointers;
}

// The products are multiplied out by parts for complex elements, so that nothing but the values of
// small integers enters.
inline double times(double a, double b)
{
    return a * b;
}

inline std::complex<double> times(std::complex<double> a, std::complex<double> b)
{
    return {a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real()};
}

template <class T>
numerical::tensor<T> reference_einsum(const einsum_case& of,
                                      const std::vector<numerical::tensor<T>>& operands)
{
    extent_map extents;
    for (std::size_t i = 0; i < operands.size(); ++i)
        for (std::size_t axis = 0; axis < of.inputs[i].size(); ++axis)
            extents[of.inputs[i][axis]] = operands[i].shape[axis];
    std::size_t positions = 1;
    extent_map index;
    for (const auto& [label, extent] : extents) {
        positions *= extent;
        index[label] = 0;
    }
    std::size_t size = 1;
    for (const std::size_t extent : shape_of(of.output, extents))
        size *= extent;
    numerical::aligned_vector<T> out(size);
    for (; positions > 0; --positions) {
        T product = 1;
        for (std::size_t i = 0; i < operands.size(); ++i)
            product = times(product, operands[i].data[position_of(of.inputs[i], extents, index)]);
        out[position_of(of.output, extents, index)] += product;
        for (auto at = index.rbegin(); at != index.rend(); ++at) {
            if (++at->second < extents[at->first])
                break;
            at->second = 0;
        }
    }
    return {shape_of(of.output, extents), out};
}

} // namespace test

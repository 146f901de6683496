#include "numerical/einsum/subscripts.hpp"

#include "numerical/checks.hpp"
#include "numerical/errors.hpp"

#include <complex>

namespace numerical::detail {
namespace {

// The white space of the C locale.
constexpr bool is_space(char c)
{
    return c == ' ' || ('\t' <= c && c <= '\r');
}

std::string without_spaces(const std::string& spec)
{
    std::string text;
    text.reserve(spec.size());
    for (const char c : spec)
        if (!is_space(c))
            text += c;
    return text;
}

void insert_extents(const std::string& labels, const shape_list& shape, label_extents& extents)
{
    if (shape.size() != labels.size())
        throw einsum_error("einsum: operand rank does not match its subscripts");
    for (std::size_t axis = 0; axis < shape.size(); ++axis)
        if (!extents.insert(labels[axis], shape[axis]))
            throw einsum_error("einsum: inconsistent extent for a repeated label");
}

// The labels of the output, which must be letters of the inputs, each once.
label_set checked_output(const std::string& output, label_set known)
{
    label_set seen;
    for (const char label : output) {
        if (!is_label(label))
            throw einsum_error("einsum: invalid character in output subscripts");
        if (!known.contains(label))
            throw einsum_error("einsum: output label not present in any input");
        if (!seen.insert(label))
            throw einsum_error("einsum: repeated output label");
    }
    return seen;
}

} // namespace

shape_list extents_of(std::string_view labels, const label_extents& extents)
{
    shape_list shape;
    shape.reserve(labels.size());
    for (const char label : labels)
        shape.push_back(extents[label]);
    return shape;
}

std::size_t extent_product(std::string_view labels, const label_extents& extents)
{
    std::size_t product = 1;
    for (const char label : labels)
        product = checked_mul(product, extents[label]);
    return product;
}

std::vector<std::string> split_inputs(const std::string& text)
{
    std::vector<std::string> inputs;
    inputs.reserve(2); // a pair is the common case
    inputs.emplace_back();
    for (const char c : text) {
        if (c == ',')
            inputs.emplace_back();
        else if (is_label(c))
            inputs.back() += c;
        else
            throw einsum_error("einsum: invalid character in input subscripts");
    }
    return inputs;
}

template <class T>
subscripts parse_subscripts(const std::string& spec, const std::vector<const tensor<T>*>& operands)
{
    const std::string text = without_spaces(spec);
    const std::size_t arrow = text.find("->");
    if (arrow == std::string::npos)
        throw einsum_error("einsum: spec must contain '->'");

    subscripts parsed{.inputs = split_inputs(text.substr(0, arrow)),
                      .output = text.substr(arrow + 2),
                      .summed = {},
                      .extents = {}};
    if (operands.size() != parsed.inputs.size())
        throw einsum_error("einsum: number of operands does not match the spec");
    for (std::size_t i = 0; i < operands.size(); ++i)
        insert_extents(parsed.inputs[i], operands[i]->shape, parsed.extents);
    const label_set kept = checked_output(parsed.output, parsed.extents.labels());
    parsed.summed = (parsed.extents.labels() - kept).text();
    return parsed;
}

template subscripts parse_subscripts(const std::string&, const std::vector<const tensor<double>*>&);
template subscripts parse_subscripts(const std::string&,
                                     const std::vector<const tensor<std::complex<double>>*>&);

} // namespace numerical::detail

// The first bytes give the operands' shapes, the others the text. What is refused must have one of
// the listed messages; what is accepted must read as the text without white space, and fit the
// operands.

#include "numerical/aligned_vector.hpp"
#include "numerical/einsum/subscripts.hpp"
#include "numerical/errors.hpp"

#include <cstdint>
#include <cstdlib>
#include <set>

namespace {

using numerical::tensor;
using numerical::detail::subscripts;

const std::set<std::string> messages{"einsum: spec must contain '->'",
                                     "einsum: invalid character in input subscripts",
                                     "einsum: number of operands does not match the spec",
                                     "einsum: operand rank does not match its subscripts",
                                     "einsum: inconsistent extent for a repeated label",
                                     "einsum: invalid character in output subscripts",
                                     "einsum: output label not present in any input",
                                     "einsum: repeated output label"};

void require(bool holds)
{
    if (!holds)
        std::abort();
}

// White space in the sense of the C language's "C" locale.
bool is_space(char c)
{
    return c == ' ' || ('\t' <= c && c <= '\r');
}

// The operands by the high bits of each byte, extents of 1 to 4.
std::vector<tensor<double>> operands_from(const std::uint8_t*& data, const std::uint8_t* end)
{
    std::vector<tensor<double>> operands;
    const std::size_t count = data == end ? 0 : *data++ % 5;
    for (std::size_t i = 0; i < count && data != end; ++i) {
        numerical::shape_list shape;
        std::size_t size = 1;
        for (std::size_t rank = *data++ % 5; rank > 0 && data != end; --rank) {
            shape.push_back(1 + *data++ % 4);
            size *= shape.back();
        }
        operands.emplace_back(shape, aligned_vector<double>(size));
    }
    return operands;
}

void check(const subscripts& made, const std::string& text,
           const std::vector<tensor<double>>& operands)
{
    std::string joined;
    std::set<char> present;
    require(made.inputs.size() == operands.size());
    for (std::size_t i = 0; i < made.inputs.size(); ++i) {
        joined += (i == 0 ? "" : ",") + made.inputs[i];
        require(made.inputs[i].size() == operands[i].shape.size());
        for (std::size_t axis = 0; axis < made.inputs[i].size(); ++axis) {
            present.insert(made.inputs[i][axis]);
            require(made.extents[made.inputs[i][axis]] == operands[i].shape[axis]);
        }
    }
    joined += "->" + made.output;
    std::string plain;
    for (const char c : text)
        if (!is_space(c))
            plain += c;
    require(joined == plain);
    std::set<char> summed = present;
    for (const char label : made.output)
        require(summed.erase(label) == 1);
    require(made.summed == std::string(summed.begin(), summed.end()));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::uint8_t* const end = data + size;
    const std::vector<tensor<double>> operands = operands_from(data, end);
    std::vector<const tensor<double>*> pointers;
    for (const tensor<double>& operand : operands)
        pointers.push_back(&operand);
    const std::string text(data, end);
    try {
        check(numerical::detail::parse_subscripts<double>(text, pointers), text, operands);
    } catch (const numerical::einsum_error& failure) {
        require(messages.count(failure.what()) == 1);
    }
    return 0;
}

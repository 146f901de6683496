#include "numerical/vector_math/functions.hpp"

#include "numerical/counts.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/vector_math/kernels.hpp"

#include <algorithm>

namespace numerical::vector_math {
namespace {

// Elements to an index of the parallel loop, a multiple of every width, and what one of them costs:
// about 1 ns in vectors.
constexpr std::size_t function_block = 2048;
constexpr std::size_t function_work = 2;

// body(first, count) for each function_block.
template <class Body>
void in_function_blocks(std::size_t count, const Body& body)
{
    const std::size_t blocks = detail::ceil_div(count, function_block);
    const auto of_block = [&](std::size_t index) {
        const std::size_t first = index * function_block;
        body(first, std::min(function_block, count - first));
    };
    detail::parallel_for(blocks, function_block * function_work, of_block);
}

template <unary_kernel kernel_set::*member>
void apply_unary(const double* from, double* to, std::size_t count)
{
    const unary_kernel kernel = kernels_in_force().*member;
    in_function_blocks(count, [&](std::size_t first, std::size_t elements) {
        kernel(from + first, to + first, elements);
    });
}

template <binary_kernels kernel_set::*member>
void apply_binary(operand x, operand y, double* to, std::size_t count)
{
    const binary_kernels& kernels = kernels_in_force().*member;
    if (!x.moves && !y.moves) {
        if (count != 0)
            kernels.both(x.data, y.data, to, 1);
        std::fill_n(to, count, count != 0 ? *to : 0.0);
        return;
    }
    const binary_kernel kernel = !y.moves   ? kernels.only_x
                                 : !x.moves ? kernels.only_y
                                            : kernels.both;
    in_function_blocks(count, [&](std::size_t first, std::size_t elements) {
        kernel(x.data + (x.moves ? first : 0), y.data + (y.moves ? first : 0), to + first,
               elements);
    });
}

struct named_unary
{
    std::string_view name;
    unary_function function;
};

struct named_binary
{
    std::string_view name;
    binary_function function;
};

constexpr named_unary unary_functions[] = {
    {"exp", exp},         {"exp2", exp2},       {"expm1", expm1},     {"log", log},
    {"log2", log2},       {"log10", log10},     {"log1p", log1p},     {"sin", sin},
    {"cos", cos},         {"tan", tan},         {"sinh", sinh},       {"cosh", cosh},
    {"tanh", tanh},       {"arcsin", arcsin},   {"arccos", arccos},   {"arctan", arctan},
    {"arcsinh", arcsinh}, {"arccosh", arccosh}, {"arctanh", arctanh},
};

constexpr named_binary binary_functions[] = {
    {"pow", pow},
    {"arctan2", arctan2},
    {"hypot", hypot},
};

template <class Row, std::size_t count>
auto found(const Row (&rows)[count], std::string_view name) -> decltype(rows[0].function)
{
    for (const Row& row : rows)
        if (row.name == name)
            return row.function;
    return nullptr;
}

} // namespace

void exp(const double* from, double* to, std::size_t count)
{
    apply_unary<&kernel_set::exp>(from, to, count);
}

void exp2(const double* from, double* to, std::size_t count)
{
    apply_unary<&kernel_set::exp2>(from, to, count);
}

void expm1(const double* from, double* to, std::size_t count)
{
    apply_unary<&kernel_set::expm1>(from, to, count);
}

void log(const double* from, double* to, std::size_t count)
{
    apply_unary<&kernel_set::log>(from, to, count);
}

void log2(const double* from, double* to, std::size_t count)
{
    apply_unary<&kernel_set::log2>(from, to, count);
}

void log10(const double* from, double* to, std::size_t count)
{
    apply_unary<&kernel_set::log10>(from, to, count);
}

void log1p(const double* from, double* to, std::size_t count)
{
    apply_unary<&kernel_set::log1p>(from, to, count);
}

void sin(const double* from, double* to, std::size_t count)
{
    apply_unary<&kernel_set::sin>(from, to, count);
}

void cos(const double* from, double* to, std::size_t count)
{
    apply_unary<&kernel_set::cos>(from, to, count);
}

void tan(const double* from, double* to, std::size_t count)
{
    apply_unary<&kernel_set::tan>(from, to, count);
}

void sinh(const double* from, double* to, std::size_t count)
{
    apply_unary<&kernel_set::sinh>(from, to, count);
}

void cosh(const double* from, double* to, std::size_t count)
{
    apply_unary<&kernel_set::cosh>(from, to, count);
}

void tanh(const double* from, double* to, std::size_t count)
{
    apply_unary<&kernel_set::tanh>(from, to, count);
}

void arcsin(const double* from, double* to, std::size_t count)
{
    apply_unary<&kernel_set::arcsin>(from, to, count);
}

void arccos(const double* from, double* to, std::size_t count)
{
    apply_unary<&kernel_set::arccos>(from, to, count);
}

void arctan(const double* from, double* to, std::size_t count)
{
    apply_unary<&kernel_set::arctan>(from, to, count);
}

void arcsinh(const double* from, double* to, std::size_t count)
{
    apply_unary<&kernel_set::arcsinh>(from, to, count);
}

void arccosh(const double* from, double* to, std::size_t count)
{
    apply_unary<&kernel_set::arccosh>(from, to, count);
}

void arctanh(const double* from, double* to, std::size_t count)
{
    apply_unary<&kernel_set::arctanh>(from, to, count);
}

unary_function find_unary(std::string_view name)
{
    return found(unary_functions, name);
}

void pow(operand x, operand y, double* to, std::size_t count)
{
    apply_binary<&kernel_set::pow>(x, y, to, count);
}

void arctan2(operand y, operand x, double* to, std::size_t count)
{
    apply_binary<&kernel_set::arctan2>(y, x, to, count);
}

void hypot(operand x, operand y, double* to, std::size_t count)
{
    apply_binary<&kernel_set::hypot>(x, y, to, count);
}

binary_function find_binary(std::string_view name)
{
    return found(binary_functions, name);
}

} // namespace numerical::vector_math

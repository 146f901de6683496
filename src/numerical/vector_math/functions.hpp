#pragma once

// Elementary functions of arrays of doubles, in vectors and by this project's own algorithms. A
// result depends on the argument alone: not on the path, the place in the array, the number of
// threads or the C library's version. Its error is below one unit in the last place (the table in
// docs/guide_precision.md). Special values, signed zeros, infinities and NaN are those of C
// (ISO/IEC 9899:1999, annex F); no exception flag is promised.

#include <cstddef>
#include <string_view>

namespace numerical::vector_math {

// to[i] = f(from[i]) for i < count. `to` may be `from`, else they don't overlap. Long arrays go to
// the pool.
using unary_function = void (*)(const double* from, double* to, std::size_t count);

void exp(const double* from, double* to, std::size_t count);
void exp2(const double* from, double* to, std::size_t count);
void expm1(const double* from, double* to, std::size_t count);
void log(const double* from, double* to, std::size_t count);
void log2(const double* from, double* to, std::size_t count);
void log10(const double* from, double* to, std::size_t count);
void log1p(const double* from, double* to, std::size_t count);
void sin(const double* from, double* to, std::size_t count);
void cos(const double* from, double* to, std::size_t count);
void tan(const double* from, double* to, std::size_t count);
void sinh(const double* from, double* to, std::size_t count);
void cosh(const double* from, double* to, std::size_t count);
void tanh(const double* from, double* to, std::size_t count);
void arcsin(const double* from, double* to, std::size_t count);
void arccos(const double* from, double* to, std::size_t count);
void arctan(const double* from, double* to, std::size_t count);
void arcsinh(const double* from, double* to, std::size_t count);
void arccosh(const double* from, double* to, std::size_t count);
void arctanh(const double* from, double* to, std::size_t count);

// One of these by its name, or null.
unary_function find_unary(std::string_view name);

// One of two operands: `count` elements, or one that is used for all.
struct operand
{
    const double* data;
    bool moves = true;
};

// to[i] = f(x[i], y[i]). `to` may be an operand that moves, else it overlaps none.
using binary_function = void (*)(operand x, operand y, double* to, std::size_t count);

void pow(operand x, operand y, double* to, std::size_t count);
void arctan2(operand y, operand x, double* to, std::size_t count);
void hypot(operand x, operand y, double* to, std::size_t count);

binary_function find_binary(std::string_view name);

} // namespace numerical::vector_math

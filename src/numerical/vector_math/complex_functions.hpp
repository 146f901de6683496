#pragma once

// Elementary functions of complex arrays, composed of the real ones (functions.hpp), so that their
// bits too depend on the argument alone. Special values are those of C (ISO/IEC 9899:1999, annex
// G). Each part has an error of a few units in the last place (docs/guide_precision.md), but for
// the power, whose error grows with |w log z|.

#include <complex>
#include <cstddef>
#include <string_view>

namespace numerical::vector_math {

using complex = std::complex<double>;

// to[i] = f(from[i]) for i < count. `to` may be `from`, else they don't overlap.
using complex_unary_function = void (*)(const complex* from, complex* to, std::size_t count);

// exp, log, sqrt, sin, cos, tan, sinh, cosh or tanh, or null.
complex_unary_function find_complex_unary(std::string_view name);

// to[i] = |from[i]|, as hypot of the parts.
void modulus(const complex* from, double* to, std::size_t count);

struct complex_operand
{
    const complex* data;
    bool moves = true;
};

// to[i] = z[i]^w[i] = exp(w[i] log z[i]), the principal value; 1 for w = 0, and 0 for z = 0 where
// the real part of w is positive. `to` may be an operand that moves, else it overlaps none.
void pow(complex_operand z, complex_operand w, complex* to, std::size_t count);

} // namespace numerical::vector_math

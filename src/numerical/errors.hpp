#pragma once

// The failures of the numerical code. Each class says what failed; the text, complete as the user
// will read it, is made at the throw.

#include <stdexcept>

namespace numerical {

// Shapes, sizes or axes that do not fit together.
struct dimension_error : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

// An exactly singular matrix met by a solve.
struct singular_matrix_error : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

// A NaN or an infinity in the input of a factorization.
struct non_finite_error : std::domain_error
{
    using std::domain_error::domain_error;
};

// A Cholesky pivot that is not above zero.
struct not_positive_definite_error : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

// An iteration that ran out of its limit.
struct convergence_error : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

// A bad subscript string or operand list of an Einstein summation.
struct einsum_error : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

} // namespace numerical

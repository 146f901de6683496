#pragma once

// The leading singular values and vectors of matrices and stacks of them. Failures are
// numerical.error with the messages of svd.

#include "binding/fastcall.hpp"
#include "package/operand.hpp"

namespace numerical::package {

// leading_svd(a, k) -> (U, S, Vh), k at most min(M, N)
PyObject* leading_svd(const binding::call_arguments& call);

// randomized_svd(a, sample, k, power_iterations) -> (U, S, Vh); the sample is N × l, k <= l <=
// min(M, N)
PyObject* randomized_svd(const binding::call_arguments& call);

// standard_normal(seed, shape) -> tensor, for seeds from 0 to 2^64 - 1
PyObject* standard_normal(const binding::call_arguments& call);

} // namespace numerical::package

#pragma once

#include "numerical/aligned_vector.hpp"

#include <cstddef>
#include <cstdint>

namespace numerical::random {

// The first `count` numbers of the seed's sequence of independent normal numbers with mean 0 and
// variance 1: the same bits on every machine, path and number of threads. They are formed from
// pairs of uniform numbers by the transformation of Box and Muller (1958), with moduli up to 8.5.
aligned_vector<double> standard_normal(std::uint64_t seed, std::size_t count);

} // namespace numerical::random

#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace numerical::random {

// The first `count` numbers of the seed's sequence of independent normal numbers with mean 0 and
// variance 1: the same bits on every machine, path and number of threads. They are formed from
// pairs of uniform numbers by the transformation of Box and Muller (1958), with moduli up to 8.5.
std::vector<double> standard_normal(std::uint64_t seed, std::size_t count);

} // namespace numerical::random

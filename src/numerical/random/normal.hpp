#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace numerical::random {

// `count` independent normal numbers of mean 0 and variance 1, the seed's own sequence: the same
// bits on every machine, path and number of threads. A longer sequence begins with a shorter one.
// From pairs of uniform numbers by the transformation of Box and Muller (1958), which reaches
// moduli up to 8.5.
std::vector<double> standard_normal(std::uint64_t seed, std::size_t count);

} // namespace numerical::random

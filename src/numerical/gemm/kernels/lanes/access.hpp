#pragma once

// How a loop meets a vector of a row: whole, or the first lanes of the last one. For the kernels'
// own sources only: unnamed, as the vectors are.

#include <cstddef>

namespace numerical::detail {
namespace {

template <class Lanes>
struct whole_vector
{
    typename Lanes::vector load(const double* x) const { return Lanes::load(x); }

    void store(double* x, typename Lanes::vector v) const { Lanes::store(x, v); }
};

// `count` of the lanes, 0 < count < width.
template <class Lanes>
struct last_vector
{
    typename Lanes::selection lanes;

    explicit last_vector(std::size_t count) : lanes(Lanes::first(count)) {}

    typename Lanes::vector load(const double* x) const { return Lanes::load_those(x, lanes); }

    void store(double* x, typename Lanes::vector v) const { Lanes::store_those(x, lanes, v); }
};

} // namespace
} // namespace numerical::detail

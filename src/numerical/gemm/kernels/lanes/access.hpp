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

// `count` of the lanes, or all if there are no more.
template <class Lanes>
struct last_vector
{
    typename Lanes::selection lanes;

    explicit last_vector(std::size_t count) : lanes(Lanes::first(count)) {}

    typename Lanes::vector load(const double* x) const { return Lanes::load_those(x, lanes); }

    void store(double* x, typename Lanes::vector v) const { Lanes::store_those(x, lanes, v); }
};

// All lanes, of rows of n >= width elements, for entries of which `uses` instructions make use. Of
// an operand in memory the compiler makes a load for each of them, which doubles the loads where
// they are what a loop is bound by; a masked one, which costs no more at eight lanes, it keeps.
template <class Lanes, std::size_t uses>
auto every_lane([[maybe_unused]] std::size_t n)
{
    if constexpr (uses > 1 && Lanes::width > 4)
        return last_vector<Lanes>(n);
    else
        return whole_vector<Lanes>();
}

} // namespace
} // namespace numerical::detail

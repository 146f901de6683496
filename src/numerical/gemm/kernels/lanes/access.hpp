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

// Whole vectors of which several instructions make use. The compiler would make a load for each of
// them, which doubles the loads where they are what a loop is bound by; that memory might change
// after the load forbids it. A masked load would be kept too, but the processor prefetches nothing
// on its account: from memory a row then comes at a third of the rate.
template <class Lanes>
struct vector_loaded_once : whole_vector<Lanes>
{
    typename Lanes::vector load(const double* x) const
    {
        auto loaded = Lanes::load(x);
        asm("" : "+vm"(loaded));
        return loaded;
    }
};

// All lanes of a vector for `uses` instructions.
template <class Lanes, std::size_t uses>
auto every_lane()
{
    if constexpr (uses > 1 && Lanes::width > 4)
        return vector_loaded_once<Lanes>();
    else
        return whole_vector<Lanes>();
}

} // namespace
} // namespace numerical::detail

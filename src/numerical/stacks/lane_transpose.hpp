#pragma once

// From matrices that lie apart to matrices side by side, and back, in squares of the lanes' width.
// For the kernels' own sources only, after the header that defines `lanes`.

#include <cstddef>

namespace numerical::detail {
namespace {

inline std::size_t at_most_a_vector(std::size_t count)
{
    return count < lanes::width ? count : lanes::width;
}

// Element e of matrix l goes to to[e·width + l].
inline void interleave(const double* const* from, std::size_t count, double* to)
{
    lanes::vector r[lanes::width];
    for (std::size_t e = 0; e < count; e += lanes::width) {
        const std::size_t live = at_most_a_vector(count - e);
        if (live == lanes::width) {
#pragma GCC unroll 8
            for (std::size_t l = 0; l < lanes::width; ++l)
                r[l] = lanes::load(from[l] + e);
        } else {
#pragma GCC unroll 8
            for (std::size_t l = 0; l < lanes::width; ++l)
                r[l] = lanes::load_first(from[l] + e, live);
        }
        lanes::transpose(r);
#pragma GCC unroll 8
        for (std::size_t l = 0; l < lanes::width; ++l)
            if (l < live)
                lanes::store(to + (e + l) * lanes::width, r[l]);
    }
}

// The other way round.
inline void separate(const double* from, std::size_t count, double* const* to)
{
    lanes::vector r[lanes::width];
    for (std::size_t e = 0; e < count; e += lanes::width) {
        const std::size_t live = at_most_a_vector(count - e);
#pragma GCC unroll 8
        for (std::size_t l = 0; l < lanes::width; ++l)
            r[l] = lanes::load(from + (l < live ? e + l : e) * lanes::width);
        lanes::transpose(r);
        if (live == lanes::width) {
#pragma GCC unroll 8
            for (std::size_t l = 0; l < lanes::width; ++l)
                lanes::store(to[l] + e, r[l]);
        } else {
#pragma GCC unroll 8
            for (std::size_t l = 0; l < lanes::width; ++l)
                lanes::store_first(to[l] + e, live, r[l]);
        }
    }
}

} // namespace
} // namespace numerical::detail

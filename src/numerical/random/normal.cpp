#include "numerical/random/normal.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/random/philox.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/storage.hpp"
#include "numerical/vector_math/functions.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace numerical::random {
namespace {

constexpr std::size_t block_pairs = 256;

std::uint64_t joined(std::uint32_t high, std::uint32_t low)
{
    return std::uint64_t{high} << 32 | low;
}

// A uniform number in (0, 1] with 53 bits.
double uniform(std::uint64_t bits)
{
    return (static_cast<double>(bits >> 11) + 1.0) * 0x1p-53;
}

// The pairs [first, first + count): from lengths √(-2·log u) and angles 2πv the two coordinates.
void fill_pairs(std::uint64_t seed, std::size_t first, std::size_t count, double* to)
{
    const philox_key key{static_cast<std::uint32_t>(seed), static_cast<std::uint32_t>(seed >> 32)};
    std::array<double, block_pairs> lengths{};
    std::array<double, block_pairs> angles{};
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint64_t pair = first + i;
        const philox_block bits = philox(
            {static_cast<std::uint32_t>(pair), static_cast<std::uint32_t>(pair >> 32), 0, 0}, key);
        lengths[i] = uniform(joined(bits[0], bits[1]));
        angles[i] = 2 * std::numbers::pi * uniform(joined(bits[2], bits[3]));
    }
    std::array<double, block_pairs> cosines;
    std::array<double, block_pairs> sines;
    vector_math::log(lengths.data(), lengths.data(), count);
    vector_math::cos(angles.data(), cosines.data(), count);
    vector_math::sin(angles.data(), sines.data(), count);
    for (std::size_t i = 0; i < count; ++i) {
        const double length = std::sqrt(-2 * lengths[i]);
        to[2 * i] = length * cosines[i];
        to[2 * i + 1] = length * sines[i];
    }
}

} // namespace

aligned_vector<double> standard_normal(std::uint64_t seed, std::size_t count)
{
    const std::size_t pairs = count / 2 + count % 2;
    aligned_vector<double> numbers = detail::uninitialized<double>(2 * pairs);
    const auto fill_block = [&](std::size_t b) {
        const std::size_t first = b * block_pairs;
        fill_pairs(seed, first, std::min(block_pairs, pairs - first), numbers.data() + 2 * first);
    };
    detail::parallel_for(detail::ceil_div(pairs, block_pairs), 64 * block_pairs, fill_block);
    numbers.resize(count);
    return numbers;
}

} // namespace numerical::random

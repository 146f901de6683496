#include "numerical/systems/bandwidths.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/systems/moduli.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <vector>

namespace numerical {

using detail::block_view;
using detail::complex;

namespace {

constexpr std::size_t block = 64; // elements that are tested together
constexpr std::size_t row_group = 64;

// Whether the elements of a block are zeros, of either sign.
template <class T>
bool is_zero_block(const T* x)
{
    constexpr std::size_t lanes = 8;
    const auto* const parts = detail::as_doubles(x);
    std::array<std::uint64_t, lanes> bits{};
    for (std::size_t i = 0; i < block * (sizeof(T) / sizeof(double)); i += lanes)
        for (std::size_t l = 0; l < lanes; ++l)
            bits[l] |= std::bit_cast<std::uint64_t>(parts[i + l]);
    std::uint64_t all = 0;
    for (const std::uint64_t lane : bits)
        all |= lane;
    return all << 1 == 0;
}

// The number of leading zeros.
template <class T>
std::size_t zeros_in_front(const T* x, std::size_t n)
{
    std::size_t count = 0;
    while (count + block <= n && is_zero_block(x + count))
        count += block;
    while (count < n && x[count] == T(0))
        ++count;
    return count;
}

// The number of trailing zeros.
template <class T>
std::size_t zeros_at_end(const T* x, std::size_t n)
{
    std::size_t count = 0;
    while (count < n && x[n - count - 1] == T(0))
        ++count;
    return count;
}

// The widths of the rows [first, last). Elements within the widths already found are skipped. A row
// is read from left to right, for the hardware prefetcher; only rows that widen the band are
// searched from their end.
template <class T>
bandwidths widths_of_rows(block_view<const T> a, std::size_t first, std::size_t last)
{
    bandwidths found{0, 0};
    for (std::size_t i = first; i < last; ++i) {
        if (i > found.lower)
            found.lower = i - zeros_in_front(a.row(i), i - found.lower);
        const std::size_t to = std::min(i + 1 + found.upper, a.cols);
        if (zeros_in_front(a.row(i) + to, a.cols - to) != a.cols - to)
            found.upper = a.cols - 1 - i - zeros_at_end(a.row(i) + to, a.cols - to);
    }
    return found;
}

} // namespace

// Each group of rows finds its own widths.
template <class T>
bandwidths bandwidths_of(block_view<const T> a)
{
    std::vector<bandwidths> groups(detail::ceil_div(a.rows, row_group));
    const auto look_at_group = [&](std::size_t g) {
        const std::size_t first = g * row_group;
        groups[g] = widths_of_rows(a, first, std::min(first + row_group, a.rows));
    };
    detail::parallel_for(groups.size(), row_group * a.cols / 8, look_at_group);
    bandwidths found{0, 0};
    for (const bandwidths& group : groups)
        found = {std::max(found.lower, group.lower), std::max(found.upper, group.upper)};
    return found;
}

// Products of blocks do about six times as many operations in a given time as updates of a band's
// rows.
bool is_wide(const bandwidths& band, std::size_t order)
{
    return 5 * (2 * band.lower + band.upper + 1) > 2 * order;
}

template <class T>
double one_norm_of_band(block_view<const T> a, const bandwidths& band)
{
    aligned_vector<double> sums(a.cols);
    aligned_vector<double> moduli(a.cols);
    for (std::size_t i = 0; i < a.rows; ++i) {
        const std::size_t from = i - std::min(i, band.lower);
        const std::size_t to = std::min(i + band.upper + 1, a.cols);
        if (from < to)
            detail::add_moduli(sums.data() + from, a.row(i) + from, to - from, moduli.data());
    }
    return sums.empty() ? 0 : *std::max_element(sums.begin(), sums.end());
}

template bandwidths bandwidths_of(block_view<const double>);
template bandwidths bandwidths_of(block_view<const complex>);
template double one_norm_of_band(block_view<const double>, const bandwidths&);
template double one_norm_of_band(block_view<const complex>, const bandwidths&);

} // namespace numerical

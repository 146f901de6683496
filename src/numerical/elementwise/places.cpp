#include "numerical/elementwise/places.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/checks.hpp"
#include "numerical/elementwise/boolean_kernels.hpp"
#include "numerical/elementwise/number_kernels.hpp"
#include "numerical/errors.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <complex>
#include <functional>
#include <type_traits>

namespace numerical {
namespace {

using complex = std::complex<double>;

// Writes the places of the true elements of a row and returns their number. Every step writes,
// whether its element is true or not, so that no branch depends on the data.
std::size_t places_in_row(const complex* row, std::size_t n, std::ptrdiff_t* to)
{
    std::size_t count = 0;
    for (std::size_t j = 0; j < n; ++j) {
        to[count] = static_cast<std::ptrdiff_t>(j);
        count += row[j] != 0.0 ? 1 : 0;
    }
    return count;
}

std::size_t places_in_row(const double* row, std::size_t n, std::ptrdiff_t* to)
{
    return detail::numbers_in_force().places_of_true(row, n, to);
}

std::size_t places_in_row(const std::uint8_t* row, std::size_t n, std::ptrdiff_t* to)
{
    return detail::booleans_in_force().places_of_true(row, n, to);
}

// The number of elements that may be written behind a row's places.
constexpr std::size_t slack = 8;

std::size_t count_true(const double* x, std::size_t n)
{
    return detail::numbers_in_force().count_true(x, n);
}

std::size_t count_true(const std::uint8_t* x, std::size_t n)
{
    return detail::booleans_in_force().count_true(x, n);
}

std::size_t count_true(const complex* z, std::size_t n)
{
    return static_cast<std::size_t>(
        std::count_if(z, z + n, [](const complex& x) { return x != 0.0; }));
}

// Numbers of a block: few to search a second time, which are in L1 still, and many enough that
// folding the extremes of their lanes costs little.
constexpr std::size_t searched_block = 512;

// The first place of the extreme of n >= 1 numbers. Blocks are compared by their extremes, and only
// the first block that holds the best one is searched for its place.
template <class C>
std::size_t extreme_place(const double* p, std::size_t n, const C& compare)
{
    std::size_t best_block = 0;
    double best = detail::contiguous_extreme(p, std::min(searched_block, n), compare);
    for (std::size_t i = searched_block; i < n && best == best; i += searched_block) {
        const double of_block =
            detail::contiguous_extreme(p + i, std::min(searched_block, n - i), compare);
        if (compare(of_block, best) || of_block != of_block) {
            best = of_block;
            best_block = i;
        }
    }
    return best_block + detail::numbers_in_force().place_of(p + best_block, n - best_block, best);
}

// Columns whose extremes and places stay in L1 while the rows pass by.
constexpr std::size_t near_columns = 2048;

template <class C>
void extreme_places_of_columns(const double* data, const detail::walk_shape& walk,
                               std::ptrdiff_t* to)
{
    const detail::number_kernels& kernels = detail::numbers_in_force();
    const auto kernel =
        std::is_same_v<C, std::less<double>> ? kernels.places_of_least : kernels.places_of_greatest;
    const std::size_t width = std::min(walk.inner, near_columns);
    aligned_vector<double> best(width);
    aligned_vector<double> places(width);
    for (std::size_t o = 0; o < walk.outer; ++o)
        for (std::size_t k = 0; k < walk.inner; k += width) {
            const std::size_t columns = std::min(width, walk.inner - k);
            kernel({.first = data + o * walk.extent * walk.inner + k,
                    .rows = walk.extent,
                    .stride = walk.inner,
                    .width = columns},
                   best.data(), places.data());
            std::transform(places.data(), places.data() + columns, to + o * walk.inner + k,
                           [](double place) { return static_cast<std::ptrdiff_t>(place); });
        }
}

} // namespace

template <class T>
std::vector<aligned_vector<std::ptrdiff_t>> true_places(const tensor<T>& a)
{
    const std::size_t count = count_true(a.data.data(), a.data.size());
    std::vector<aligned_vector<std::ptrdiff_t>> places(a.shape.size());
    for (auto& of_axis : places)
        of_axis = detail::uninitialized<std::ptrdiff_t>(count);
    if (count == 0)
        return places;
    const std::size_t rank = a.shape.size();
    const std::size_t length = a.shape.back();
    if (rank == 1) {
        places[0] = detail::uninitialized<std::ptrdiff_t>(count + slack);
        places_in_row(a.data.data(), length, places[0].data());
        places[0].resize(count);
        return places;
    }
    aligned_vector<std::ptrdiff_t> in_row(length + slack);
    shape_list row(rank - 1, 0);
    std::size_t done = 0;
    for (std::size_t first = 0; first < a.data.size(); first += length) {
        const std::size_t found = places_in_row(a.data.data() + first, length, in_row.data());
        const auto at = static_cast<std::ptrdiff_t>(done);
        std::copy_n(in_row.begin(), found, places.back().begin() + at);
        for (std::size_t axis = 0; axis + 1 < rank; ++axis)
            std::fill_n(places[axis].begin() + at, found, static_cast<std::ptrdiff_t>(row[axis]));
        done += found;
        for (std::size_t axis = rank - 1; axis-- > 0 && ++row[axis] == a.shape[axis];)
            row[axis] = 0;
    }
    return places;
}

template std::vector<aligned_vector<std::ptrdiff_t>> true_places(const tensor<double>&);
template std::vector<aligned_vector<std::ptrdiff_t>> true_places(const tensor<complex>&);
template std::vector<aligned_vector<std::ptrdiff_t>> true_places(const booleans&);

namespace detail {

template <class C>
aligned_vector<std::ptrdiff_t> extreme_places(const double* data, const walk_shape& walk,
                                              const C& compare)
{
    if (walk.extent == 0)
        throw dimension_error("a zero-size reduction to a maximum or a minimum has no identity");
    aligned_vector<std::ptrdiff_t> out =
        uninitialized<std::ptrdiff_t>(checked_mul(walk.outer, walk.inner));
    if (!out.empty() && walk.inner != 1)
        extreme_places_of_columns<C>(data, walk, out.data());
    if (walk.inner == 1)
        for (std::size_t o = 0; o < out.size(); ++o)
            out[o] = static_cast<std::ptrdiff_t>(
                extreme_place(data + o * walk.extent, walk.extent, compare));
    return out;
}

template aligned_vector<std::ptrdiff_t> extreme_places(const double*, const walk_shape&,
                                                       const std::less<double>&);
template aligned_vector<std::ptrdiff_t> extreme_places(const double*, const walk_shape&,
                                                       const std::greater<double>&);

} // namespace detail
} // namespace numerical

#include "numerical/elementwise/booleans.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/checks.hpp"
#include "numerical/elementwise/boolean_kernels.hpp"
#include "numerical/elementwise/number_kernels.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <complex>
#include <type_traits>

namespace numerical::detail {
namespace {

using complex = std::complex<double>;

std::size_t true_of_run(const double* x, std::size_t n)
{
    return numbers_in_force().count_true(x, n);
}

std::size_t true_of_run(const std::uint8_t* x, std::size_t n)
{
    return booleans_in_force().count_true(x, n);
}

// counts[k] += the number of true elements of column k, for `rows` rows of counts.size() columns.
void count_columns(const double* first, std::size_t rows, aligned_vector<double>& counts)
{
    const std::size_t width = counts.size();
    numbers_in_force().count_true_of_columns(
        {.first = first, .rows = rows, .stride = width, .width = width}, counts.data());
}

void count_columns(const std::uint8_t* first, std::size_t rows, aligned_vector<double>& counts)
{
    const std::size_t width = counts.size();
    booleans_in_force().count_true_of_columns(
        {.first = first, .rows = rows, .stride = width, .width = width}, counts.data());
}

// Blocks grow, as the result is mostly decided early: among random booleans within the first few.
template <class T>
bool reduced_run(boolean_reduction reduction, const T* run, std::size_t n)
{
    constexpr std::size_t longest = 2048;
    std::size_t block = 16;
    for (std::size_t i = 0; i < n; i += block, block = std::min(2 * block, longest)) {
        const std::size_t taken = std::min(block, n - i);
        const std::size_t found = true_of_run(run + i, taken);
        if (reduction == boolean_reduction::any ? found != 0 : found != taken)
            return reduction == boolean_reduction::any;
    }
    return reduction == boolean_reduction::all;
}

bool decided(boolean_reduction reduction, const aligned_vector<double>& counts, std::size_t rows)
{
    const auto all = static_cast<double>(rows);
    return std::all_of(counts.begin(), counts.end(), [&](double count) {
        return reduction == boolean_reduction::any ? count != 0 : count != all;
    });
}

// Adds rows until every column is decided.
template <class T>
void reduce_columns(boolean_reduction reduction, const T* first, const walk_shape& walk,
                    aligned_vector<double>& counts, std::uint8_t* to)
{
    std::fill(counts.begin(), counts.end(), 0.0);
    std::size_t rows = 0;
    std::size_t block = 16;
    for (bool done = false; rows < walk.extent && !done; block *= 2) {
        const std::size_t taken = std::min(block, walk.extent - rows);
        count_columns(first + rows * walk.inner, taken, counts);
        rows += taken;
        done = decided(reduction, counts, rows);
    }
    const double wanted = reduction == boolean_reduction::any ? 0.0 : static_cast<double>(rows);
    std::transform(counts.begin(), counts.end(), to, [&](double count) {
        return std::uint8_t{(count == wanted) == (reduction == boolean_reduction::all)};
    });
}

aligned_vector<std::uint8_t> booleans_of(const complex* z, const walk_shape& walk)
{
    const std::size_t count = walk.outer * walk.extent * walk.inner;
    aligned_vector<std::uint8_t> booleans = uninitialized<std::uint8_t>(count);
    std::transform(z, z + count, booleans.begin(),
                   [](const complex& x) { return std::uint8_t{x != 0.0}; });
    return booleans;
}

template <class T>
aligned_vector<std::uint8_t> reduced(boolean_reduction reduction, const T* data,
                                     const walk_shape& walk)
{
    aligned_vector<std::uint8_t> out =
        uninitialized<std::uint8_t>(checked_mul(walk.outer, walk.inner));
    if (walk.inner == 1) {
        for (std::size_t o = 0; o < walk.outer; ++o)
            out[o] = reduced_run(reduction, data + o * walk.extent, walk.extent) ? 1 : 0;
        return out;
    }
    aligned_vector<double> counts(walk.inner);
    for (std::size_t o = 0; o < walk.outer && walk.inner != 0; ++o)
        reduce_columns(reduction, data + o * walk.extent * walk.inner, walk, counts,
                       out.data() + o * walk.inner);
    return out;
}

template <class T>
aligned_vector<std::ptrdiff_t> counts_along(const T* data, const walk_shape& walk)
{
    aligned_vector<std::ptrdiff_t> out =
        uninitialized<std::ptrdiff_t>(checked_mul(walk.outer, walk.inner));
    if (walk.inner == 1) {
        for (std::size_t o = 0; o < walk.outer; ++o)
            out[o] = static_cast<std::ptrdiff_t>(true_of_run(data + o * walk.extent, walk.extent));
        return out;
    }
    aligned_vector<double> counts(walk.inner);
    for (std::size_t o = 0; o < walk.outer && walk.inner != 0; ++o) {
        std::fill(counts.begin(), counts.end(), 0.0);
        count_columns(data + o * walk.extent * walk.inner, walk.extent, counts);
        std::transform(counts.begin(), counts.end(), out.data() + o * walk.inner,
                       [](double count) { return static_cast<std::ptrdiff_t>(count); });
    }
    return out;
}

} // namespace

template <class T>
aligned_vector<std::uint8_t> booleans_along(boolean_reduction reduction, const T* data,
                                            const walk_shape& walk)
{
    if constexpr (std::is_same_v<T, complex>)
        return reduced(reduction, booleans_of(data, walk).data(), walk);
    else
        return reduced(reduction, data, walk);
}

template <class T>
aligned_vector<std::ptrdiff_t> true_counts(const T* data, const walk_shape& walk)
{
    if constexpr (std::is_same_v<T, complex>)
        return counts_along(booleans_of(data, walk).data(), walk);
    else
        return counts_along(data, walk);
}

aligned_vector<double> sums(const std::uint8_t* data, const walk_shape& walk)
{
    const aligned_vector<std::ptrdiff_t> counts = counts_along(data, walk);
    return {counts.begin(), counts.end()};
}

aligned_vector<double> means(const std::uint8_t* data, const walk_shape& walk)
{
    aligned_vector<double> out = sums(data, walk);
    for (double& x : out)
        x /= static_cast<double>(walk.extent);
    return out;
}

template aligned_vector<std::uint8_t> booleans_along(boolean_reduction, const double*,
                                                     const walk_shape&);
template aligned_vector<std::uint8_t> booleans_along(boolean_reduction, const complex*,
                                                     const walk_shape&);
template aligned_vector<std::uint8_t> booleans_along(boolean_reduction, const std::uint8_t*,
                                                     const walk_shape&);
template aligned_vector<std::ptrdiff_t> true_counts(const double*, const walk_shape&);
template aligned_vector<std::ptrdiff_t> true_counts(const complex*, const walk_shape&);
template aligned_vector<std::ptrdiff_t> true_counts(const std::uint8_t*, const walk_shape&);

} // namespace numerical::detail

#include "numerical/elementwise/sorting.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/checks.hpp"
#include "numerical/elementwise/sorting_kernels.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/storage.hpp"
#include "numerical/thread_scratch.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <utility>

namespace numerical::detail {
namespace {

constexpr std::size_t short_run = 48;         // up to here insertion is faster
constexpr std::size_t wide_digit_from = 8192; // passes of 11 bits pay for their longer tables
constexpr std::uint64_t sign_of_key = std::uint64_t{1} << 63;

// An unsigned integer for each number except NaN, in the order of the numbers; both zeros have the
// same one. For descending order the integers are complemented.
std::uint64_t key_of(double x, sort_order order)
{
    const auto bits = std::bit_cast<std::uint64_t>(x + 0.0); // -0 + 0 is +0
    const std::uint64_t key = (bits & sign_of_key) != 0 ? ~bits : bits | sign_of_key;
    return order == sort_order::ascending ? key : ~key;
}

double number_of(std::uint64_t key, sort_order order)
{
    if (order == sort_order::descending)
        key = ~key;
    return std::bit_cast<double>((key & sign_of_key) != 0 ? key & ~sign_of_key : ~key);
}

struct plain_key
{
    std::uint64_t key;
};

struct placed_key
{
    std::uint64_t key;
    std::size_t place;
};

// Sorts by digits of `bits` bits, with `spare` of the same size as scratch. A digit that all keys
// share takes no pass.
template <unsigned bits, class Item>
void sort_by_digits(aligned_vector<Item>& items, aligned_vector<Item>& spare)
{
    constexpr unsigned digits = (64 + bits - 1) / bits;
    constexpr std::size_t buckets = std::size_t{1} << bits;
    std::vector<std::size_t> counts(digits * buckets, 0);
    for (const Item& item : items)
        for (unsigned d = 0; d < digits; ++d)
            ++counts[d * buckets + (item.key >> (d * bits) & (buckets - 1))];
    for (unsigned d = 0; d < digits; ++d) {
        std::size_t* const next = counts.data() + d * buckets;
        if (next[items[0].key >> (d * bits) & (buckets - 1)] == items.size())
            continue;
        std::size_t before = 0;
        for (std::size_t b = 0; b < buckets; ++b)
            before += std::exchange(next[b], before);
        for (const Item& item : items)
            spare[next[item.key >> (d * bits) & (buckets - 1)]++] = item;
        std::swap(items, spare);
    }
}

template <class Item>
void sort_by_insertion(aligned_vector<Item>& items)
{
    for (std::size_t i = 1; i < items.size(); ++i) {
        const Item item = items[i];
        std::size_t to = i;
        for (; to > 0 && items[to - 1].key > item.key; --to)
            items[to] = items[to - 1];
        items[to] = item;
    }
}

template <class Item>
void sort_items(aligned_vector<Item>& items, aligned_vector<Item>& spare)
{
    const auto by_key = [](const Item& x, const Item& y) { return x.key < y.key; };
    if (items.size() <= short_run) {
        sort_by_insertion(items);
        return;
    }
    if (std::is_sorted(items.begin(), items.end(), by_key))
        return;
    spare.resize(items.size());
    if (items.size() < wide_digit_from)
        sort_by_digits<8>(items, spare);
    else
        sort_by_digits<11>(items, spare);
}

// The scratch of a sort, kept from run to run.
template <class Item>
struct workspace
{
    aligned_vector<Item> items;
    aligned_vector<Item> spare;
};

// Writes the zeros and NaNs of a sorted run in the order in which they occur in it: sorting knew
// neither the sign of a zero nor one NaN from another. The first `ordered` numbers of `to` aren't
// NaNs.
void restore_zeros_and_nans(const double* run, std::size_t n, std::size_t stride, double* to,
                            std::size_t ordered)
{
    std::size_t zero = 0;
    while (zero < ordered && to[zero * stride] != 0)
        ++zero;
    for (std::size_t i = 0; i < n; ++i) {
        const double x = run[i * stride];
        if (x != x)
            to[ordered++ * stride] = x;
        else if (x == 0)
            to[zero++ * stride] = x;
    }
}

// Sorts the numbers of a run. Zeros of either sign have one key and NaNs have none.
void sort_run(const double* run, std::size_t n, std::size_t stride, sort_order order,
              workspace<plain_key>& work, double* to)
{
    work.items.clear();
    bool negative_zero = false;
    for (std::size_t i = 0; i < n; ++i) {
        const double x = run[i * stride];
        negative_zero |= x == 0 && std::signbit(x);
        if (x == x)
            work.items.push_back({key_of(x, order)});
    }
    sort_items(work.items, work.spare);
    std::size_t at = 0;
    for (const plain_key& item : work.items)
        to[at++ * stride] = number_of(item.key, order);
    if (negative_zero || at < n)
        restore_zeros_and_nans(run, n, stride, to, at);
}

std::size_t count_of_numbers(const double* run, std::size_t n, std::size_t stride)
{
    std::size_t count = 0;
    for (std::size_t i = 0; i < n; ++i)
        count += run[i * stride] == run[i * stride] ? 1 : 0;
    return count;
}

// Whether runs are sorted side by side: four take as long as one, so that more of them pay for
// longer ones, in which a network has more to compare than there are digits.
bool sorts_side_by_side(const walk_shape& walk)
{
    constexpr std::size_t longest[runs_side_by_side] = {256, 768, 1536, 2048};
    if (walk.outer == 0 || walk.extent == 0 || walk.inner == 0)
        return false;
    const std::size_t runs = std::min(walk.outer * walk.inner, runs_side_by_side);
    return walk.extent <= longest[runs - 1] && avx2_in_force(gemm_path_current());
}

// Four by four; beyond the last run it is repeated.
aligned_vector<double> sorted_side_by_side(const double* data, const walk_shape& walk,
                                           sort_order order)
{
    const std::size_t runs = walk.outer * walk.inner;
    const auto sort =
        order == sort_order::ascending ? avx2_unfused_sort_ascending : avx2_unfused_sort_descending;
    aligned_vector<double> out = uninitialized<double>(runs * walk.extent);
    thread_scratch<double> lanes(runs_side_by_side * walk.extent);
    for (std::size_t run = 0; run < runs; run += runs_side_by_side) {
        four_runs four{
            .n = walk.extent, .stride = walk.inner, .lanes = lanes.data(), .from = {}, .to = {}};
        for (std::size_t k = 0; k < runs_side_by_side; ++k) {
            const std::size_t t = std::min(run + k, runs - 1);
            const std::size_t first = t / walk.inner * walk.extent * walk.inner + t % walk.inner;
            four.from[k] = data + first;
            four.to[k] = out.data() + first;
        }
        if (!sort(four))
            continue;
        for (std::size_t k = 0; k < std::min(runs - run, runs_side_by_side); ++k)
            restore_zeros_and_nans(four.from[k], four.n, four.stride, four.to[k],
                                   count_of_numbers(four.from[k], four.n, four.stride));
    }
    return out;
}

void sort_places_of_run(const double* run, std::size_t n, std::size_t stride, sort_order order,
                        workspace<placed_key>& work, std::ptrdiff_t* to)
{
    work.items.clear();
    for (std::size_t i = 0; i < n; ++i)
        if (run[i * stride] == run[i * stride])
            work.items.push_back({key_of(run[i * stride], order), i});
    sort_items(work.items, work.spare);
    std::size_t at = 0;
    for (const placed_key& item : work.items)
        to[at++ * stride] = static_cast<std::ptrdiff_t>(item.place);
    for (std::size_t i = 0; at < n; ++i)
        if (run[i * stride] != run[i * stride])
            to[at++ * stride] = static_cast<std::ptrdiff_t>(i);
}

template <class Item, class Out, class SortRun>
aligned_vector<Out> sort_runs(const walk_shape& walk, const SortRun& sort_run_at)
{
    const std::size_t count = checked_mul(checked_mul(walk.outer, walk.extent), walk.inner);
    aligned_vector<Out> out = uninitialized<Out>(count);
    if (count == 0)
        return out;
    workspace<Item> work;
    work.items.reserve(walk.extent);
    for (std::size_t o = 0; o < walk.outer; ++o)
        for (std::size_t k = 0; k < walk.inner; ++k) {
            const std::size_t first = o * walk.extent * walk.inner + k;
            sort_run_at(first, work, out.data() + first);
        }
    return out;
}

// The number of elements for which `before` holds, by bisection. Each step selects its half by a
// conditional move, since a branch could not be predicted.
template <class Before>
std::size_t count_before(const double* ascending, std::size_t length, const Before& before)
{
    const double* first = ascending;
    while (length > 1) {
        const std::size_t half = length / 2;
        first += before(first[half - 1]) ? half : 0;
        length -= half;
    }
    return static_cast<std::size_t>(first - ascending) + (length == 1 && before(*first) ? 1 : 0);
}

// Whether x comes before the value in ascending order with NaNs last.
bool is_before(double x, double value)
{
    return x < value || (value != value && x == x);
}

} // namespace

aligned_vector<double> sorted(const double* data, const walk_shape& walk, sort_order order)
{
    if (sorts_side_by_side(walk))
        return sorted_side_by_side(data, walk, order);
    return sort_runs<plain_key, double>(
        walk, [&](std::size_t first, workspace<plain_key>& work, double* to) {
            sort_run(data + first, walk.extent, walk.inner, order, work, to);
        });
}

aligned_vector<std::ptrdiff_t> sorted_places(const double* data, const walk_shape& walk,
                                             sort_order order)
{
    return sort_runs<placed_key, std::ptrdiff_t>(
        walk, [&](std::size_t first, workspace<placed_key>& work, std::ptrdiff_t* to) {
            sort_places_of_run(data + first, walk.extent, walk.inner, order, work, to);
        });
}

aligned_vector<std::ptrdiff_t> search_places(const double* ascending, std::size_t length,
                                             const double* values, std::size_t count,
                                             search_side side)
{
    aligned_vector<std::ptrdiff_t> places = uninitialized<std::ptrdiff_t>(count);
    for (std::size_t i = 0; i < count; ++i) {
        const double value = values[i];
        const std::size_t place =
            side == search_side::left
                ? count_before(ascending, length, [=](double x) { return is_before(x, value); })
                : count_before(ascending, length, [=](double x) { return !is_before(value, x); });
        places[i] = static_cast<std::ptrdiff_t>(place);
    }
    return places;
}

} // namespace numerical::detail

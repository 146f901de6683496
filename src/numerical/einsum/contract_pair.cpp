#include "numerical/einsum/contract_pair.hpp"

#include "numerical/checks.hpp"
#include "numerical/einsum/outer_product.hpp"
#include "numerical/einsum/strided_copy.hpp"
#include "numerical/gemm/gemm.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <complex>
#include <type_traits>
#include <utility>

namespace numerical::detail {
namespace {

// The labels of the output by the operands that hold them, each group in the output's order.
struct output_groups
{
    std::string batch; // in both operands
    std::string a_free;
    std::string b_free;
};

output_groups grouped(const std::string& output, label_set in_a, label_set in_b)
{
    output_groups groups;
    for (const char label : output) {
        if (!in_b.contains(label))
            groups.a_free += label;
        else if (!in_a.contains(label))
            groups.b_free += label;
        else
            groups.batch += label;
    }
    return groups;
}

// Elements copied to bring an operand into the wanted order of axes.
template <class T>
std::size_t elements_moved(const labelled<T>& operand, const std::string& wanted)
{
    return operand.labels == wanted ? 0 : operand.value.data.size();
}

// Whether to contract the operands in the other order, which makes the result's axes come out as
// the output has them. Real products come out the same bits either way, so that the one decides
// that moves fewer elements; complex ones are summed part by part, left operand first.
template <class T>
bool better_swapped(const labelled<T>& a, const labelled<T>& b, const output_groups& groups,
                    const std::string& summed, std::size_t result_size)
{
    if constexpr (!std::is_same_v<T, double>)
        return true;
    const auto& [batch, a_free, b_free] = groups;
    const std::size_t swapped =
        elements_moved(b, batch + b_free + summed) + elements_moved(a, batch + summed + a_free);
    const std::size_t as_they_are = elements_moved(a, batch + a_free + summed) +
                                    elements_moved(b, batch + summed + b_free) + result_size;
    return swapped <= as_they_are;
}

struct batch_sizes
{
    std::size_t batches;
    std::size_t m;
    std::size_t n;
    std::size_t k;

    std::size_t total() const { return checked_mul(batches, checked_mul(m, n)); }
};

// How many batches are begun together: on one thread so few that the zeros that products are added
// to are still in the cache when their turn comes; for several threads all, as each piece would be
// a job that they wait for.
std::size_t batches_at_once(const batch_sizes& sizes)
{
    constexpr std::size_t cached_elements = 65536;
    const std::size_t of_one = sizes.m * sizes.n;
    if (sizes.batches * of_one <= cached_elements || allowed_threads() > 1)
        return sizes.batches;
    return cached_elements / of_one + 1;
}

// A is batches × m × k, B batches × k × n, the result batches × m × n.
template <class T>
std::vector<T> batched_product(const batch_sizes& sizes, const T* a, const T* b)
{
    const auto [batches, m, n, k] = sizes;
    const std::size_t total = sizes.total();
    if (total == 0 || k == 0) // batches without rows or columns may be beyond counting
        return zeros<T>(total);
    std::vector<T> result = reserved<T>(total);
    const std::size_t step = batches_at_once(sizes);
    for (std::size_t first = 0; first < batches; first += step) {
        const std::size_t count = std::min(step, batches - first);
        result.resize((first + count) * m * n);
        T* const c = result.data();
        const auto dot_of_batch = [=, depth = k](std::size_t i) {
            c[first + i] = plain_dot(a + (first + i) * depth, b + (first + i) * depth, depth);
        };
        const auto multiply_batch = [=, rows = m, cols = n, depth = k](std::size_t i) {
            gemm<T>(rows, cols, depth, a + (first + i) * rows * depth, depth,
                    b + (first + i) * depth * cols, cols, c + (first + i) * rows * cols, cols);
        };
        if (m == 1 && n == 1)
            parallel_for(count, k, dot_of_batch);
        else
            parallel_for(count, m * n * k / 16, multiply_batch);
    }
    return result;
}

} // namespace

template <class T>
std::optional<tensor<T>> contract_pair(const std::string& a_labels, const tensor<T>& a,
                                       const std::string& b_labels, const tensor<T>& b,
                                       const std::string& output, const std::string& summed,
                                       const label_extents& extents)
{
    const label_set in_a(a_labels);
    const label_set in_b(b_labels);
    if (in_a.size() != a_labels.size() || in_b.size() != b_labels.size())
        return std::nullopt;
    if (!(label_set(summed) - (in_a & in_b)).empty())
        return std::nullopt;

    const output_groups groups = grouped(output, in_a, in_b);
    const auto& [batch, a_free, b_free] = groups;
    const batch_sizes sizes{extent_product(batch, extents), extent_product(a_free, extents),
                            extent_product(b_free, extents), extent_product(summed, extents)};
    if (summed.empty())
        return outer_product<T>({a_labels, a}, {b_labels, b}, output, extents);
    const std::string canonical = batch + a_free + b_free;
    if (canonical != output && batch + b_free + a_free == output &&
        better_swapped<T>({a_labels, a}, {b_labels, b}, groups, summed, sizes.total()))
        return contract_pair<T>(b_labels, b, a_labels, a, output, summed, extents);

    const ordered_elements<T> left({a_labels, a}, batch + a_free + summed, extents);
    const ordered_elements<T> right({b_labels, b}, batch + summed + b_free, extents);
    std::vector<T> result = batched_product(sizes, left.data(), right.data());
    if (canonical != output)
        result = permuted(result, canonical, output, extents);
    return tensor<T>(extents_of(output, extents), std::move(result));
}

template std::optional<tensor<double>> contract_pair(const std::string&, const tensor<double>&,
                                                     const std::string&, const tensor<double>&,
                                                     const std::string&, const std::string&,
                                                     const label_extents&);
template std::optional<tensor<std::complex<double>>>
contract_pair(const std::string&, const tensor<std::complex<double>>&, const std::string&,
              const tensor<std::complex<double>>&, const std::string&, const std::string&,
              const label_extents&);

} // namespace numerical::detail

#include "numerical/einsum/contract_pair.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/checks.hpp"
#include "numerical/einsum/outer_product.hpp"
#include "numerical/einsum/permuted.hpp"
#include "numerical/gemm/gemm.hpp"
#include "numerical/gemm/summation.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <complex>
#include <type_traits>
#include <utility>

namespace numerical::detail {
namespace {

// The labels of the output, grouped by the operands that contain them, each group in the output's
// order.
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

// How many elements are copied to bring an operand into a given order of axes.
template <class T>
std::size_t elements_moved(const labelled<T>& operand, const std::string& wanted)
{
    return operand.labels == wanted ? 0 : operand.value.data.size();
}

std::size_t elements_of_result(const batch_sizes& sizes)
{
    return checked_mul(sizes.batches, checked_mul(sizes.m, sizes.n));
}

// Whether to exchange the operands, so that the result's axes have the output's order. Real
// products have the same bits in both orders, so the order that copies fewer elements is chosen;
// complex ones are summed part by part, those of the left operand first.
template <class T>
bool better_swapped(const labelled<T>& a, const labelled<T>& b, const output_groups& groups,
                    const std::string& summed, std::size_t result_moved)
{
    if constexpr (!std::is_same_v<T, double>)
        return true;
    const auto& [batch, a_free, b_free] = groups;
    const std::size_t swapped =
        elements_moved(b, batch + b_free + summed) + elements_moved(a, batch + summed + a_free);
    const std::size_t as_they_are = elements_moved(a, batch + a_free + summed) +
                                    elements_moved(b, batch + summed + b_free) + result_moved;
    return swapped <= as_they_are;
}

template <class T>
aligned_vector<T> transposed_products(const batch_sizes& sizes, const T* a, const T* b)
{
    aligned_vector<T> result = uninitialized<T>(elements_of_result(sizes));
    gemm_batch_transposed(sizes, a, b, result.data());
    return result;
}

// Whether products are so small that each is transposed in L1 before it is written to memory.
bool transposes_each(const batch_sizes& sizes)
{
    return 1 < sizes.m * sizes.n && sizes.m * sizes.n <= most_transposed;
}

// A is batches × m × k, B batches × k × n, the result batches × m × n, or n × m by `multiply`.
template <class T>
aligned_vector<T> batched_product(const batch_sizes& sizes, const T* a, const T* b,
                                  decltype(&gemm_batch<T>) multiply)
{
    const std::size_t total = elements_of_result(sizes);
    const std::size_t k = sizes.k;
    if (total == 0 || k == 0) // the number of empty batches may be astronomically large
        return zeros<T>(total);
    aligned_vector<T> result = uninitialized<T>(total);
    T* const c = result.data();
    const auto dot_of_batch = [=](std::size_t i) { c[i] = plain_dot(a + i * k, b + i * k, k); };
    if (sizes.m == 1 && sizes.n == 1)
        parallel_for(sizes.batches, k, dot_of_batch);
    else
        multiply(sizes, a, b, c);
    return result;
}

// Whether B may be packed from its columns, which avoids a copy by rows. A result of one number is
// a dot product, with another order of summation.
template <class T>
bool packs_columns(const batch_sizes& sizes)
{
    return std::is_same_v<T, double> && sizes.batches == 1 && sizes.m * sizes.n != 1 &&
           summed_by_tiles(sizes.m, sizes.n, sizes.k);
}

template <class T>
aligned_vector<T> product_by_columns(const batch_sizes& sizes, const T* a, const T* b)
{
    const auto [batches, m, n, k] = sizes;
    aligned_vector<T> result = uninitialized<T>(elements_of_result(sizes));
    if constexpr (std::is_same_v<T, double>)
        gemm_new_by_columns(m, n, k, a, k, b, k, result.data(), n);
    return result;
}

} // namespace

template <class T>
std::optional<tensor<T>> contract_pair(const labelled<T>& a, const labelled<T>& b,
                                       const std::string& output, const std::string& summed,
                                       const label_extents& extents)
{
    const label_set in_a(a.labels);
    const label_set in_b(b.labels);
    if (in_a.size() != a.labels.size() || in_b.size() != b.labels.size())
        return std::nullopt;
    if (!(label_set(summed) - (in_a & in_b)).empty())
        return std::nullopt;

    const output_groups groups = grouped(output, in_a, in_b);
    const auto& [batch, a_free, b_free] = groups;
    const batch_sizes sizes{.batches = extent_product(batch, extents),
                            .m = extent_product(a_free, extents),
                            .n = extent_product(b_free, extents),
                            .k = extent_product(summed, extents)};
    if (summed.empty())
        return outer_product<T>(a, b, output, extents);
    const std::string canonical = batch + a_free + b_free;
    const bool in_order = canonical == output;
    const bool transposed = !in_order && batch + b_free + a_free == output;
    const std::size_t result_moved = transposes_each(sizes) ? 0 : elements_of_result(sizes);
    if (transposed && better_swapped<T>(a, b, groups, summed, result_moved))
        return contract_pair<T>(b, a, output, summed, extents);

    const ordered_elements<T> left(a, batch + a_free + summed, extents);
    const std::string right_labels = batch + summed + b_free;
    const bool in_passing = transposed && transposes_each(sizes);
    aligned_vector<T> result;
    if (b.labels == batch + b_free + summed && b.labels != right_labels && !in_passing &&
        packs_columns<T>(sizes)) {
        result = product_by_columns(sizes, left.data(), b.value.data.data());
    } else {
        const ordered_elements<T> right(b, right_labels, extents);
        result = batched_product(sizes, left.data(), right.data(),
                                 in_passing ? gemm_batch_transposed<T> : gemm_batch<T>);
    }
    if (!in_order && !in_passing)
        result = permuted<T>(result, canonical, output, extents);
    return tensor<T>(extents_of(output, extents), std::move(result));
}

template std::optional<tensor<double>> contract_pair(const labelled<double>&,
                                                     const labelled<double>&, const std::string&,
                                                     const std::string&, const label_extents&);
template std::optional<tensor<std::complex<double>>>
contract_pair(const labelled<std::complex<double>>&, const labelled<std::complex<double>>&,
              const std::string&, const std::string&, const label_extents&);

} // namespace numerical::detail

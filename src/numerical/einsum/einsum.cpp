#include "numerical/einsum/einsum.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/checks.hpp"
#include "numerical/einsum/contract_pair.hpp"
#include "numerical/einsum/contraction_path.hpp"
#include "numerical/einsum/general_loop.hpp"
#include "numerical/einsum/subscripts.hpp"
#include "numerical/gemm/gemm.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <complex>
#include <deque>
#include <string_view>
#include <utility>

namespace numerical::detail {
namespace {

// Whether both operands are matrices in place, all labels but the summed one flattened into rows
// or columns: "ij,jk->ik", and also "ijk,kl->ijl" or "i,i->".
bool is_matrix_form(std::string_view a, std::string_view b, std::string_view output,
                    std::string_view summed)
{
    if (summed.size() != 1 || a.empty() || b.empty())
        return false;
    if (a.back() != summed.front() || b.front() != summed.front())
        return false;
    a.remove_suffix(1);
    b.remove_prefix(1);
    return output.size() == a.size() + b.size() && output.starts_with(a) && output.ends_with(b);
}

template <class T>
tensor<T> matrix_product(const labelled<T>& a, const labelled<T>& b, const std::string& output,
                         const label_extents& extents)
{
    const std::size_t k = extents[a.labels.back()];
    const std::size_t m =
        extent_product(std::string_view(a.labels).substr(0, a.labels.size() - 1), extents);
    const std::size_t n = extent_product(std::string_view(b.labels).substr(1), extents);
    const T* const left = a.value.data.data();
    const T* const right = b.value.data.data();
    const std::size_t size = checked_mul(m, n);
    aligned_vector<T> result;
    if (size == 1)
        result.push_back(chunked_dot(left, right, k));
    else if (size == 0 || k == 0)
        result = zeros<T>(size);
    else {
        result = uninitialized<T>(size);
        gemm_new<T>(m, n, k, left, k, right, n, result.data(), n);
    }
    return tensor<T>(extents_of(output, extents), std::move(result));
}

template <class T>
tensor<T> contract_two(const labelled<T>& a, const labelled<T>& b, const std::string& output,
                       const std::string& summed, const label_extents& extents)
{
    if (is_matrix_form(a.labels, b.labels, output, summed))
        return matrix_product<T>(a, b, output, extents);
    auto product = contract_pair<T>(a, b, output, summed, extents);
    if (product)
        return *std::move(product);
    return general_loop<T, 2>({a, b}, output, summed, extents);
}

// Contracts the operands pair by pair; the last step brings the axes into the output's order.
template <class T>
tensor<T> contract_along_path(const subscripts& parsed, std::vector<const tensor<T>*> operands)
{
    std::vector<std::string> labels = parsed.inputs;
    std::deque<tensor<T>> results;
    for (const auto [first, second] :
         contraction_path(parsed.inputs, parsed.output, parsed.extents)) {
        const std::string kept =
            labels.size() == 2 ? parsed.output : pair_keeps(labels, first, second, parsed.output);
        const label_set in_pair = label_set(labels[first]) | label_set(labels[second]);
        results.push_back(contract_two<T>({labels[first], *operands[first]},
                                          {labels[second], *operands[second]}, kept,
                                          (in_pair - label_set(kept)).text(), parsed.extents));
        for (const std::size_t position : {second, first}) {
            labels.erase(labels.begin() + static_cast<std::ptrdiff_t>(position));
            operands.erase(operands.begin() + static_cast<std::ptrdiff_t>(position));
        }
        labels.push_back(kept);
        operands.push_back(&results.back());
    }
    return std::move(results.back());
}

} // namespace

template <class T>
tensor<T> einsum_impl(const std::string& spec, const std::vector<const tensor<T>*>& operands)
{
    const subscripts parsed = parse_subscripts<T>(spec, operands);
    if (operands.size() == 1)
        return general_loop<T, 1>({{{parsed.inputs[0], *operands[0]}}}, parsed.output,
                                  parsed.summed, parsed.extents);
    if (operands.size() == 2)
        return contract_two<T>({parsed.inputs[0], *operands[0]}, {parsed.inputs[1], *operands[1]},
                               parsed.output, parsed.summed, parsed.extents);
    return contract_along_path(parsed, operands);
}

template tensor<double> einsum_impl(const std::string&, const std::vector<const tensor<double>*>&);
template tensor<std::complex<double>>
einsum_impl(const std::string&, const std::vector<const tensor<std::complex<double>>*>&);

} // namespace numerical::detail

#include "numerical/einsum/contraction_path.hpp"

#include <algorithm>
#include <utility>

namespace numerical::detail {
namespace {

constexpr std::size_t most_operands_searched = 4;

// Calls visit(label) for each distinct label of both strings, in the order of their first
// occurrence.
template <class F>
void for_each_distinct(const std::string& first, const std::string& second, const F& visit)
{
    label_set seen;
    for (const std::string* labels : {&first, &second})
        for (const char label : *labels)
            if (seen.insert(label))
                visit(label);
}

struct pair_cost
{
    double work; // multiply-adds
    double size; // elements of the result
};

// A list of label strings that knows which labels occur in one, in two, and in three or more of
// them. A label of a pair is needed elsewhere if more strings contain it than the pair's own do, so
// the labels that a contraction keeps are found without searching the other strings.
class operand_list
{
public:
    operand_list(const std::vector<std::string>& label_strings, const std::string& output)
        : inputs(label_strings), wanted(output)
    {
        label_set in_one;
        sets.reserve(inputs.size());
        for (const std::string& labels : inputs) {
            const label_set set(labels);
            in_three = in_three | (in_two & set);
            in_two = in_two | (in_one & set);
            in_one = in_one | set;
            sets.push_back(set);
        }
    }

    bool share_a_label(std::size_t first, std::size_t second) const
    {
        return !(sets[first] & sets[second]).empty();
    }

    bool some_pair_shares_a_label() const { return !in_two.empty(); }

    std::string keeps(std::size_t first, std::size_t second) const
    {
        const label_set kept = kept_labels(first, second);
        std::string result;
        for_each_distinct(inputs[first], inputs[second], [&](char label) {
            if (kept.contains(label))
                result += label;
        });
        return result;
    }

    pair_cost cost_of(std::size_t first, std::size_t second, const label_extents& extents) const
    {
        const label_set kept = kept_labels(first, second);
        pair_cost cost{1, 1};
        for_each_distinct(inputs[first], inputs[second], [&](char label) {
            const auto extent = static_cast<double>(extents[label]);
            cost.work *= extent;
            if (kept.contains(label))
                cost.size *= extent;
        });
        return cost;
    }

private:
    label_set kept_labels(std::size_t first, std::size_t second) const
    {
        const label_set in_either = sets[first] ^ sets[second];
        const label_set in_both = sets[first] & sets[second];
        return ((in_either | in_both) & wanted) | (in_either & in_two) | (in_both & in_three);
    }

    const std::vector<std::string>& inputs;
    label_set wanted;
    std::vector<label_set> sets;
    label_set in_two;
    label_set in_three;
};

// Calls visit(first, second) for all pairs of positions in lexicographic order.
template <class F>
void for_each_pair(std::size_t count, const F& visit)
{
    for (std::size_t first = 0; first < count; ++first)
        for (std::size_t second = first + 1; second < count; ++second)
            visit(first, second);
}

// The list of label strings after a step.
void contract_labels(std::vector<std::string>& inputs, contraction_step step, std::string kept)
{
    inputs.erase(inputs.begin() + static_cast<std::ptrdiff_t>(step.second));
    inputs.erase(inputs.begin() + static_cast<std::ptrdiff_t>(step.first));
    inputs.push_back(std::move(kept));
}

// The pair of least work, then of the smallest result, then the first. Pairs without a common
// label come last, as their product only makes later steps larger.
contraction_step cheapest_pair(const operand_list& list, std::size_t count,
                               const label_extents& extents)
{
    const bool skip_outer_products = list.some_pair_shares_a_label();
    contraction_step best{0, 1};
    pair_cost least{};
    bool found = false;
    for_each_pair(count, [&](std::size_t first, std::size_t second) {
        if (skip_outer_products && !list.share_a_label(first, second))
            return;
        const pair_cost cost = list.cost_of(first, second, extents);
        if (found && !(cost.work < least.work) &&
            !(cost.work == least.work && cost.size < least.size))
            return;
        best = {first, second};
        least = cost;
        found = true;
    });
    return best;
}

} // namespace

std::string pair_keeps(const std::vector<std::string>& inputs, std::size_t first,
                       std::size_t second, const std::string& output)
{
    return operand_list(inputs, output).keeps(first, second);
}

void cheapest_path(const std::vector<std::string>& inputs, const std::string& output,
                   const label_extents& extents, std::vector<contraction_step>& path, double& cost,
                   double& peak)
{
    path.clear();
    cost = 0;
    peak = 0;
    const operand_list list(inputs, output);
    bool found = false;
    for_each_pair(inputs.size(), [&](std::size_t first, std::size_t second) {
        std::vector<std::string> reduced = inputs;
        contract_labels(reduced, {first, second}, list.keeps(first, second));
        std::vector<contraction_step> rest;
        double cost_of_rest = 0;
        double peak_of_rest = 0;
        cheapest_path(reduced, output, extents, rest, cost_of_rest, peak_of_rest);

        const pair_cost here = list.cost_of(first, second, extents);
        const double total = here.work + cost_of_rest;
        const double peak_here = std::max(peak_of_rest, here.size);
        if (found && !(total < cost) && !(total == cost && peak_here < peak))
            return;
        found = true;
        cost = total;
        peak = peak_here;
        path.assign(1, {first, second});
        path.insert(path.end(), rest.begin(), rest.end());
    });
}

std::vector<contraction_step> contraction_path(std::vector<std::string> inputs,
                                               const std::string& output,
                                               const label_extents& extents)
{
    std::vector<contraction_step> path;
    if (inputs.size() <= most_operands_searched) {
        double cost = 0;
        double peak = 0;
        cheapest_path(inputs, output, extents, path, cost, peak);
        return path;
    }
    while (inputs.size() > 1) {
        const operand_list list(inputs, output);
        const contraction_step step = cheapest_pair(list, inputs.size(), extents);
        path.push_back(step);
        contract_labels(inputs, step, list.keeps(step.first, step.second));
    }
    return path;
}

} // namespace numerical::detail

#include "numerical/eigen/row_operation_plan.hpp"

#include "numerical/storage.hpp"

#include <algorithm>

namespace numerical::detail {
namespace {

// Below this length the cost of a wave's ends outweighs its gain.
constexpr std::ptrdiff_t least_wave = 8;

} // namespace

row_operation_plan::row_operation_plan(row_operation_span operations)
    : coefficients(uninitialized<double>(2 * operations.size())), next_pair(coefficients.data())
{
    std::vector<chain> waiting; // consecutive chains of one direction
    const auto flush = [&] {
        add_chains(waiting.data(), waiting.size());
        waiting.clear();
    };
    for (const row_operation_run& run : cut_into_runs(operations)) {
        if (is_chain(operations, run)) {
            const chain next = chain_of(operations, run);
            if (!waiting.empty() && waiting.back().step != next.step)
                flush();
            waiting.push_back(next);
            continue;
        }
        flush();
        for (std::size_t i = run.start; i < run.start + run.count; ++i)
            passes.push_back({row_pass::shape::single, {}, operations[i]});
    }
    flush();
}

bool row_operation_plan::is_chain(row_operation_span operations, const row_operation_run& run)
{
    return run.count > 1 &&
           std::all_of(operations.begin() + static_cast<std::ptrdiff_t>(run.start),
                       operations.begin() + static_cast<std::ptrdiff_t>(run.start + run.count),
                       [](const row_operation& operation) {
                           return operation.second == operation.first + 1;
                       });
}

row_operation_plan::chain row_operation_plan::chain_of(row_operation_span operations,
                                                       const row_operation_run& run)
{
    const row_operation& head = operations[run.start];
    if (run.descending)
        return {.first = &head,
                .length = run.count,
                .step = -1,
                .position = -static_cast<std::ptrdiff_t>(head.second)};
    return {.first = &head,
            .length = run.count,
            .step = 1,
            .position = static_cast<std::ptrdiff_t>(head.first)};
}

void row_operation_plan::add_chains(const chain* chains, std::size_t count)
{
    for (std::size_t i = 0; i < count;) {
        if (count - i >= wave_chains && add_wave(chains + i)) {
            i += wave_chains;
            continue;
        }
        const auto length = static_cast<std::ptrdiff_t>(chains[i].length);
        add_chain(chains[i], chains[i].position, chains[i].position + length);
        ++i;
    }
}

// Chain q is at position - q when chain 0 is at `position`.
bool row_operation_plan::add_wave(const chain* chains)
{
    std::ptrdiff_t from = chains[0].position;
    std::ptrdiff_t to = from + static_cast<std::ptrdiff_t>(chains[0].length);
    for (std::size_t q = 1; q < wave_chains; ++q) {
        const std::ptrdiff_t first = chains[q].position + static_cast<std::ptrdiff_t>(q);
        from = std::max(from, first);
        to = std::min(to, first + static_cast<std::ptrdiff_t>(chains[q].length));
    }
    if (to - from < least_wave)
        return false;

    const auto lag = [](std::size_t q) { return static_cast<std::ptrdiff_t>(q); };
    for (std::size_t q = 0; q < wave_chains; ++q)
        add_chain(chains[q], chains[q].position, from - lag(q));
    const std::ptrdiff_t step = chains[0].step;
    const double sign = static_cast<double>(step);
    add_pass(row_pass::shape::wave, step, from, to);
    for (std::ptrdiff_t position = from; position < to; ++position)
        for (std::size_t q = 0; q < wave_chains; ++q)
            add_pair(chains[q].first[position - lag(q) - chains[q].position], sign);
    for (std::size_t q = 0; q < wave_chains; ++q)
        add_chain(chains[q], to - lag(q),
                  chains[q].position + static_cast<std::ptrdiff_t>(chains[q].length));
    return true;
}

// In place: a pass put together elsewhere and copied costs as much as the rotations of a short one.
void row_operation_plan::add_pass(row_pass::shape kind, std::ptrdiff_t step, std::ptrdiff_t from,
                                  std::ptrdiff_t to)
{
    row_pass& pass = passes.emplace_back();
    pass.kind = kind;
    pass.rotations.row = static_cast<std::size_t>(step * from);
    pass.rotations.step = step;
    pass.rotations.length = static_cast<std::size_t>(to - from);
    pass.rotations.coefficients = next_pair;
}

// The rotations of a chain whose moving row is at positions [from, to).
void row_operation_plan::add_chain(const chain& whole, std::ptrdiff_t from, std::ptrdiff_t to)
{
    if (from >= to)
        return;
    add_pass(row_pass::shape::chain, whole.step, from, to);
    const double sign = static_cast<double>(whole.step);
    for (std::ptrdiff_t position = from; position < to; ++position)
        add_pair(whole.first[position - whole.position], sign);
}

} // namespace numerical::detail

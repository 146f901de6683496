#include "numerical/eigen/row_operations.hpp"

#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"

#include <algorithm>
#include <cmath>
#include <complex>

namespace numerical::detail {
namespace {

constexpr std::size_t slab_columns = 64;

bool is_rotation(const row_operation& operation)
{
    return operation.kind == row_operation_kind::rotation;
}

template <class T>
void apply_to_slab(T* slab, std::size_t stride, std::size_t width, const row_operation& operation)
{
    T* const first = slab + operation.first * stride;
    T* const second = slab + operation.second * stride;
    switch (operation.kind) {
    case row_operation_kind::rotation:
        for (std::size_t j = 0; j < width; ++j) {
            const T x = first[j];
            const T y = second[j];
            first[j] = operation.c * x + operation.s * y;
            second[j] = operation.c * y - operation.s * x;
        }
        return;
    case row_operation_kind::negation:
        std::transform(first, first + width, first, [](const T& x) { return negated(x); });
        return;
    case row_operation_kind::swap:
        std::swap_ranges(first, first + width, second);
        return;
    }
}

} // namespace

double rotation_length(double x, double y)
{
    const double larger = std::max(std::abs(x), std::abs(y));
    if (0x1p-500 < larger && larger < 0x1p500)
        return std::sqrt(x * x + y * y);
    return std::hypot(x, y);
}

std::vector<row_operation_run> cut_into_runs(const row_operations& operations)
{
    std::vector<row_operation_run> runs;
    const std::size_t total = operations.size();
    for (std::size_t start = 0; start < total;) {
        const auto extends = [&](std::size_t i, bool descending) {
            if (i >= total || !is_rotation(operations[i - 1]) || !is_rotation(operations[i]))
                return false;
            return descending ? operations[i].second == operations[i - 1].first
                              : operations[i].first == operations[i - 1].second;
        };
        const bool descending = extends(start + 1, true);
        std::size_t end = start + 1;
        while (extends(end, descending))
            ++end;
        runs.push_back({start, end - start, descending});
        start = end;
    }
    return runs;
}

template <class T>
void apply_row_operations(std::vector<T>& basis, std::size_t n, const row_operations& operations)
{
    const auto transform_slab = [&](std::size_t b) {
        const std::size_t from = b * slab_columns;
        for (const row_operation& operation : operations)
            apply_to_slab(basis.data() + from, n, std::min(slab_columns, n - from), operation);
    };
    parallel_for((n + slab_columns - 1) / slab_columns, operations.size() * slab_columns,
                 transform_slab);
}

template void apply_row_operations(std::vector<double>&, std::size_t, const row_operations&);
template void apply_row_operations(std::vector<complex>&, std::size_t, const row_operations&);

} // namespace numerical::detail

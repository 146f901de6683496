#include "numerical/eigen/row_operations.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/eigen/row_operation_plan.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"

#include <algorithm>
#include <complex>

namespace numerical::detail {
namespace {

constexpr std::size_t slab_columns = 64;
constexpr std::size_t batch_passes = 16;

bool is_rotation(const row_operation& operation)
{
    return operation.kind == row_operation_kind::rotation;
}

struct rotation_kernels
{
    void (*chain)(double*, const rotation_wave&);
    void (*wave)(double*, const rotation_wave&);
};

rotation_kernels kernels_of(int path)
{
    return choose<rotation_kernels>(path, {rotate_chain, rotate_wave},
                                    {avx2_unfused_rotate_chain, avx2_unfused_rotate_wave},
                                    {avx512_rotate_chain, avx512_rotate_wave});
}

void apply_single(double* first, double* second, std::size_t width, const row_operation& operation)
{
    switch (operation.kind) {
    case row_operation_kind::rotation:
        for (std::size_t j = 0; j < width; ++j) {
            const double x = first[j];
            const double y = second[j];
            first[j] = operation.c * x + operation.s * y;
            second[j] = operation.c * y - operation.s * x;
        }
        return;
    case row_operation_kind::negation:
        std::transform(first, first + width, first, [](double x) { return -x; });
        return;
    case row_operation_kind::swap:
        std::swap_ranges(first, first + width, second);
        return;
    }
}

void apply_pass(const rotation_kernels& kernels, double* strip, const row_pass& pass)
{
    switch (pass.kind) {
    case row_pass::shape::wave:
        return kernels.wave(strip, pass.rotations);
    case row_pass::shape::chain:
        return kernels.chain(strip, pass.rotations);
    case row_pass::shape::single:
        return apply_single(strip + pass.single.first * strip_width,
                            strip + pass.single.second * strip_width, strip_width, pass.single);
    }
}

// Columns of a row-major array in strips of their own, the last one padded with zeros: rows then
// lie close together whatever the width of the array, and the kernels meet full strips only.
class strips_of
{
public:
    strips_of(double* columns, std::size_t rows, std::size_t width, std::size_t stride)
        : source(columns), height(rows), source_width(width), source_stride(stride),
          strip_size(rows * strip_width), store(ceil_div(width, strip_width) * strip_size)
    {
        for (std::size_t j = 0; j < source_width; j += strip_width)
            for (std::size_t i = 0; i < height; ++i)
                std::copy_n(source + i * source_stride + j, width_at(j), row(i, j));
    }

    std::size_t count() const { return store.size() / strip_size; }

    double* strip(std::size_t s) { return store.data() + s * strip_size; }

    void copy_back()
    {
        for (std::size_t j = 0; j < source_width; j += strip_width)
            for (std::size_t i = 0; i < height; ++i)
                std::copy_n(row(i, j), width_at(j), source + i * source_stride + j);
    }

private:
    double* source;
    std::size_t height;
    std::size_t source_width;
    std::size_t source_stride;
    std::size_t strip_size;
    aligned_vector<double> store;

    std::size_t width_at(std::size_t j) const { return std::min(strip_width, source_width - j); }

    double* row(std::size_t i, std::size_t j)
    {
        return store.data() + j / strip_width * strip_size + i * strip_width;
    }
};

// Below this width a pass for each operation takes less than the making of a plan and of strips.
constexpr std::size_t narrow_columns = 4;

void apply_one_by_one(block_view<double> rows, row_operation_span operations)
{
    for (const row_operation& operation : operations)
        apply_single(rows.row(operation.first), rows.row(operation.second), rows.cols, operation);
}

// All passes over all strips, a batch of passes at a time: a strip comes into the cache once for
// the batch, whose coefficients stay there beside it.
void apply_passes(const rotation_kernels& kernels, const std::vector<row_pass>& passes,
                  strips_of& strips)
{
    for (std::size_t from = 0; from < passes.size(); from += batch_passes) {
        const std::size_t to = std::min(from + batch_passes, passes.size());
        for (std::size_t s = 0; s < strips.count(); ++s)
            for (std::size_t i = from; i < to; ++i)
                apply_pass(kernels, strips.strip(s), passes[i]);
    }
}

// Rows of numbers of `parts` doubles each, in slabs of whole numbers.
void apply_to_slabs(block_view<double> rows, std::size_t parts, row_operation_span operations)
{
    if (rows.rows == 0 || operations.empty())
        return;
    const rotation_kernels kernels = kernels_of(gemm_path_current());
    const row_operation_plan plan(operations);
    const std::size_t slab = slab_columns * parts;
    const auto transform_slab = [&](std::size_t b) {
        const std::size_t width = std::min(slab, rows.cols - b * slab);
        strips_of strips(rows.first + b * slab, rows.rows, width, rows.stride);
        apply_passes(kernels, plan.passes, strips);
        strips.copy_back();
    };
    parallel_for(ceil_div(rows.cols, slab), operations.size() * slab_columns, transform_slab);
}

} // namespace

template <class T>
void apply_row_operations(aligned_vector<T>& basis, std::size_t n, row_operation_span operations)
{
    constexpr std::size_t parts = sizeof(T) / sizeof(double);
    auto* const columns = as_doubles(basis.data());
    apply_to_slabs({columns, n, parts * n}, parts, operations);
}

void apply_row_operations(block_view<double> rows, row_operation_span operations)
{
    if (rows.cols <= narrow_columns)
        apply_one_by_one(rows, operations);
    else
        apply_to_slabs(rows, 1, operations);
}

std::vector<row_operation_run> cut_into_runs(row_operation_span operations)
{
    std::vector<row_operation_run> runs;
    for (auto start = operations.begin(); start != operations.end();) {
        // Chains end where a rotation doesn't take up the row that the one before it leaves.
        const auto end_of_chain = [&](auto breaks) {
            const auto last = std::adjacent_find(start, operations.end(), breaks);
            return last == operations.end() ? last : last + 1;
        };
        auto end = start + 1;
        bool descending = false;
        if (is_rotation(*start)) {
            end = end_of_chain([](const row_operation& a, const row_operation& b) {
                return !is_rotation(b) || b.second != a.first;
            });
            descending = end - start > 1;
            if (!descending)
                end = end_of_chain([](const row_operation& a, const row_operation& b) {
                    return !is_rotation(b) || b.first != a.second;
                });
        }
        runs.push_back({static_cast<std::size_t>(start - operations.begin()),
                        static_cast<std::size_t>(end - start), descending});
        start = end;
    }
    return runs;
}

template void apply_row_operations(aligned_vector<double>&, std::size_t, row_operation_span);
template void apply_row_operations(aligned_vector<complex>&, std::size_t, row_operation_span);

} // namespace numerical::detail

#include "numerical/gemm/vector_product.hpp"

#include "numerical/counts.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/gemm/task_share.hpp"
#include "numerical/gemm/vector_product_kernels.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/thread_scratch.hpp"

#include <algorithm>
#include <array>
#include <optional>

namespace numerical::detail {

// The 256-bit forms serve both vector paths: 512 bits need as many loads and twice the shuffles.
template <class T>
bool is_vector_product(const product_operands<T>& p)
{
    const bool by_vector = p.n == 1 || p.m == 1;
    return by_vector && avx2_in_force(gemm_path_current());
}

template bool is_vector_product(const product_operands<double>&);
template bool is_vector_product(const product_operands<complex>&);

namespace {

// y[r·step] += A·x for the rows of A, lda apart, or y = A·x.
template <class T>
struct rows_times_vector
{
    std::size_t rows;
    std::size_t depth;
    const T* a;
    std::size_t lda;
    const T* x;
    T* y;
    std::size_t step;
    into_c into;
};

// Rows that one call of the real kernel takes, of the last one perhaps half as many more. Those a
// multiple of 4 KiB apart share one set of L1, which has room for eight lines.
std::size_t rows_of_group(std::size_t lda)
{
    constexpr std::size_t rows = 16;
    constexpr std::size_t rows_in_a_set = 8;
    return lda * sizeof(double) % 4096 == 0 ? rows_in_a_set : rows;
}

void multiply_group(const rows_times_vector<double>& p)
{
    std::array<double, most_rows_of_vector_product> sums{};
    if (p.into == into_c::add)
        for (std::size_t r = 0; r < p.rows; ++r)
            sums[r] = p.y[r * p.step];
    avx2_add_rows_times_vector(p.rows, p.depth, p.a, p.lda, p.x, sums.data());
    for (std::size_t r = 0; r < p.rows; ++r)
        p.y[r * p.step] = sums[r];
}

// Each index writes the results of its own rows. Few rows, whose sums would wait for each other, go
// with the group before.
void multiply_rows_by_vector(const rows_times_vector<double>& p)
{
    const std::size_t group_rows = rows_of_group(p.lda);
    const std::size_t groups = std::max<std::size_t>((p.rows + group_rows / 2 - 1) / group_rows, 1);
    const auto multiply_some = [&](std::size_t t) {
        const std::size_t first = t * group_rows;
        rows_times_vector<double> group = p;
        group.rows = t + 1 == groups ? p.rows - first : group_rows;
        group.a += first * p.lda;
        group.y += first * p.step;
        multiply_group(group);
    };
    parallel_for(groups, group_rows * p.depth / products_per_unit, multiply_some);
}

void multiply_task(const rows_times_vector<complex>& p, std::size_t block_depth)
{
    if (p.into == into_c::store)
        for (std::size_t r = 0; r < p.rows; ++r)
            p.y[r * p.step] = 0;
    thread_scratch<double> aside(rows_put_aside * std::min(p.depth, block_depth));
    for (std::size_t l = 0; l < p.depth; l += block_depth)
        avx2_add_complex_rows_times_vector({.rows = p.rows,
                                            .depth = std::min(p.depth - l, block_depth),
                                            .a = as_doubles(p.a + l),
                                            .lda = 2 * p.lda,
                                            .x = as_doubles(p.x + l),
                                            .y = as_doubles(p.y),
                                            .step = 2 * p.step,
                                            .aside = aside.data()});
}

// Each index writes the results of its own rows. The kernel begins and ends with half a group at
// work, which tasks of several groups make up for.
void multiply_rows_by_vector(const rows_times_vector<complex>& p, std::size_t block_depth)
{
    constexpr std::size_t most_rows = 128;
    const std::size_t task_rows = share_of_task(p.rows, 2 * p.depth, {rows_put_aside, most_rows});
    const auto multiply_some = [&](std::size_t t) {
        const std::size_t first = t * task_rows;
        rows_times_vector<complex> task = p;
        task.rows = std::min(p.rows - first, task_rows);
        task.a += first * p.lda;
        task.y += first * p.step;
        multiply_task(task, block_depth);
    };
    const std::size_t tasks = ceil_div(p.rows, task_rows);
    parallel_for(tasks, 2 * task_rows * p.depth / products_per_unit, multiply_some);
}

// A vector whose elements lie `stride` apart, side by side.
template <class T>
class dense_vector
{
public:
    dense_vector(const T* first, std::size_t stride, std::size_t count) : elements(first)
    {
        if (stride == 1)
            return;
        copy.emplace(count);
        for (std::size_t i = 0; i < count; ++i)
            copy->data()[i] = first[i * stride];
        elements = copy->data();
    }

    const T* data() const { return elements; }

private:
    std::optional<thread_scratch<T>> copy;
    const T* elements;
};

// Columns of c that stay in L1 while the rows of B pass by.
constexpr std::size_t near_columns = 2048;

// c[j] += sum of x[l]·B[l, j] for some columns.
void add_columns(const product_operands<double>& p)
{
    avx2_add_scaled_rows(
        {.cols = p.n, .depth = p.k, .x = p.a, .step = 1, .b = p.b, .ldb = p.ldb, .c = p.c});
}

void add_columns(const product_operands<complex>& p, std::size_t block_depth)
{
    auto* const c = as_doubles(p.c);
    for (std::size_t l = 0; l < p.k; l += block_depth) {
        const std::size_t depth = std::min(p.k - l, block_depth);
        scaled_rows rows{.cols = 2 * p.n,
                         .depth = depth,
                         .x = as_doubles(p.a + l),
                         .step = 2,
                         .b = as_doubles(p.b + l * p.ldb),
                         .ldb = 2 * p.ldb,
                         .c = c};
        avx2_add_scaled_rows(rows);
        const bool is_last = l + depth == p.k;
        rows.x += 1;
        rows.next_b = is_last ? rows.b : rows.b + depth * rows.ldb;
        avx2_add_turned_scaled_rows(rows);
    }
}

// Each index writes its own columns of C, a row.
template <class T, class AddColumns>
void multiply_vector_by_rows(const product_operands<T>& p, std::size_t most_columns,
                             const AddColumns& add)
{
    constexpr std::size_t cost = sizeof(T) / sizeof(double);
    // Whole lines. Long runs of a row are best: the hardware prefetcher follows one for a page.
    const std::size_t task_columns = share_of_task(p.n, cost * p.k, {64, most_columns});
    const auto multiply_some = [&](std::size_t t) {
        const std::size_t first = t * task_columns;
        product_operands<T> some = p;
        some.n = std::min(p.n - first, task_columns);
        some.b += first;
        some.c += first;
        if (p.into == into_c::store)
            std::fill_n(some.c, some.n, T(0));
        add(some);
    };
    const std::size_t tasks = ceil_div(p.n, task_columns);
    parallel_for(tasks, cost * task_columns * p.k / products_per_unit, multiply_some);
}

} // namespace

// A row times columns that lie one after the other is their matrix, by rows, times the row.
void multiply_vector(const product_operands<double>& p)
{
    const bool by_columns = p.b_order == order_of_b::by_columns;
    if (p.n == 1) {
        const dense_vector<double> x(p.b, by_columns ? 1 : p.ldb, p.k);
        multiply_rows_by_vector({.rows = p.m,
                                 .depth = p.k,
                                 .a = p.a,
                                 .lda = p.lda,
                                 .x = x.data(),
                                 .y = p.c,
                                 .step = p.ldc,
                                 .into = p.into});
    } else if (by_columns) {
        multiply_rows_by_vector({.rows = p.n,
                                 .depth = p.k,
                                 .a = p.b,
                                 .lda = p.ldb,
                                 .x = p.a,
                                 .y = p.c,
                                 .step = 1,
                                 .into = p.into});
    } else {
        multiply_vector_by_rows(p, near_columns, [](const auto& some) { add_columns(some); });
    }
}

void multiply_vector(const product_operands<complex>& p, std::size_t block_depth)
{
    // A block of B is read a second time, for the imaginary parts of A, from L2.
    constexpr std::size_t most_columns = 128;
    if (p.n == 1) {
        const dense_vector<complex> x(p.b, p.ldb, p.k);
        return multiply_rows_by_vector({.rows = p.m,
                                        .depth = p.k,
                                        .a = p.a,
                                        .lda = p.lda,
                                        .x = x.data(),
                                        .y = p.c,
                                        .step = p.ldc,
                                        .into = p.into},
                                       block_depth);
    }
    multiply_vector_by_rows(p, most_columns,
                            [=](const auto& some) { add_columns(some, block_depth); });
}

} // namespace numerical::detail

#include "numerical/gemm/vector_product.hpp"

#include "numerical/gemm/path.hpp"
#include "numerical/gemm/vector_product_kernels.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/thread_scratch.hpp"

#include <algorithm>
#include <array>
#include <optional>

namespace numerical::detail {

// The 256-bit forms serve both vector paths: 512 bits ask for as many loads and twice the shuffles.
template <class T>
bool is_vector_product(const product_operands<T>& p)
{
    const bool by_vector = p.n == 1 || p.m == 1;
    return by_vector && gemm_path_current() != portable_path && cpu_features().avx2;
}

template bool is_vector_product(const product_operands<double>&);
template bool is_vector_product(const product_operands<complex>&);

namespace {

// Rows that one call of a kernel takes. Those a multiple of 4 KiB apart share one set of L1, which
// has room for eight lines.
constexpr std::size_t rows_in_a_set = 8;

template <class T>
constexpr std::size_t most_rows = most_rows_of_vector_product;
template <>
constexpr std::size_t most_rows<complex> = most_complex_rows_of_vector_product;

template <class T>
std::size_t rows_of_group(std::size_t lda)
{
    return lda * sizeof(T) % 4096 == 0 ? std::min(most_rows<T>, rows_in_a_set) : most_rows<T>;
}

const double* parts(const complex* z)
{
    return reinterpret_cast<const double*>(z);
}

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
    std::size_t block_depth; // of complex numbers
};

// The sums of some rows, as many as a kernel takes.
void multiply_group(const rows_times_vector<double>& p)
{
    std::array<double, most_rows<double>> sums{};
    if (p.into == into_c::add)
        for (std::size_t r = 0; r < p.rows; ++r)
            sums[r] = p.y[r * p.step];
    avx2_add_rows_times_vector(p.rows, p.depth, p.a, p.lda, p.x, sums.data());
    for (std::size_t r = 0; r < p.rows; ++r)
        p.y[r * p.step] = sums[r];
}

void multiply_group(const rows_times_vector<complex>& p)
{
    constexpr std::size_t most = most_rows<complex>;
    std::array<double, 2 * most> sums{};
    if (p.into == into_c::add)
        for (std::size_t r = 0; r < p.rows; ++r) {
            sums[r] = p.y[r * p.step].real();
            sums[most + r] = p.y[r * p.step].imag();
        }
    thread_scratch<double> aside(most * std::min(p.depth, p.block_depth));
    for (std::size_t l = 0; l < p.depth; l += p.block_depth) {
        const std::size_t depth = std::min(p.depth - l, p.block_depth);
        const complex* const next = l + depth < p.depth ? p.a + l + depth : p.a + p.rows * p.lda;
        avx2_add_complex_rows_times_vector({p.rows, depth, parts(p.a + l), 2 * p.lda,
                                            parts(p.x + l), sums.data(), aside.data(),
                                            parts(next)});
    }
    for (std::size_t r = 0; r < p.rows; ++r)
        p.y[r * p.step] = {sums[r], sums[most + r]};
}

// Each index writes the results of its own rows.
template <class T>
void multiply_rows_by_vector(const rows_times_vector<T>& p)
{
    const std::size_t group_rows = rows_of_group<T>(p.lda);
    constexpr std::size_t cost = sizeof(T) / sizeof(double);
    const auto multiply_some = [&](std::size_t t) {
        const std::size_t first = t * group_rows;
        rows_times_vector<T> group = p;
        group.rows = std::min(p.rows - first, group_rows);
        group.a += first * p.lda;
        group.y += first * p.step;
        multiply_group(group);
    };
    const std::size_t groups = (p.rows + group_rows - 1) / group_rows;
    parallel_for(groups, cost * group_rows * p.depth / products_per_unit, multiply_some);
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
    avx2_add_scaled_rows({p.n, p.k, p.a, 1, p.b, p.ldb, p.c});
}

void add_columns(const product_operands<complex>& p, std::size_t block_depth)
{
    auto* const c = reinterpret_cast<double*>(p.c);
    for (std::size_t l = 0; l < p.k; l += block_depth) {
        const std::size_t depth = std::min(p.k - l, block_depth);
        scaled_rows rows{2 * p.n, depth, parts(p.a + l), 2, parts(p.b + l * p.ldb), 2 * p.ldb, c};
        avx2_add_scaled_rows(rows);
        const bool is_last = l + depth == p.k;
        rows.x += 1;
        rows.next_b = is_last ? rows.b : rows.b + depth * rows.ldb;
        avx2_add_turned_scaled_rows(rows);
    }
}

// Columns for an index: a share for each thread that the work is worth, whole lines, and no more
// than `most`. Long runs of a row are best: the hardware prefetcher follows one for a page.
std::size_t columns_of_task(std::size_t cols, std::size_t products_of_column, std::size_t most)
{
    constexpr std::size_t least = 64;
    constexpr std::size_t products_of_thread = 65536 * products_per_unit;
    const std::size_t share = cols / allowed_threads() + 1;
    const std::size_t wanted = std::max(share, products_of_thread / (products_of_column + 1));
    return std::min((wanted + least - 1) / least * least, most);
}

// Each index writes its own columns of C, a row.
template <class T, class AddColumns>
void multiply_vector_by_rows(const product_operands<T>& p, std::size_t most_columns,
                             const AddColumns& add)
{
    constexpr std::size_t cost = sizeof(T) / sizeof(double);
    const std::size_t task_columns = columns_of_task(p.n, cost * p.k, most_columns);
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
    const std::size_t tasks = (p.n + task_columns - 1) / task_columns;
    parallel_for(tasks, cost * task_columns * p.k / products_per_unit, multiply_some);
}

} // namespace

// A row times columns that lie one after the other is their matrix, by rows, times the row.
void multiply_vector(const product_operands<double>& p)
{
    const bool by_columns = p.b_order == order_of_b::by_columns;
    if (p.n == 1) {
        const dense_vector<double> x(p.b, by_columns ? 1 : p.ldb, p.k);
        multiply_rows_by_vector<double>({p.m, p.k, p.a, p.lda, x.data(), p.c, p.ldc, p.into, p.k});
    } else if (by_columns) {
        multiply_rows_by_vector<double>({p.n, p.k, p.b, p.ldb, p.a, p.c, 1, p.into, p.k});
    } else {
        multiply_vector_by_rows(p, near_columns, [](const auto& some) { add_columns(some); });
    }
}

void multiply_vector(const product_operands<complex>& p, std::size_t block_depth)
{
    // A block of B is read a second time, for the imaginary parts of A, from L2.
    constexpr std::size_t most_columns = 256;
    if (p.n == 1) {
        const dense_vector<complex> x(p.b, p.ldb, p.k);
        return multiply_rows_by_vector<complex>(
            {p.m, p.k, p.a, p.lda, x.data(), p.c, p.ldc, p.into, block_depth});
    }
    multiply_vector_by_rows(p, most_columns,
                            [=](const auto& some) { add_columns(some, block_depth); });
}

} // namespace numerical::detail

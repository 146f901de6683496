#include "numerical/eigen/hermitian_product.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/gemm/kernels/symv.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/runtime/interruption.hpp"
#include "numerical/runtime/longest_at_ends.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"

#include <algorithm>

namespace numerical::detail {
namespace {

constexpr std::size_t block_rows = 32;

// The forms of the row passes on one path.
struct symmetric_kernels
{
    void (*eight_rows)(const double*, std::size_t, const double*, double*, std::size_t); // or none
    std::array<double, 4> (*four_rows)(const double*, std::size_t, const double*, double*,
                                       std::size_t);
    double (*one_row)(const double*, const double*, double, double*, std::size_t);
};

double portable_row(const double* row, const double* x, double alpha, double* y, std::size_t n)
{
    return symmetric_row(row, x, alpha, y, n);
}

symmetric_kernels kernels_of(int path, const double*)
{
    return choose<symmetric_kernels>(
        path, {nullptr, symmetric_rows<double>, portable_row},
        {nullptr, avx2_symmetric_rows, avx2_symmetric_row},
        {avx512_symmetric_eight_rows, avx512_symmetric_rows, avx512_symmetric_row});
}

struct hermitian_kernels
{
    std::array<complex, 4> (*four_rows)(const double*, std::size_t, const double*, double*,
                                        std::size_t);
    complex (*one_row)(const double*, const double*, double, double, double*, std::size_t);
};

complex hermitian_row(const double* row_parts, const double* x_parts, double alpha_real,
                      double alpha_imag, double* y_parts, std::size_t n)
{
    const auto* const row = reinterpret_cast<const complex*>(row_parts);
    const auto* const x = reinterpret_cast<const complex*>(x_parts);
    auto* const y = reinterpret_cast<complex*>(y_parts);
    const complex alpha(alpha_real, alpha_imag);
    complex sum = 0;
    for (std::size_t j = 0; j < n; ++j) {
        sum += row[j] * x[j];
        y[j] += alpha * std::conj(row[j]);
    }
    return sum;
}

std::array<complex, 4> hermitian_rows(const double* rows, std::size_t stride, const double* x,
                                      double* y, std::size_t n)
{
    std::array<complex, 4> sums;
    for (std::size_t r = 0; r < 4; ++r)
        sums[r] = hermitian_row(rows + r * 2 * stride, x, x[2 * (n + r)], x[2 * (n + r) + 1], y, n);
    return sums;
}

hermitian_kernels kernels_of(int path, const complex*)
{
    return choose<hermitian_kernels>(path, {hermitian_rows, hermitian_row},
                                     {avx2_hermitian_rows, avx2_hermitian_row},
                                     {avx512_hermitian_rows, avx512_hermitian_row});
}

// Rows from `from`, a multiple of 32, on in both their roles, into `sums`, of which [0, a.rows) is
// in use.
void add_rows(const symmetric_kernels& kernels, block_view<const double> a, std::size_t from,
              const double* x, double* sums)
{
    std::size_t r = from;
    if (kernels.eight_rows != nullptr)
        for (; r + 8 <= a.rows; r += 8)
            kernels.eight_rows(a.row(r), a.stride, x, sums, r);
    for (; r + 4 <= a.rows; r += 4) {
        const std::array<double, 4> dots = kernels.four_rows(a.row(r), a.stride, x, sums, r);
        for (std::size_t i = 0; i < 4; ++i)
            sums[r + i] += dots[i];
    }
    for (; r < a.rows; ++r) {
        const double* const row = a.row(r);
        sums[r] += kernels.one_row(row, x, x[r], sums, r);
        sums[r] += row[r] * x[r];
    }
}

// The triangle of four rows at the diagonal, which is real but for rounding.
void add_corner(const complex* a, std::size_t lda, const complex* x, complex* sums)
{
    for (std::size_t r = 0; r < 4; ++r) {
        const complex* const row = a + r * lda;
        complex sum = sums[r];
        for (std::size_t j = 0; j < r; ++j) {
            sum += finite_product(row[j], x[j]);
            sums[j] += finite_product(std::conj(row[j]), x[r]);
        }
        sums[r] = sum + row[r].real() * x[r];
    }
}

void add_rows(const hermitian_kernels& kernels, block_view<const complex> a, std::size_t from,
              const complex* x, complex* sums)
{
    const auto* const x_parts = as_doubles(x);
    auto* const sum_parts = as_doubles(sums);
    std::size_t r = from;
    for (; r + 4 <= a.rows; r += 4) {
        const complex* const rows = a.row(r);
        const std::array<complex, 4> dots =
            kernels.four_rows(as_doubles(rows), a.stride, x_parts, sum_parts, r);
        for (std::size_t i = 0; i < 4; ++i)
            sums[r + i] += dots[i];
        add_corner(rows + r, a.stride, x + r, sums + r);
    }
    for (; r < a.rows; ++r) {
        const complex* const row = a.row(r);
        sums[r] +=
            kernels.one_row(as_doubles(row), x_parts, x[r].real(), x[r].imag(), sum_parts, r);
        sums[r] += row[r].real() * x[r];
    }
}

std::size_t work_of_block(std::size_t len, int path, const double*)
{
    return (path == portable_path ? 1 : 2) * len * block_rows;
}

std::size_t work_of_block(std::size_t len, int path, const complex*)
{
    return (path == portable_path ? 1 : 3) * len * block_rows;
}

} // namespace

template <class T>
hermitian_product<T>::hermitian_product(block_view<const T> matrix, const T* vector, T* product,
                                        aligned_vector<T>& partial_sums)
    : path(gemm_path_current()), a(matrix), x(vector), y(product), partials(partial_sums),
      blocks(ceil_div(a.rows, block_rows)), work(work_of_block(a.rows, path, x)),
      shared(split_loop(blocks, work).has_value())
{
    const std::size_t kept = shared ? blocks * a.rows : a.rows;
    if (partials.size() < kept)
        partials.resize(kept);
}

template <class T>
std::size_t hermitian_product<T>::last_row(std::size_t block) const
{
    return std::min((block + 1) * block_rows, a.rows);
}

// The rows of a block touch no element of y beyond the last of them.
template <class T>
void hermitian_product<T>::multiply_block(std::size_t block, T* sums) const
{
    std::fill_n(sums, last_row(block), T(0));
    add_rows(kernels_of(path, x), a.sub(0, last_row(block), 0, a.cols), block * block_rows, x,
             sums);
}

template <class T>
void hermitian_product<T>::multiply(const std::function<void()>& beside)
{
    if (!shared) { // the sums of one block stay in L1
        check_for_interruption();
        beside();
        std::fill_n(y, a.rows, T(0));
        for (std::size_t b = 0; b < blocks; ++b) {
            multiply_block(b, partials.data());
            scaled_add_on(path, as_doubles(y), as_doubles(partials.data()), 1.0,
                          last_row(b) * (sizeof(T) / sizeof(double)));
        }
        return;
    }
    // Block b writes partials[b·rows ..].
    const auto multiply_in_turn = [&](std::size_t i) {
        const std::size_t b = longest_at_ends(i, blocks);
        multiply_block(b, partials.data() + b * a.rows);
    };
    parallel_for_beside(blocks, work, multiply_in_turn, beside);
}

template <class T>
void hermitian_product<T>::add_up(std::size_t from, std::size_t to) const
{
    if (!shared)
        return;
    constexpr std::size_t parts = sizeof(T) / sizeof(double);
    double* const sums = as_doubles(y + from);
    std::fill(y + from, y + to, T(0));
    for (std::size_t b = from / block_rows; b < blocks; ++b)
        scaled_add_on(path, sums, as_doubles(partials.data() + b * a.rows + from), 1.0,
                      (std::min(last_row(b), to) - from) * parts);
}

template class hermitian_product<double>;
template class hermitian_product<complex>;

} // namespace numerical::detail

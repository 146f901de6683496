#include "numerical/nonsymmetric/balance.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

namespace numerical::detail {
namespace {

double squared(double x)
{
    return x * x;
}

double squared(const complex& z)
{
    return z.real() * z.real() + z.imag() * z.imag();
}

// --- the permutation -----------------------------------------------------------------------------

// The numbers of nonzero elements off the diagonal in each row and column of [from, to). Rows and
// columns are numbered as in the matrix; `place` maps them to the result.
template <class T>
class isolation
{
public:
    isolation(block_view<const T> matrix, balance& result);

    void run();

private:
    void find_rows();
    void find_columns();

    bool is_free(std::size_t i) const { return free[i]; }

    const block_view<const T> a;
    const std::size_t n;
    balance& b;
    std::vector<std::size_t> in_row;
    std::vector<std::size_t> in_column;
    std::vector<char> free;
};

template <class T>
isolation<T>::isolation(block_view<const T> matrix, balance& result)
    : a(matrix), n(matrix.rows), b(result), in_row(n), in_column(n), free(n, 1)
{
    for (std::size_t i = 0; i < n; ++i) {
        std::size_t count = 0;
        for (std::size_t j = 0; j < n; ++j) {
            const std::size_t one = a(i, j) != T(0) && i != j;
            count += one;
            in_column[j] += one;
        }
        in_row[i] = count;
    }
}

// A row that is zero off the diagonal isolates an eigenvalue; it goes to the end.
template <class T>
void isolation<T>::find_rows()
{
    std::vector<std::size_t> empty;
    for (std::size_t i = n; i-- > 0;)
        if (in_row[i] == 0)
            empty.push_back(i);
    for (std::size_t next = 0; next < empty.size(); ++next) {
        const std::size_t taken = empty[next];
        b.order[--b.to] = taken;
        free[taken] = 0;
        for (std::size_t i = n; i-- > 0;)
            if (free[i] && a(i, taken) != T(0) && --in_row[i] == 0)
                empty.push_back(i);
        for (std::size_t j = 0; j < n; ++j)
            if (free[j] && a(taken, j) != T(0))
                --in_column[j];
    }
}

// A column that is zero off the diagonal goes to the front.
template <class T>
void isolation<T>::find_columns()
{
    std::vector<std::size_t> empty;
    for (std::size_t j = 0; j < n; ++j)
        if (free[j] && in_column[j] == 0)
            empty.push_back(j);
    for (std::size_t next = 0; next < empty.size(); ++next) {
        const std::size_t taken = empty[next];
        b.order[b.from++] = taken;
        free[taken] = 0;
        for (std::size_t j = 0; j < n; ++j)
            if (free[j] && a(taken, j) != T(0) && --in_column[j] == 0)
                empty.push_back(j);
    }
}

template <class T>
void isolation<T>::run()
{
    find_rows();
    find_columns();
    std::size_t next = b.from;
    for (std::size_t i = 0; i < n; ++i)
        if (free[i])
            b.order[next++] = i;
}

template <class T>
void permute(matrix<T>& a, const std::vector<std::size_t>& order)
{
    if (std::is_sorted(order.begin(), order.end()))
        return;
    const std::size_t n = a.rows;
    aligned_vector<T> out = uninitialized<T>(n * n);
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = 0; j < n; ++j)
            out[i * n + j] = a.data[order[i] * n + order[j]];
    a.data = std::move(out);
}

// --- the scaling ---------------------------------------------------------------------------------

// The block [from, to) and the squared norms of its rows and columns.
template <class T>
class equilibration
{
public:
    equilibration(block_view<T> matrix, balance& result) : a(matrix), b(result) {}

    void run();

private:
    void measure();
    bool scale_index(std::size_t i, bool measured);

    const block_view<T> a;
    balance& b;
    aligned_vector<double> row;
    aligned_vector<double> column;
};

template <class T>
double squared_norm(const T* x, std::size_t n)
{
    const double* const parts = as_doubles(x);
    return long_dot_on(gemm_path_current(), parts, parts, n * (sizeof(T) / sizeof(double)));
}

template <class T>
void equilibration<T>::measure()
{
    row.assign(a.rows, 0);
    column.assign(a.rows, 0);
    const std::size_t width = b.to - b.from;
    double* const sums = column.data() + b.from;
    for (std::size_t i = b.from; i < b.to; ++i) {
        const T* const elements = a.row(i) + b.from;
        row[i] = squared_norm(elements, width);
        for (std::size_t j = 0; j < width; ++j)
            sums[j] += squared(elements[j]);
    }
}

// Divides row i and multiplies column i by the power of two that brings their norms closest
// together, if that reduces them enough. The norms need no update (`measured`) as long as the pass
// has scaled nothing.
template <class T>
bool equilibration<T>::scale_index(std::size_t i, bool measured)
{
    if (!measured) {
        row[i] = squared_norm(a.row(i) + b.from, b.to - b.from);
        column[i] = 0;
        for (std::size_t j = b.from; j < b.to; ++j)
            column[i] += squared(a(j, i));
    }
    if (row[i] == 0 || column[i] == 0)
        return false;
    // f⁴ = ‖row‖²/‖column‖²; the exponent of f is rounded to an integer.
    const int exponent = static_cast<int>(std::lround(std::log2(row[i] / column[i]) / 4));
    const double f = std::ldexp(1.0, exponent);
    const double scaled = column[i] * f * f + row[i] / f / f;
    if (exponent == 0 || !(scaled < balancing_gain * (row[i] + column[i])))
        return false;
    const double scale = b.scale[i] * f;
    if (scale > greatest_scale || scale < 1 / greatest_scale)
        return false;
    for (std::size_t j = 0; j < a.cols; ++j)
        a(i, j) /= f;
    for (std::size_t j = 0; j < a.rows; ++j)
        a(j, i) *= f;
    b.scale[i] = scale;
    return true;
}

template <class T>
void equilibration<T>::run()
{
    b.scale.assign(a.rows, 1.0);
    bool ever = false;
    for (bool again = true; again;) {
        again = false;
        measure();
        for (std::size_t i = b.from; i < b.to; ++i)
            again = scale_index(i, !again) || again;
        ever = ever || again;
    }
    if (!ever)
        b.scale.clear();
}

} // namespace

template <class T>
balance balance_matrix(matrix<T>& a, balancing how)
{
    const std::size_t n = a.rows;
    balance b{.from = 0, .to = n, .order = std::vector<std::size_t>(n), .scale = {}};
    isolation<T>({a.data.data(), n, n}, b).run();
    permute(a, b.order);
    if (how == balancing::permute_and_scale)
        equilibration<T>({a.data.data(), n, n}, b).run();
    return b;
}

template <class T>
void undo_balance(const balance& b, eigenvector_side side, matrix<T>& x)
{
    if (!b.scale.empty())
        for (std::size_t i = 0; i < x.rows; ++i) {
            const double f = side == eigenvector_side::right ? b.scale[i] : 1 / b.scale[i];
            for (std::size_t j = 0; j < x.cols; ++j)
                x.data[i * x.cols + j] *= f;
        }
    if (std::is_sorted(b.order.begin(), b.order.end()))
        return;
    aligned_vector<T> out = uninitialized<T>(x.data.size());
    for (std::size_t i = 0; i < x.rows; ++i)
        std::copy_n(x.data.data() + i * x.cols, x.cols, out.data() + b.order[i] * x.cols);
    x.data = std::move(out);
}

template balance balance_matrix(matrix<double>&, balancing);
template balance balance_matrix(matrix<complex>&, balancing);
template void undo_balance(const balance&, eigenvector_side, matrix<double>&);
template void undo_balance(const balance&, eigenvector_side, matrix<complex>&);

} // namespace numerical::detail

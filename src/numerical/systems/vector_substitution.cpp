#include "numerical/systems/vector_substitution.hpp"

#include "numerical/counts.hpp"
#include "numerical/gemm/kernels/gemv.hpp"
#include "numerical/gemm/kernels/trsv.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/scalar.hpp"
#include "numerical/systems/row_dot.hpp"

#include <algorithm>

namespace numerical::detail {
namespace {

template <class T>
void substitute_one_by_one(int path, const triangle<T>& m, T* x)
{
    const std::size_t n = m.of.rows;
    for (std::size_t step = 0; step < n; ++step) {
        const std::size_t i = m.is_lower() ? step : n - 1 - step;
        const std::size_t from = m.is_lower() ? 0 : i + 1;
        const std::size_t count = m.is_lower() ? i : n - 1 - i;
        x[i] -= row_dot(path, m.of.row(i) + from, x + from, count);
        if (!m.has_ones())
            x[i] /= m.of(i, i);
    }
}

template <class T>
void substitute_one_by_one_from_right(int path, const triangle<T>& m, T* y)
{
    const std::size_t n = m.of.rows;
    for (std::size_t step = 0; step < n; ++step) {
        const std::size_t i = m.is_lower() ? n - 1 - step : step;
        const std::size_t from = m.is_lower() ? 0 : i + 1;
        const std::size_t count = m.is_lower() ? i : n - 1 - i;
        if (!m.has_ones())
            y[i] /= m.of(i, i);
        subtract_scaled_on(path, y + from, m.of.row(i) + from, y[i], count);
    }
}

vector_triangle kind_of(const triangle<double>& m)
{
    if (m.is_lower())
        return m.has_ones() ? vector_triangle::unit_lower : vector_triangle::lower;
    return m.has_ones() ? vector_triangle::unit_upper : vector_triangle::upper;
}

void substitute_groups(int path, const triangle<double>& m, double* x)
{
    const auto substitute = path == avx512_path ? avx512_substitute : avx2_substitute;
    substitute(kind_of(m), x, m.of.first, m.of.stride, m.of.rows);
}

void substitute_groups_from_right(int path, const triangle<double>& m, double* y)
{
    const auto substitute =
        path == avx512_path ? avx512_substitute_transposed : avx2_substitute_transposed;
    substitute(kind_of(m), y, m.of.first, m.of.stride, m.of.rows);
}

// Complex unknowns of a group.
constexpr std::size_t group_rows = 4;

// Some rows of a triangle and the other columns of those that it has there.
struct row_group
{
    triangle<complex> own; // on the diagonal
    std::size_t first;     // row of `own`
    block_view<const complex> beside;
    std::size_t beside_first; // column of `beside`

    row_group(const triangle<complex>& m, std::size_t index)
        : own(m), first(index * group_rows), beside(m.of), beside_first(0)
    {
        const std::size_t last = std::min(first + group_rows, m.of.rows);
        own.of = m.of.sub(first, last, first, last);
        beside_first = m.is_lower() ? 0 : last;
        beside = m.of.sub(first, last, beside_first, m.is_lower() ? first : m.of.rows);
    }
};

void substitute_groups(int path, const triangle<complex>& m, complex* x)
{
    const auto multiply = path == avx512_path ? avx512_complex_gemv : avx2_complex_gemv;
    const std::size_t groups = ceil_div(m.of.rows, group_rows);
    for (std::size_t step = 0; step < groups; ++step) {
        const row_group group(m, m.is_lower() ? step : groups - 1 - step);
        complex dots[group_rows];
        multiply(as_doubles(dots), as_doubles(group.beside.first), group.beside.stride,
                 group.beside.rows, as_doubles(x + group.beside_first), group.beside.cols);
        for (std::size_t r = 0; r < group.beside.rows; ++r)
            x[group.first + r] -= dots[r];
        substitute_one_by_one(path, group.own, x + group.first);
    }
}

void substitute_groups_from_right(int path, const triangle<complex>& m, complex* y)
{
    const std::size_t groups = ceil_div(m.of.rows, group_rows);
    for (std::size_t step = 0; step < groups; ++step) {
        const row_group group(m, m.is_lower() ? groups - 1 - step : step);
        complex* const unknowns = y + group.first;
        substitute_one_by_one_from_right(path, group.own, unknowns);
        subtract_products_on(path, y + group.beside_first, unknowns, group.beside.first,
                             group.beside.stride, group.beside.rows, group.beside.cols);
    }
}

} // namespace

template <class T>
void substitute_vector(int path, const triangle<T>& m, T* x)
{
    path == portable_path ? substitute_one_by_one(path, m, x) : substitute_groups(path, m, x);
}

template <class T>
void substitute_vector_from_right(int path, const triangle<T>& m, T* y)
{
    path == portable_path ? substitute_one_by_one_from_right(path, m, y)
                          : substitute_groups_from_right(path, m, y);
}

template void substitute_vector(int, const triangle<double>&, double*);
template void substitute_vector(int, const triangle<complex>&, complex*);
template void substitute_vector_from_right(int, const triangle<double>&, double*);
template void substitute_vector_from_right(int, const triangle<complex>&, complex*);

} // namespace numerical::detail

#include "numerical/matrix_functions/triangular_sylvester.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/nonsymmetric/block_exchange.hpp"
#include "numerical/nonsymmetric/small_system.hpp"
#include "numerical/scalar.hpp"
#include "numerical/thread_scratch.hpp"

#include <algorithm>
#include <array>

namespace numerical::detail {
namespace {

// Blocks on the diagonals of R and S: rows [i, i + p) and columns [j, j + q) of Y.
struct block_place
{
    std::size_t i;
    std::size_t p;
    std::size_t j;
    std::size_t q;
};

// The equations of one block, in which Y(i + x, j + y) is unknown number x·q + y.
template <matrix_equation E>
small_system block_equations(block_view<const double> r, block_view<const double> s,
                             block_view<const double> f, const block_place& at)
{
    small_system system{at.p * at.q};
    for (std::size_t x = 0; x < at.p; ++x)
        for (std::size_t y = 0; y < at.q; ++y) {
            auto& row = system.a[x * at.q + y];
            system.b[x * at.q + y] = f(at.i + x, at.j + y);
            if constexpr (E == matrix_equation::sylvester) {
                for (std::size_t k = 0; k < at.p; ++k)
                    row[k * at.q + y] += r(at.i + x, at.i + k);
                for (std::size_t k = 0; k < at.q; ++k)
                    row[x * at.q + k] += s(at.j + k, at.j + y);
            } else {
                for (std::size_t k = 0; k < at.p; ++k)
                    for (std::size_t l = 0; l < at.q; ++l)
                        row[k * at.q + l] = r(at.i + x, at.i + k) * s(at.j + l, at.j + y);
                row[x * at.q + y] -= 1;
            }
        }
    return system;
}

template <matrix_equation E, class T>
bool solve_single(block_view<const T> r, block_view<const T> s, block_view<T> f,
                  const block_place& at, double least)
{
    T& y = f(at.i, at.j);
    T pivot;
    if constexpr (E == matrix_equation::sylvester)
        pivot = r(at.i, at.i) + s(at.j, at.j);
    else
        pivot = finite_product(r(at.i, at.i), s(at.j, at.j)) - 1.0;
    const double size = modulus(pivot);
    if (size < least || size == 0)
        return y == T(0);
    y /= pivot;
    return true;
}

template <matrix_equation E, class T>
bool solve_block(block_view<const T> r, block_view<const T> s, block_view<T> f,
                 const block_place& at, double least)
{
    if (at.p * at.q == 1)
        return solve_single<E>(r, s, f, at, least);
    if constexpr (std::is_same_v<T, double>) {
        const small_system system = block_equations<E>(r, s, f, at);
        if (std::all_of(system.b.begin(), system.b.end(), [](double b) { return b == 0; }))
            return true;
        const small_solution solution = solve(system, least);
        for (std::size_t x = 0; x < at.p; ++x)
            for (std::size_t y = 0; y < at.q; ++y)
                f(at.i + x, at.j + y) = solution.x[x * at.q + y];
        return !solution.singular;
    }
    return false;
}

// Eliminates the block just solved from the equations to its right.
template <matrix_equation E, class T>
void take_out(int path, block_view<const T> r, block_view<const T> s, block_view<T> f,
              const block_place& at)
{
    const std::size_t next = at.j + at.q;
    if (next == f.cols)
        return;
    for (std::size_t x = 0; x < at.p; ++x) {
        std::array<T, 2> coeffs{};
        for (std::size_t y = 0; y < at.q; ++y) {
            if constexpr (E == matrix_equation::sylvester)
                coeffs[y] = f(at.i + x, at.j + y);
            else
                for (std::size_t k = 0; k < at.p; ++k)
                    coeffs[y] += finite_product(r(at.i + x, at.i + k), f(at.i + k, at.j + y));
        }
        subtract_products_on(path, &f(at.i + x, next), coeffs.data(), &s(at.j, next), s.stride,
                             at.q, f.cols - next);
    }
}

// Substitution from the lowest rows up, and from the left within them.
template <matrix_equation E, class T>
bool solve_leaf(block_view<const T> r, block_view<const T> s, block_view<T> f, double least)
{
    const int path = gemm_path_current();
    constexpr bool multiplied = E == matrix_equation::stein;
    // The form in which solved rows enter the rows above: Y, or Y·S in the Stein equation.
    thread_scratch<T> store(multiplied ? f.rows * f.cols : 0);
    const block_view<T> seen = multiplied ? block_view<T>{store.data(), f.rows, f.cols} : f;
    for (std::size_t end = f.rows; end > 0;) {
        const std::size_t p = end >= 2 && r(end - 1, end - 2) != T(0) ? 2 : 1;
        const std::size_t i = end - p;
        if (end < f.rows)
            for (std::size_t row = i; row < end; ++row)
                subtract_products_on(path, f.row(row), &r(row, end), seen.row(end), seen.stride,
                                     f.rows - end, f.cols);
        for (std::size_t j = 0; j < f.cols;) {
            const block_place at{.i = i, .p = p, .j = j, .q = block_order<T>(s, j)};
            if (!solve_block<E, T>(r, s, f, at, least))
                return false;
            take_out<E, T>(path, r, s, f, at);
            j += at.q;
        }
        if (multiplied)
            gemm_new<T>(p, f.cols, f.cols, f.row(i), f.stride, s.first, s.stride, seen.row(i),
                        seen.stride);
        end = i;
    }
    return true;
}

// -A·B.
template <class T>
aligned_vector<T> negated_product(block_view<const T> a, block_view<const T> b)
{
    aligned_vector<T> product = uninitialized<T>(a.rows * b.cols);
    gemm_new<T>(a.rows, b.cols, a.cols, a.first, a.stride, b.first, b.stride, product.data(),
                b.cols);
    negate_into(product, {product.data(), a.rows, b.cols});
    return product;
}

template <matrix_equation E, class T>
bool solve_by_rows(block_view<const T> r, block_view<const T> s, block_view<T> f, double least)
{
    const std::size_t m = r.rows;
    const std::size_t n = s.rows;
    const std::size_t mid = middle_of(r);
    const block_view<T> y2 = f.sub(mid, m, 0, n);
    if (!solve_triangular<E, T>(r.sub(mid, m, mid, m), s, y2, least))
        return false;
    const aligned_vector<T> minus =
        E == matrix_equation::stein ? negated_product<T>(y2, s) : negated_copy(y2);
    const block_view<T> f1 = f.sub(0, mid, 0, n);
    add_product<T>(r.sub(0, mid, mid, m), {minus.data(), m - mid, n}, f1);
    return solve_triangular<E, T>(r.sub(0, mid, 0, mid), s, f1, least);
}

template <matrix_equation E, class T>
bool solve_by_columns(block_view<const T> r, block_view<const T> s, block_view<T> f, double least)
{
    const std::size_t m = r.rows;
    const std::size_t n = s.rows;
    const std::size_t mid = middle_of(s);
    const block_view<T> y1 = f.sub(0, m, 0, mid);
    if (!solve_triangular<E, T>(r, s.sub(0, mid, 0, mid), y1, least))
        return false;
    const aligned_vector<T> minus =
        E == matrix_equation::stein ? negated_product<T>(r, y1) : negated_copy(y1);
    const block_view<T> f2 = f.sub(0, m, mid, n);
    add_product<T>({minus.data(), m, mid}, s.sub(0, mid, mid, n), f2);
    return solve_triangular<E, T>(r, s.sub(mid, n, mid, n), f2, least);
}

} // namespace

template <matrix_equation E, class T>
bool solve_triangular(block_view<const T> r, block_view<const T> s, block_view<T> f, double least)
{
    if (std::max(r.rows, s.rows) <= sylvester_leaf)
        return solve_leaf<E, T>(r, s, f, least);
    return r.rows >= s.rows ? solve_by_rows<E, T>(r, s, f, least)
                            : solve_by_columns<E, T>(r, s, f, least);
}

template bool solve_triangular<matrix_equation::sylvester>(block_view<const double>,
                                                           block_view<const double>,
                                                           block_view<double>, double);
template bool solve_triangular<matrix_equation::stein>(block_view<const double>,
                                                       block_view<const double>, block_view<double>,
                                                       double);
template bool solve_triangular<matrix_equation::sylvester>(block_view<const complex>,
                                                           block_view<const complex>,
                                                           block_view<complex>, double);
template bool solve_triangular<matrix_equation::stein>(block_view<const complex>,
                                                       block_view<const complex>,
                                                       block_view<complex>, double);

} // namespace numerical::detail

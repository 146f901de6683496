#include "numerical/nonsymmetric/block_exchange.hpp"

#include "numerical/gemm/path.hpp"
#include "numerical/nonsymmetric/bulge.hpp"
#include "numerical/nonsymmetric/deflation_test.hpp"
#include "numerical/nonsymmetric/small_system.hpp"
#include "numerical/nonsymmetric/standard_block.hpp"
#include "numerical/scalar.hpp"

#include <algorithm>
#include <array>
#include <cmath>

namespace numerical::detail {
namespace {

// An exchange is refused if the elements that it leaves below the diagonal exceed this multiple of
// the roundoff.
constexpr double exchange_tolerance = 10;

// The blocks [ T11 T12 ; 0 T22 ] that are to be exchanged.
struct block_pair
{
    std::size_t n1;
    std::size_t n2;
    small_block t{};
    double largest = 0;

    std::size_t order() const { return n1 + n2; }
};

block_pair copy_pair(block_view<const double> h, std::size_t k, std::size_t n1, std::size_t n2)
{
    block_pair pair{n1, n2};
    for (std::size_t i = 0; i < pair.order(); ++i)
        for (std::size_t j = 0; j < pair.order(); ++j) {
            pair.t[i][j] = h(k + i, k + j);
            pair.largest = std::max(pair.largest, std::abs(pair.t[i][j]));
        }
    return pair;
}

// The equations of T11·X - X·T22 = T12, where X(i, j) is unknown number i·n2 + j.
small_system sylvester_equations(const block_pair& p)
{
    small_system system{p.n1 * p.n2};
    for (std::size_t i = 0; i < p.n1; ++i)
        for (std::size_t j = 0; j < p.n2; ++j) {
            const std::size_t row = i * p.n2 + j;
            system.b[row] = p.t[i][p.n1 + j];
            for (std::size_t l = 0; l < p.n1; ++l)
                system.a[row][l * p.n2 + j] += p.t[i][l];
            for (std::size_t l = 0; l < p.n2; ++l)
                system.a[row][i * p.n2 + l] -= p.t[p.n1 + l][p.n1 + j];
        }
    return system;
}

struct exchange_reflectors
{
    std::size_t length; // elements of each: n1 + 1
    std::size_t count;  // the one from row 0 on, and for n2 = 2 the one from row 1 on
    std::array<bulge_reflector<double>, 2> list;
};

// The columns of [ -X ; I ] span the invariant subspace of T22, which the reflectors of their QR
// factorization map to the leading coordinates.
exchange_reflectors reflectors_of(const block_pair& p,
                                  const std::array<double, most_unknowns>& solution)
{
    exchange_reflectors reflectors{p.n1 + 1, p.n2, {}};
    double g[most_unknowns][2] = {};
    for (std::size_t i = 0; i < p.n1; ++i)
        for (std::size_t j = 0; j < p.n2; ++j)
            g[i][j] = -solution[i * p.n2 + j];
    for (std::size_t j = 0; j < p.n2; ++j)
        g[p.n1 + j][j] = 1;
    for (std::size_t c = 0; c < p.n2; ++c) {
        double x[3] = {};
        for (std::size_t i = 0; i < reflectors.length; ++i)
            x[i] = g[c + i][c];
        double beta;
        const bulge_reflector<double> h = reflector_of_three(x, beta);
        reflectors.list[c] = h;
        if (c + 1 == p.n2)
            break;
        const double third = reflectors.length == 3 ? g[c + 2][c + 1] : 0.0;
        const double t = h.tau * (g[c][c + 1] + h.w1 * g[c + 1][c + 1] + h.w2 * third);
        g[c + 1][c + 1] -= h.w1 * t;
        if (reflectors.length == 3)
            g[c + 2][c + 1] -= h.w2 * t;
    }
    return reflectors;
}

void apply(const exchange_reflectors& reflectors, const schur_views<double>& s, std::size_t k)
{
    const bulge_kernels<double> kernels{portable_path};
    const similarity_reach reach{0, s.h.cols};
    const std::size_t order = reflectors.length + reflectors.count - 1;
    for (std::size_t c = 0; c < reflectors.count; ++c)
        if (reflectors.list[c].tau != 0)
            apply_reflector(
                kernels, s,
                {.k = k + c, .count = reflectors.length, .col_from = k, .row_to = k + order}, reach,
                reflectors.list[c]);
}

// Whether the elements that should vanish do so, tried on the two blocks alone.
bool is_accurate(const exchange_reflectors& reflectors, const block_pair& pair)
{
    small_block trial = pair.t;
    const std::size_t order = pair.order();
    apply(reflectors,
          {{.first = trial[0].data(), .rows = order, .cols = order, .stride = most_unknowns},
           {nullptr, 0, 0}},
          0);
    const double accepted =
        std::max(exchange_tolerance * unit_roundoff * pair.largest, negligible_magnitude(1));
    for (std::size_t i = pair.n2; i < order; ++i)
        for (std::size_t j = 0; j < pair.n2; ++j)
            if (!(std::abs(trial[i][j]) <= accepted))
                return false;
    return true;
}

// The rotation that exchanges two eigenvalues takes (t12, t22 - t11), an eigenvector of t22, to e₁.
template <class T>
void exchange_eigenvalues(const schur_views<T>& s, std::size_t k)
{
    const T first = s.h(k, k);
    const T second = s.h(k + 1, k + 1);
    const rotation<T> g = rotation_onto<T>(s.h(k, k + 1), second - first);
    const similarity_reach reach{0, s.h.cols};
    rotate(s, k, g, k, k + 2, reach);
    s.h(k, k) = second;
    s.h(k + 1, k + 1) = first;
    s.h(k + 1, k) = T(0);
}

bool exchange_pairs(const schur_views<double>& s, std::size_t k, std::size_t n1, std::size_t n2)
{
    const block_pair pair = copy_pair(s.h, k, n1, n2);
    const auto solution = solve(sylvester_equations(pair),
                                std::max(unit_roundoff * pair.largest, negligible_magnitude(1)));
    const exchange_reflectors reflectors = reflectors_of(pair, solution.x);
    if (!is_accurate(reflectors, pair))
        return false;
    apply(reflectors, s, k);
    for (std::size_t i = n2; i < n1 + n2; ++i)
        for (std::size_t j = 0; j < n2; ++j)
            s.h(k + i, k + j) = 0;
    const similarity_reach reach{0, s.h.cols};
    if (n2 == 2)
        standardize_block(s, k, reach);
    if (n1 == 2)
        standardize_block(s, k + n2, reach);
    return true;
}

} // namespace

template <class T>
bool exchange_blocks(const schur_views<T>& s, std::size_t k, std::size_t n1, std::size_t n2)
{
    if (n1 + n2 == 2) {
        exchange_eigenvalues(s, k);
        return true;
    }
    if constexpr (std::is_same_v<T, double>)
        return exchange_pairs(s, k, n1, n2);
    return false;
}

template <class T>
std::size_t move_block_up(const schur_views<T>& s, std::size_t from, std::size_t to)
{
    while (from > to) {
        const std::size_t moving = block_order<T>(s.h, from);
        const std::size_t before = from >= to + 2 && s.h(from - 1, from - 2) != T(0) ? 2 : 1;
        if (!exchange_blocks(s, from - before, before, moving))
            return from;
        from -= before;
        // An exchange may split a complex pair into two real eigenvalues: both then move up.
        if (moving == 2 && block_order<T>(s.h, from) == 1) {
            const std::size_t second = from + 1;
            from = move_block_up(s, from, to);
            return std::max(from, move_block_up(s, second, from + 1) - 1);
        }
    }
    return from;
}

template bool exchange_blocks(const schur_views<double>&, std::size_t, std::size_t, std::size_t);
template bool exchange_blocks(const schur_views<complex>&, std::size_t, std::size_t, std::size_t);
template std::size_t move_block_up(const schur_views<double>&, std::size_t, std::size_t);
template std::size_t move_block_up(const schur_views<complex>&, std::size_t, std::size_t);

} // namespace numerical::detail

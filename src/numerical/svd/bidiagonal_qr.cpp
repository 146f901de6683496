#include "numerical/svd/bidiagonal_qr.hpp"

#include "numerical/errors.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <utility>

namespace numerical::detail {
namespace {

constexpr double eps = std::numeric_limits<double>::epsilon();

// Entries below this count as zero beside anything.
constexpr double tiny = 0x1p-970;

bool negligible(double x, double sum)
{
    return sum * eps + tiny >= std::abs(x);
}

plane_rotation rotation_onto_first(double x, double y)
{
    return rotation_of(x, y, rotation_length(x, y));
}

class bidiagonal_iteration
{
public:
    bidiagonal_iteration(std::vector<double>& diagonal, std::vector<double>& superdiagonal,
                         std::size_t order, std::size_t step_limit)
        : recorded{reserved<row_operation>(order * order), reserved<row_operation>(order * order)},
          d(diagonal), e(superdiagonal), n(order), max_steps(step_limit)
    {
    }

    void run();

    bidiagonal_operations recorded; // about n² of each: two chases a value, half of n long

private:
    std::size_t block_start(std::size_t hi);
    std::size_t zero_on_diagonal(std::size_t lo, std::size_t hi);
    void deflate_at_bottom(std::size_t lo, std::size_t hi);
    void split_after(std::size_t k, std::size_t hi);
    std::pair<double, double> first_bulge(std::size_t lo, std::size_t hi) const;
    void chase(std::size_t lo, std::size_t hi);
    void finish(std::size_t hi);

    std::vector<double>& d;
    std::vector<double>& e;
    std::size_t n;
    std::size_t max_steps;
    std::size_t steps = 0; // over the whole call
};

void bidiagonal_iteration::run()
{
    // Entries from `end` on are final.
    for (std::size_t end = n; end > 0;) {
        const std::size_t hi = end - 1;
        const std::size_t lo = block_start(hi);
        if (lo == hi) {
            finish(hi);
            --end;
            continue;
        }
        const std::size_t k = zero_on_diagonal(lo, hi);
        if (k == hi)
            deflate_at_bottom(lo, hi);
        else if (k < hi)
            split_after(k, hi);
        else
            chase(lo, hi);
    }
}

// The first entry of the unreduced block that ends with hi; the coupling above it becomes zero.
std::size_t bidiagonal_iteration::block_start(std::size_t hi)
{
    for (std::size_t lo = hi; lo > 0; --lo)
        if (negligible(e[lo - 1], std::abs(d[lo - 1]) + std::abs(d[lo]))) {
            e[lo - 1] = 0;
            return lo;
        }
    return 0;
}

// The last negligible diagonal entry of the block, made an exact zero; n if there is none.
std::size_t bidiagonal_iteration::zero_on_diagonal(std::size_t lo, std::size_t hi)
{
    for (std::size_t end = hi + 1; end > lo; --end) {
        const std::size_t k = end - 1;
        const double above = k == lo ? 0.0 : std::abs(e[k - 1]);
        if (negligible(d[k], std::abs(e[k]) + above)) {
            d[k] = 0;
            return k;
        }
    }
    return n;
}

// d[hi] is zero: the coupling e[hi-1] is rotated up the last column and out at its top.
void bidiagonal_iteration::deflate_at_bottom(std::size_t lo, std::size_t hi)
{
    double f = std::exchange(e[hi - 1], 0.0);
    for (std::size_t end = hi; end > lo; --end) {
        const std::size_t j = end - 1;
        const auto [length, c, s] = rotation_onto_first(d[j], f);
        d[j] = length;
        if (j != lo) {
            f = -s * e[j - 1];
            e[j - 1] *= c;
        }
        recorded.right.push_back({row_operation_kind::rotation, j, hi, c, s});
    }
}

// d[k] is zero inside the block: the coupling e[k] is rotated along row k and out at its end.
void bidiagonal_iteration::split_after(std::size_t k, std::size_t hi)
{
    double f = std::exchange(e[k], 0.0);
    for (std::size_t j = k + 1; j <= hi; ++j) {
        const auto [length, c, s] = rotation_onto_first(d[j], f);
        d[j] = length;
        f = -s * e[j];
        e[j] *= c;
        recorded.left.push_back({row_operation_kind::rotation, j, k, c, s});
    }
}

// The first column of BᵀB less the shift, which is the eigenvalue of the trailing 2 × 2 block of
// BᵀB that lies nearer to its last entry; all in units of the largest entry concerned.
std::pair<double, double> bidiagonal_iteration::first_bulge(std::size_t lo, std::size_t hi) const
{
    const double scale = std::max({std::abs(d[hi - 1]), std::abs(d[hi]), std::abs(e[hi - 1]),
                                   std::abs(d[lo]), std::abs(e[lo])});
    const double sp = d[hi] / scale;
    const double sm = d[hi - 1] / scale;
    const double em = e[hi - 1] / scale;
    const double sk = d[lo] / scale;
    const double ek = e[lo] / scale;
    const double b = ((sp + sm) * (sm - sp) + em * em) * 0.5;
    const double c = (em * sp) * (em * sp);
    double shift = 0;
    if (b != 0 || c != 0) {
        const double root = std::sqrt(b * b + c);
        shift = c / (b < 0 ? b - root : b + root);
    }
    const double f = (sk + sp) * (sk - sp) + shift;
    const double g = sk * ek;
    // A block graded upwards has so small a top that the shifted rotation would be the identity,
    // and the chase would change nothing: go without shift, by the entries themselves.
    if (std::abs(g) <= 0x1p-100 * std::abs(f))
        return {sk, ek};
    return {f, g};
}

void bidiagonal_iteration::chase(std::size_t lo, std::size_t hi)
{
    if (steps == max_steps)
        throw convergence_error(
            "SVD: the bidiagonal QR iteration did not converge within its steps");
    ++steps;
    auto [f, g] = first_bulge(lo, hi);
    for (std::size_t j = lo; j < hi; ++j) {
        const plane_rotation of_columns = rotation_onto_first(f, g);
        if (j != lo)
            e[j - 1] = of_columns.length;
        f = d[j] * of_columns.c + e[j] * of_columns.s;
        e[j] = e[j] * of_columns.c - d[j] * of_columns.s;
        g = d[j + 1] * of_columns.s;
        d[j + 1] *= of_columns.c;
        recorded.right.push_back(
            {row_operation_kind::rotation, j, j + 1, of_columns.c, of_columns.s});

        const plane_rotation of_rows = rotation_onto_first(f, g);
        d[j] = of_rows.length;
        f = e[j] * of_rows.c + d[j + 1] * of_rows.s;
        d[j + 1] = d[j + 1] * of_rows.c - e[j] * of_rows.s;
        g = e[j + 1] * of_rows.s; // on the last j both are zero: e[hi] is
        e[j + 1] *= of_rows.c;
        recorded.left.push_back({row_operation_kind::rotation, j, j + 1, of_rows.c, of_rows.s});
    }
    e[hi - 1] = f;
}

// d[hi] is final: its sign goes to the right basis, and it sinks to its place among the later ones.
// Equal values keep their order.
void bidiagonal_iteration::finish(std::size_t hi)
{
    if (d[hi] < 0) {
        d[hi] = -d[hi];
        recorded.right.push_back({row_operation_kind::negation, hi, hi, 0, 0});
    }
    for (std::size_t p = hi + 1; p < n && d[p] > d[p - 1]; ++p) {
        std::swap(d[p - 1], d[p]);
        recorded.left.push_back({row_operation_kind::swap, p - 1, p, 0, 0});
        recorded.right.push_back({row_operation_kind::swap, p - 1, p, 0, 0});
    }
}

} // namespace

bidiagonal_operations iterate_bidiagonal(std::vector<double>& d, std::vector<double>& e,
                                         std::size_t n, std::size_t max_steps)
{
    bidiagonal_iteration iteration(d, e, n, max_steps);
    iteration.run();
    return std::move(iteration.recorded);
}

template <class T>
void bidiagonal_qr(std::vector<double>& d, std::vector<double>& e, std::vector<T>& left,
                   std::vector<T>& right, std::size_t n, std::size_t max_steps)
{
    const bidiagonal_operations operations = iterate_bidiagonal(d, e, n, max_steps);
    apply_row_operations(right, n, operations.right);
    apply_row_operations(left, n, operations.left);
}

template void bidiagonal_qr(std::vector<double>&, std::vector<double>&, std::vector<double>&,
                            std::vector<double>&, std::size_t, std::size_t);
template void bidiagonal_qr(std::vector<double>&, std::vector<double>&,
                            std::vector<std::complex<double>>&, std::vector<std::complex<double>>&,
                            std::size_t, std::size_t);

} // namespace numerical::detail

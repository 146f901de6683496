#include "numerical/eigen/root_free_ql.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/ql_kernels.hpp"
#include "numerical/eps.hpp"
#include "numerical/errors.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/scalar.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <span>

namespace numerical::detail {
namespace {

// Shorter blocks take less time by single sweeps: some lanes of a wave rest while it begins and
// ends.
constexpr std::size_t least_rows_of_wave = 32;
static_assert(least_rows_of_wave > rows_of_wave);

// Couplings of an eigenvalue problem that are to be dropped: squares below `relative` times the
// product of the entries beside them, or below `floor` in any case.
struct ql_tolerance
{
    double relative;
    double floor;
};

class ql_values
{
public:
    // `squares` holds those of the subdiagonal.
    ql_values(std::span<double> diagonal, std::span<double> squares, ql_tolerance dropped,
              std::size_t max_steps)
        : d(diagonal), e(squares), tolerance(dropped), steps_left(max_steps)
    {
    }

    void run();

private:
    std::span<double> d;
    std::span<double> e;
    const ql_tolerance tolerance;
    std::size_t steps_left;

    bool negligible(std::size_t i) const;
    std::size_t end_of_block(std::size_t l) const;
    void turn_small_end_first(std::size_t l, std::size_t m);
    double wilkinson_shift(std::size_t l) const;
    std::array<double, sweeps_of_wave> leading_values(std::size_t l) const;
    void solve_pair(std::size_t l);
    void count_sweeps(std::size_t sweeps);
    void sweep_once(std::size_t l, std::size_t m);
    void sweep_in_wave(std::size_t l, std::size_t m);
};

bool ql_values::negligible(std::size_t i) const
{
    return e[i] <= tolerance.relative * std::abs(d[i] * d[i + 1]) + tolerance.floor;
}

// The last row of the block that begins with row l. Groups of couplings are tried without a
// branch for each.
std::size_t ql_values::end_of_block(std::size_t l) const
{
    constexpr std::size_t group = 16;
    const auto any_negligible = [this](std::size_t from) {
        bool found = false;
        for (std::size_t i = from; i < from + group; ++i)
            found |= negligible(i);
        return found;
    };
    while (l + group < d.size() && !negligible(l) && !any_negligible(l))
        l += group;
    while (l + 1 < d.size() && !negligible(l))
        ++l;
    return l;
}

// QL finds small values at the top first, and needs many sweeps where they lie at the bottom.
void ql_values::turn_small_end_first(std::size_t l, std::size_t m)
{
    if (std::abs(d[m]) >= std::abs(d[l]))
        return;
    std::reverse(&d[l], &d[m] + 1);
    std::reverse(&e[l], &e[m - 1] + 1);
}

// The eigenvalue of the leading 2 × 2 block that is nearer to d[l].
double ql_values::wilkinson_shift(std::size_t l) const
{
    const double half = (d[l + 1] - d[l]) / 2;
    const double root = std::sqrt(half * half + e[l]);
    return d[l] - e[l] / (half + std::copysign(root, half));
}

// Both eigenvalues of a 2 × 2 block.
void ql_values::solve_pair(std::size_t l)
{
    const double shift = wilkinson_shift(l);
    d[l + 1] += d[l] - shift;
    d[l] = shift;
}

void ql_values::count_sweeps(std::size_t sweeps)
{
    if (steps_left < sweeps)
        throw convergence_error(
            "symmetric eigendecomposition: QL did not converge within its steps");
    steps_left -= sweeps;
}

// The steps of ql_wave_loops.hpp, with the same bits, but for the last row's coupling.
void ql_values::sweep_once(std::size_t l, std::size_t m)
{
    count_sweeps(1);
    const double shift = wilkinson_shift(l);
    double gamma = d[m] - shift;
    double p = gamma * gamma;
    double cosine = 1;
    double sine = 0;
    for (std::size_t i = m; i-- > l;) {
        const double square = e[i];
        const double length = p + square;
        const double reciprocal = 1 / length;
        if (i + 1 < m)
            e[i + 1] = sine * length;
        if (p < least_square) [[unlikely]] {
            d[i + 1] = gamma + d[i];
            gamma = 0;
            p = cosine * square;
            cosine = 0;
            sine = 1;
            continue;
        }
        const double turned = p * (d[i] - shift) - square * gamma;
        const double by_p = turned * turned * (1 / p);
        const double next = turned * reciprocal;
        d[i + 1] = gamma + (d[i] - next);
        gamma = next;
        cosine = p * reciprocal;
        sine = square * reciprocal;
        p = by_p * reciprocal;
    }
    e[l] = sine * p;
    d[l] = shift + gamma;
}

// The eigenvalues of the leading block, that nearest d[l] last. As shifts they need half the
// digits.
std::array<double, sweeps_of_wave> ql_values::leading_values(std::size_t l) const
{
    std::array<double, sweeps_of_wave> values;
    std::array<double, sweeps_of_wave> squares;
    std::copy_n(&d[l], values.size(), values.begin());
    std::copy_n(&e[l], squares.size(), squares.begin());
    constexpr std::size_t most_sweeps = 30 * sweeps_of_wave;
    ql_values(values, squares, {eps, tolerance.floor}, most_sweeps).run();
    const double near = d[l];
    std::sort(values.begin(), values.end(),
              [near](double x, double y) { return std::abs(x - near) > std::abs(y - near); });
    return values;
}

void ql_values::sweep_in_wave(std::size_t l, std::size_t m)
{
    count_sweeps(sweeps_of_wave);
    const std::array<double, sweeps_of_wave> shifts = leading_values(l);
    const auto run_wave =
        choose(gemm_path_current(), run_ql_wave, avx2_unfused_run_ql_wave, avx512_run_ql_wave);
    run_wave(d.data(), e.data(), l, m, shifts.data());
}

// Values come off at the top. Whether the block falls apart further down is looked for before a
// wave, which takes some values off together, and now and then between single sweeps. These alone
// are known to converge in any case, and have their turn where waves take nothing off.
void ql_values::run()
{
    constexpr std::size_t sweeps_between_searches = 4;
    constexpr std::size_t patience = 4;
    std::size_t l = 0;
    std::size_t m = 0;
    std::size_t waves = 0; // in the same block
    const auto is_long = [&] { return m >= l + least_rows_of_wave; };
    while (l < d.size()) {
        if (l >= m || is_long() || steps_left % sweeps_between_searches == 0) {
            const std::size_t end = end_of_block(l);
            if (end != m) {
                turn_small_end_first(l, end);
                waves = 0;
            }
            m = end;
        }
        if (m == l || negligible(l)) {
            ++l;
            waves = 0;
        } else if (m == l + 1) {
            solve_pair(l);
            l += 2;
        } else if (is_long() && waves < patience) {
            sweep_in_wave(l, m);
            ++waves;
        } else {
            sweep_once(l, m);
        }
    }
}

} // namespace

void root_free_ql(aligned_vector<double>& d, aligned_vector<double>& e, std::size_t max_steps)
{
    const std::size_t n = d.size();
    if (n == 0)
        return;
    const double largest = std::max(largest_modulus(d.data(), n), largest_modulus(e.data(), n - 1));
    const double smallest = eps * eps * largest;
    for (std::size_t i = 0; i + 1 < n; ++i)
        e[i] *= e[i];
    ql_values(d, e, {eps * eps, smallest * smallest}, max_steps).run();
    std::sort(d.begin(), d.end());
}

} // namespace numerical::detail

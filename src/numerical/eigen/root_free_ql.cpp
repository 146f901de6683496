#include "numerical/eigen/root_free_ql.hpp"

#include "numerical/errors.hpp"
#include "numerical/scalar.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

namespace numerical::detail {
namespace {

constexpr double eps = std::numeric_limits<double>::epsilon();

// Squares below it count as zero: what they stand for is below 1e-140, and quotients of them would
// have lost digits.
constexpr double least_square = 1e-280;

class ql_values
{
public:
    // `squares` holds those of the subdiagonal.
    ql_values(std::vector<double>& diagonal, std::vector<double>& squares, double smallest_square,
              std::size_t max_steps)
        : d(diagonal), e(squares), floor(smallest_square), steps_left(max_steps)
    {
    }

    void run();

private:
    std::vector<double>& d;
    std::vector<double>& e;
    const double floor; // couplings whose squares are below it are dropped in any case
    std::size_t steps_left;

    bool negligible(std::size_t i) const;
    std::size_t end_of_block(std::size_t l) const;
    void turn_small_end_first(std::size_t l, std::size_t m);
    double wilkinson_shift(std::size_t l) const;
    void solve_pair(std::size_t l);
    void sweep(std::size_t l, std::size_t m);
};

bool ql_values::negligible(std::size_t i) const
{
    return e[i] <= eps * eps * std::abs(d[i] * d[i + 1]) + floor;
}

// The last row of the block that begins with row l.
std::size_t ql_values::end_of_block(std::size_t l) const
{
    while (l + 1 < d.size() && !negligible(l))
        ++l;
    return l;
}

// QL finds small values at the top first, and needs many sweeps where they lie at the bottom.
void ql_values::turn_small_end_first(std::size_t l, std::size_t m)
{
    if (std::abs(d[m]) >= std::abs(d[l]))
        return;
    const auto at = [](std::vector<double>& x, std::size_t i) {
        return x.begin() + static_cast<std::ptrdiff_t>(i);
    };
    std::reverse(at(d, l), at(d, m + 1));
    std::reverse(at(e, l), at(e, m));
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

// One sweep over rows l .. m with the shift σ: gamma is the entry that the next rotation acts on
// less σ, p is gamma²/c², with c² and s² the squares of the rotation's cosine and sine. Both
// quotients of a step are had from p and gamma before it, not one from the other.
void ql_values::sweep(std::size_t l, std::size_t m)
{
    const double sigma = wilkinson_shift(l);
    double gamma = d[m] - sigma;
    double p = gamma * gamma;
    double cosine = 1;
    double sine = 0;
    for (std::size_t i = m; i-- > l;) {
        const double square = e[i];
        const double length = p + square;
        const double reciprocal = 1 / length;
        if (i + 1 < m)
            e[i + 1] = sine * length;
        sine = square * reciprocal;
        const double entry = d[i] - sigma;
        if (p < least_square) [[unlikely]] {
            d[i + 1] = gamma + d[i];
            gamma = 0;
            p = cosine * square;
            cosine = 0;
            continue;
        }
        cosine = p * reciprocal;
        const double turned = p * entry - square * gamma;
        const double next = turned * reciprocal;
        d[i + 1] = gamma + (d[i] - next);
        p = next * (turned / p);
        gamma = next;
    }
    e[l] = sine * p;
    d[l] = sigma + gamma;
}

// Values come off at the top. Whether the block falls apart further down is looked for only now and
// then.
void ql_values::run()
{
    constexpr std::size_t sweeps_between_searches = 4;
    std::size_t l = 0;
    std::size_t m = 0;
    while (l < d.size()) {
        if (l >= m || steps_left % sweeps_between_searches == 0) {
            const std::size_t end = end_of_block(l);
            if (end != m)
                turn_small_end_first(l, end);
            m = end;
        }
        if (m == l || negligible(l)) {
            ++l;
        } else if (m == l + 1) {
            solve_pair(l);
            l += 2;
        } else {
            if (steps_left-- == 0)
                throw convergence_error(
                    "symmetric eigendecomposition: QL did not converge within its steps");
            sweep(l, m);
        }
    }
}

} // namespace

void root_free_ql(std::vector<double>& d, std::vector<double>& e, std::size_t max_steps)
{
    const std::size_t n = d.size();
    if (n == 0)
        return;
    const double largest = std::max(largest_modulus(d.data(), n), largest_modulus(e.data(), n - 1));
    const double smallest = eps * eps * largest;
    for (std::size_t i = 0; i + 1 < n; ++i)
        e[i] *= e[i];
    ql_values(d, e, smallest * smallest, max_steps).run();
    std::sort(d.begin(), d.end());
}

} // namespace numerical::detail

#include "numerical/svd/dqds.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/eps.hpp"
#include "numerical/errors.hpp"
#include "numerical/scalar.hpp"
#include "numerical/svd/squared_values.hpp"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <utility>

namespace numerical::detail {
namespace {

// Where nothing better is known than an upper bound the first shift is so much of it, and each one
// that succeeds lets the next come nearer.
constexpr double least_fraction = 0.25;

// Squared values from this part of the largest one on are left as QL finds them: an error of ε·‖B‖²
// in a square is 4·ε·‖B‖ in a value. The rest of a block goes to QL from the second part on, and
// values between the two are corrected. Shorter blocks take less time as they are.
constexpr double share_of_accurate = 1.0 / 64;
constexpr double least_share_for_ql = 0x1p-34;
constexpr std::size_t least_rows_for_ql = 32;

// A sum of many small shifts that keeps what each addition rounds off.
struct shift_sum
{
    double high = 0;
    double low = 0;

    void add(double tau) // tau may exceed the sum
    {
        const double sum = high + tau;
        const double part = sum - high;
        low += (high - (sum - part)) + (tau - part);
        high = sum;
    }

    double plus(double x) const { return high + (low + x); }
};

// Rows [first, last) of the bidiagonal matrix and what has been subtracted from its squared values.
struct qd_block
{
    std::size_t first;
    std::size_t last;
    shift_sum sigma;
};

// What a transformation's d say: none of the squared values exceeds any of them.
struct qd_minima
{
    double others = std::numeric_limits<double>::max(); // the least of those before the last two
    double next_to_last = std::numeric_limits<double>::max();
    double last = 0;
    double reciprocals = 0; // of all but the last, summed
    bool complete = false;  // no d before the last is negative

    bool positive() const { return complete && last >= 0; }
};

// What is to be subtracted, and the bound above the least squared value that it was made from.
struct qd_shift
{
    double tau = 0;
    double bound = 0;
};

[[noreturn]] void throw_not_converged()
{
    throw convergence_error("SVD: the dqds iteration did not converge within its steps");
}

class dqds_iteration
{
public:
    // Blocks may be left to QL, from which squared values of at least `from` are accurate enough.
    dqds_iteration(aligned_vector<double> squares, aligned_vector<double> couplings,
                   std::size_t steps, double from)
        : q(std::move(squares)), e(std::move(couplings)), next_q(q.size()), next_e(e.size()),
          steps_left(steps), great(from),
          least_for_ql(from / share_of_accurate * least_share_for_ql), pending{{0, q.size(), {}}}
    {
    }

    // The squared values, in no order.
    aligned_vector<double> run();

private:
    void solve(qd_block block);
    bool is_for_ql(const qd_block& block) const;
    bool take_all_by_ql(qd_block& block);
    void turn_large_end_first(const qd_block& block);
    void split(qd_block& block);
    void leave_for_later(const qd_block& block);
    bool negligible(std::size_t i, double sigma) const;
    void take_one(qd_block& block);
    void take_pair(qd_block& block);
    qd_minima transform(const qd_block& block, double tau);
    static double less_than(double tau, double bound, const qd_minima& minima, int failures);
    qd_minima subtract(qd_block& block, const qd_shift& shift);
    qd_shift shift_below(const qd_block& block, double others, double last) const;
    bool last_stands_alone(const qd_block& block, double reciprocals) const;

    aligned_vector<double> q;
    aligned_vector<double> e;
    aligned_vector<double> next_q;
    aligned_vector<double> next_e;
    aligned_vector<double> values;
    std::size_t steps_left;
    double great;
    double least_for_ql;              // sum of shifts from which on a block is left to QL
    double fraction = least_fraction; // of an upper bound that is dared as a shift
    std::vector<qd_block> pending;
};

// Without eᵢ the matrix's singular values change by less than ε of themselves: eᵢ ≤ ε²·σ is below
// what the sum of shifts can tell, and with eᵢ ≤ ε²·qᵢ₊₁ the coupling is taken out by a factor
// I + x·yᵀ of norm 1 + ε from the left.
bool dqds_iteration::negligible(std::size_t i, double sigma) const
{
    return e[i] <= eps * eps * std::max(sigma, q[i + 1]);
}

void dqds_iteration::take_one(qd_block& block)
{
    --block.last;
    values.push_back(block.sigma.plus(q[block.last]));
}

// The values of a 2 × 2 block: half the sum of the entries and a root of positive terms is the
// larger one; the smaller one follows from their product.
void dqds_iteration::take_pair(qd_block& block)
{
    const double above = q[block.last - 2];
    const double below = q[block.last - 1];
    const double coupling = e[block.last - 2];
    const double difference = (above - below + coupling) / 2;
    const double root = std::hypot(difference, std::sqrt(below) * std::sqrt(coupling));
    const double larger = (above + below + coupling) / 2 + root;
    const double smaller = larger == 0 ? 0 : above * (below / larger);
    values.push_back(block.sigma.plus(larger));
    values.push_back(block.sigma.plus(smaller));
    block.last -= 2;
}

bool dqds_iteration::is_for_ql(const qd_block& block) const
{
    return block.last - block.first >= least_rows_for_ql && block.sigma.high >= least_for_ql;
}

// False, with nothing done, where they can't be had by QL, as long as not all are great.
bool dqds_iteration::take_all_by_ql(qd_block& block)
{
    const std::size_t rows = block.last - block.first;
    const bidiagonal_squares squares{
        .q = {&q[block.first], rows}, .e = {&e[block.first], rows - 1}, .shift = block.sigma.high};
    try {
        const auto found = squared_values_by_ql(squares, great, steps_left);
        if (!found) {
            least_for_ql = great;
            return false;
        }
        for (const double value : *found)
            values.push_back(block.sigma.plus(value));
    } catch (const convergence_error&) {
        throw_not_converged();
    }
    block.last = block.first;
    return true;
}

// The arrays are exchanged at every transformation, so a block that is set aside is kept in both.
void dqds_iteration::leave_for_later(const qd_block& block)
{
    std::copy(&q[block.first], &q[block.first] + (block.last - block.first), &next_q[block.first]);
    std::copy(&e[block.first], &e[block.first] + (block.last - block.first), &next_e[block.first]);
    pending.push_back(block);
}

// Takes rows off the end that have come apart from the rest. Where the block falls apart further up
// its upper part is left for later.
void dqds_iteration::split(qd_block& block)
{
    while (block.last > block.first) {
        if (block.last - block.first == 1 || negligible(block.last - 2, block.sigma.high)) {
            take_one(block);
        } else if (block.last - block.first == 2 || negligible(block.last - 3, block.sigma.high)) {
            take_pair(block);
        } else {
            std::size_t i = block.last - 3;
            while (i > block.first && !negligible(i - 1, block.sigma.high))
                --i;
            if (i > block.first)
                leave_for_later({block.first, i, block.sigma});
            block.first = i;
            return;
        }
    }
}

// The iteration finds the smallest values first, at the end.
void dqds_iteration::turn_large_end_first(const qd_block& block)
{
    if (block.first == block.last || q[block.first] >= q[block.last - 1])
        return;
    const auto at = [](aligned_vector<double>& x, std::size_t i) {
        return x.begin() + static_cast<std::ptrdiff_t>(i);
    };
    std::reverse(at(q, block.first), at(q, block.last));
    std::reverse(at(e, block.first), at(e, block.last - 1));
}

// Writes next_q and next_e. After the first negative d, or NaN, nothing more is computed.
qd_minima dqds_iteration::transform(const qd_block& block, double tau)
{
    if (steps_left-- == 0)
        throw_not_converged();
    qd_minima minima;
    const std::size_t end = block.last - 1;
    double d = q[block.first] - tau;
    for (std::size_t i = block.first; i < end; ++i) {
        if (!(d >= 0)) [[unlikely]]
            return minima;
        minima.others = std::min(minima.others, minima.next_to_last);
        minima.next_to_last = d;
        minima.reciprocals += 1 / d;
        const double sum = d + e[i];
        const double quotient = q[i + 1] / sum;
        next_q[i] = sum;
        next_e[i] = e[i] * quotient;
        d = d * quotient - tau;
    }
    next_q[end] = d;
    minima.last = d;
    minima.complete = true;
    return minima;
}

// The next shift after one that was too large. With only the last d negative tau + d is below all
// the values, and near the least: as a function of tau that d falls at least as fast as tau grows.
// With another one the distance from the bound was too small.
double dqds_iteration::less_than(double tau, double bound, const qd_minima& minima, int failures)
{
    const double distance = std::max(bound - tau, eps * bound);
    if (failures == 1 && minima.complete && tau + minima.last > 0)
        return (tau + minima.last) * (1 - 4 * eps);
    if (failures < 3)
        return std::max(bound - 32 * distance, tau / 4);
    if (failures == 3)
        return std::max(bound - std::max(32 * distance, 0x1p-26 * bound), tau / 4);
    return failures == 4 ? tau / 4 : 0;
}

qd_minima dqds_iteration::subtract(qd_block& block, const qd_shift& shift)
{
    double tau = shift.tau;
    qd_minima minima = transform(block, tau);
    fraction = minima.positive() ? (1 + 2 * fraction) / 3 : least_fraction;
    for (int failures = 1; !minima.positive(); ++failures) {
        tau = less_than(tau, shift.bound, minima, failures);
        minima = transform(block, tau);
    }
    block.sigma.add(tau);
    q.swap(next_q);
    e.swap(next_e);
    return minima;
}

// A number below the squared values, if it can be had; at worst part of an upper bound. Where the
// last d is the least one, the vector z with z at the end 1 and zᵢ² = zᵢ₊₁²·eᵢ/qᵢ makes
// BᵀB·z = d·eₙ: the Rayleigh quotient is d/‖z‖², and the least value is taken to be no further from
// it than the norm of the residual (Parlett and Marques 2000), or than the square of that norm
// over the gap to the next value.
qd_shift dqds_iteration::shift_below(const qd_block& block, double others, double last) const
{
    if (last > others)
        return {others * fraction, others};
    double square = 1;
    double tail = 0; // ‖z‖² - 1
    for (std::size_t i = block.last - 1; i-- > block.first && square > tail * 1e-3;) {
        square *= e[i] / q[i];
        tail += square;
    }
    const double quotient = last / (1 + tail);
    const double residual = quotient * std::sqrt(tail);
    const double gap = 0.75 * others - quotient;
    if (gap > residual)
        return {(quotient - residual * (residual / gap)) * (1 - 16 * eps), last};
    return {std::max(last / 4, quotient - residual), last};
}

// Whether the last value has come apart from the rest: the coupling moves both by less than its
// square qₙ₋₁·eₙ₋₁ over the gap between them. The sum of the reciprocals of the other d being the
// trace of the inverse, but for what a last small shift has changed, no value of the rest is below
// the reciprocal of that sum; half of it is relied on.
bool dqds_iteration::last_stands_alone(const qd_block& block, double reciprocals) const
{
    const std::size_t end = block.last - 1;
    const double gap = 1 / (2 * reciprocals);
    return q[end] <= gap && q[end - 1] * (e[end - 1] / gap) <= eps / 8 * block.sigma.plus(q[end]);
}

void dqds_iteration::solve(qd_block block)
{
    split(block);
    turn_large_end_first(block);
    fraction = least_fraction;
    qd_shift shift;
    while (block.last > block.first) {
        if (is_for_ql(block) && take_all_by_ql(block))
            return;
        const std::size_t first = block.first;
        const std::size_t last = block.last;
        const qd_minima minima = subtract(block, shift);
        const double others = std::min(minima.others, minima.next_to_last);
        if (last_stands_alone(block, minima.reciprocals))
            take_one(block);
        split(block);
        if (block.first != first || block.last + 2 <= last)
            shift = {};
        else if (block.last + 1 == last)
            shift = shift_below(block, minima.others, minima.next_to_last);
        else
            shift = shift_below(block, others, minima.last);
    }
}

aligned_vector<double> dqds_iteration::run()
{
    while (!pending.empty()) {
        const qd_block block = pending.back();
        pending.pop_back();
        solve(block);
    }
    return std::move(values);
}

// ‖B‖₁·‖B‖∞, which is at least ‖B‖².
double bound_of_squares(const aligned_vector<double>& q, const aligned_vector<double>& e)
{
    double columns = 0;
    double rows = 0;
    for (std::size_t i = 0; i < q.size(); ++i) {
        const double entry = std::sqrt(q[i]);
        rows = std::max(rows, entry + std::sqrt(e[i]));
        columns = std::max(columns, entry + (i > 0 ? std::sqrt(e[i - 1]) : 0.0));
    }
    return columns * rows;
}

} // namespace

aligned_vector<double> dqds_values(const aligned_vector<double>& d, const aligned_vector<double>& e,
                                   std::size_t max_steps, value_accuracy accuracy)
{
    const std::size_t n = d.size();
    if (n == 0)
        return {};
    // Squares keep their digits over the widest range with the largest entry near 2^480.
    int exponent = 0;
    std::frexp(std::max(largest_modulus(d.data(), n), largest_modulus(e.data(), n - 1)), &exponent);
    exponent -= 480;
    const auto square = [=](double x) {
        const double scaled = std::scalbn(x, -exponent);
        return scaled * scaled;
    };
    aligned_vector<double> squares(n);
    aligned_vector<double> couplings(n);
    std::transform(d.begin(), d.end(), squares.begin(), square);
    std::transform(e.begin(), e.begin() + static_cast<std::ptrdiff_t>(n - 1), couplings.begin(),
                   square);
    const double from = accuracy == value_accuracy::absolute
                            ? share_of_accurate * bound_of_squares(squares, couplings)
                            : std::numeric_limits<double>::infinity();
    aligned_vector<double> values =
        dqds_iteration(std::move(squares), std::move(couplings), max_steps, from).run();
    for (double& value : values)
        value = std::scalbn(std::sqrt(value), exponent);
    std::sort(values.begin(), values.end(), std::greater<>());
    return values;
}

} // namespace numerical::detail

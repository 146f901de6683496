#include "numerical/svd/squared_values.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/eigen/root_free_ql.hpp"
#include "numerical/eps.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/svd/twisted_kernels.hpp"

#include <algorithm>
#include <cmath>
#include <functional>

namespace numerical::detail {
namespace {

// Values further apart than so many ε of the largest one are told from each other.
constexpr double doubtful = 256;

// The squares times the power of two that brings the largest one near 1.
struct scaled_squares
{
    int exponent = 0;
    aligned_vector<double> q;
    aligned_vector<double> e;
    double shift;

    explicit scaled_squares(const bidiagonal_squares& of);

    aligned_vector<double> values_by_ql(std::size_t max_steps) const;
};

scaled_squares::scaled_squares(const bidiagonal_squares& of)
    : q(of.q.begin(), of.q.end()), e(of.e.begin(), of.e.end())
{
    std::frexp(std::max(largest_modulus(q.data(), q.size()), largest_modulus(e.data(), e.size())),
               &exponent);
    for (double& x : q)
        x = std::scalbn(x, -exponent);
    for (double& x : e)
        x = std::scalbn(x, -exponent);
    shift = std::scalbn(of.shift, -exponent);
}

aligned_vector<double> scaled_squares::values_by_ql(std::size_t max_steps) const
{
    aligned_vector<double> diagonal = q;
    aligned_vector<double> beside(q.size());
    for (std::size_t i = 0; i < e.size(); ++i) {
        diagonal[i + 1] += e[i];
        beside[i] = std::sqrt(q[i]) * std::sqrt(e[i]);
    }
    root_free_ql(diagonal, beside, max_steps);
    return diagonal;
}

// The first `refined` of the values, and not all, in corrections by all their Rayleigh quotients.
class value_refinement
{
public:
    value_refinement(const scaled_squares& bidiagonal, std::span<double> all, std::size_t count);

    bool are_apart() const;
    void correct();
    bool are_accurate() const;

private:
    const scaled_squares& of;
    std::span<double> values;
    std::size_t refined;
    aligned_vector<double> products;
    aligned_vector<double> squares; // of the residuals before the last correction

    void correct_batch(std::size_t first);
    double gap_beside(std::size_t i) const;
};

value_refinement::value_refinement(const scaled_squares& bidiagonal, std::span<double> all,
                                   std::size_t count)
    : of(bidiagonal), values(all), refined(count), products(of.e.size()), squares(count)
{
    std::transform(of.e.begin(), of.e.end(), of.q.begin(), products.begin(), std::multiplies<>());
}

// From each other, from the value after them, and, with the shift, from zero.
bool value_refinement::are_apart() const
{
    const double least = doubtful * eps * values.back();
    double before = -of.shift;
    for (std::size_t i = 0; i <= refined; ++i) {
        if (!(values[i] - before > least))
            return false;
        before = values[i];
    }
    return true;
}

// Places that are left in the last batch repeat its last value.
void value_refinement::correct_batch(std::size_t first)
{
    const std::size_t count = std::min(shifts_of_batch, refined - first);
    twisted_batch batch;
    for (std::size_t j = 0; j < shifts_of_batch; ++j)
        batch.shifts[j] = values[first + std::min(j, count - 1)];
    const squared_bidiagonal squared{of.q.data(), of.e.data(), products.data(), of.q.size()};
    aligned_vector<double> room = uninitialized<double>(2 * shifts_of_batch * squared.rows);
    const bool wide = avx2_in_force(gemm_path_current());
    (wide ? avx2_twisted : portable_twisted)(squared, batch, room.data());
    for (std::size_t j = 0; j < count; ++j) {
        values[first + j] += batch.corrections[j];
        squares[first + j] = batch.residual_squares[j];
    }
}

void value_refinement::correct()
{
    const auto batch = [&](std::size_t b) { correct_batch(b * shifts_of_batch); };
    parallel_for(ceil_div(refined, shifts_of_batch), 4 * shifts_of_batch * of.q.size(), batch);
}

// A bound from below of the distance between value i and other eigenvalues, which lie nearer to the
// values beside it than half their distance.
double value_refinement::gap_beside(std::size_t i) const
{
    const double above = values[i + 1] - values[i];
    const double below = i == 0 ? above : values[i] - values[i - 1];
    return std::min(above, below) / 2;
}

// Residuals of half the gaps at most leave each value an eigenvalue of its own.
bool value_refinement::are_accurate() const
{
    for (std::size_t i = 0; i < refined; ++i) {
        const double gap = gap_beside(i);
        const double permitted = eps * std::sqrt(values.back() * (of.shift + values[i]));
        if (!(squares[i] <= gap * std::min(gap / 4, permitted)))
            return false;
    }
    return true;
}

bool refine(const scaled_squares& of, std::span<double> values, std::size_t count)
{
    if (count == 0)
        return true;
    if (count == values.size())
        return false;
    value_refinement refinement(of, values, count);
    if (!refinement.are_apart())
        return false;
    constexpr int most_corrections = 3;
    for (int k = 0; k < most_corrections; ++k) {
        refinement.correct();
        if (refinement.are_accurate())
            return true;
    }
    return false;
}

} // namespace

std::optional<aligned_vector<double>>
squared_values_by_ql(const bidiagonal_squares& of, double accurate_from, std::size_t max_steps)
{
    const scaled_squares scaled(of);
    aligned_vector<double> values = scaled.values_by_ql(max_steps);
    const double least = std::scalbn(accurate_from - of.shift, -scaled.exponent);
    const auto end_of_small = std::lower_bound(values.begin(), values.end(), least);
    const auto count = static_cast<std::size_t>(end_of_small - values.begin());
    if (least > 0 && !refine(scaled, values, count))
        return {};
    for (double& value : values)
        value = std::scalbn(value, scaled.exponent);
    return values;
}

} // namespace numerical::detail

#include "numerical/eigen/inverse_iteration.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/eps.hpp"
#include "numerical/gemm/kernels/gemv.hpp"
#include "numerical/gemm/kernels/scale.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/block_view.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>

namespace numerical::detail {
namespace {

// The first step finds the direction, the second brings the residual to rounding, and a third is
// for values whose neighbours' directions were taken out.
constexpr int steps = 3;

// To solve with the factors of a row, on the scale of parallel_for. It takes some eight
// nanoseconds; where short loops pay, one of four microseconds is shared.
std::size_t work_of_row()
{
    return short_loops_pay() ? 256 : 24;
}

// The rows of the factors of T - λ, P·(T - λ) = L·U with partial pivoting: U has two diagonals
// above its own.
class shifted_factors
{
public:
    // d, e and `smallest`, what stands for a pivot below it, are those of T.
    shifted_factors(const aligned_vector<double>& d, const aligned_vector<double>& e, double value,
                    double smallest);

    // x := (T - λ)⁻¹·x.
    void solve(double* x) const;

private:
    struct row
    {
        double inverse;   // of the pivot: a product follows another one sooner than a quotient
        double next;      // first diagonal above
        double last;      // second one
        double factor;    // of this row in the one below it
        bool interchange; // of the two, before
    };

    std::vector<row> rows;
};

shifted_factors::shifted_factors(const aligned_vector<double>& d, const aligned_vector<double>& e,
                                 double value, double smallest)
    : rows(d.size())
{
    const std::size_t n = d.size();
    double pivot = d[0] - value; // the row that comes next, as it is now
    double next = n > 1 ? e[0] : 0.0;
    const auto safe = [smallest](double x) {
        return std::abs(x) < smallest ? std::copysign(smallest, x) : x;
    };
    for (std::size_t i = 0; i + 1 < n; ++i) {
        const double below = e[i];
        const double below_pivot = d[i + 1] - value;
        const double below_next = i + 2 < n ? e[i + 1] : 0.0;
        if (std::abs(below) > std::abs(pivot)) {
            const double factor = pivot / below;
            rows[i] = {.inverse = 1 / below,
                       .next = below_pivot,
                       .last = below_next,
                       .factor = factor,
                       .interchange = true};
            pivot = next - factor * below_pivot;
            next = -factor * below_next;
        } else {
            const double divisor = safe(pivot);
            const double factor = below / divisor;
            rows[i] = {.inverse = 1 / divisor,
                       .next = next,
                       .last = 0.0,
                       .factor = factor,
                       .interchange = false};
            pivot = below_pivot - factor * next;
            next = below_next;
        }
    }
    rows[n - 1] = {
        .inverse = 1 / safe(pivot), .next = 0.0, .last = 0.0, .factor = 0.0, .interchange = false};
}

void shifted_factors::solve(double* x) const
{
    const std::size_t n = rows.size();
    for (std::size_t i = 0; i + 1 < n; ++i) {
        if (rows[i].interchange)
            std::swap(x[i], x[i + 1]);
        x[i + 1] -= rows[i].factor * x[i];
    }
    double after = 0;
    double beyond = 0;
    for (std::size_t i = n; i-- > 0;) {
        const row& of = rows[i];
        x[i] = (x[i] - of.last * beyond - of.next * after) * of.inverse;
        beyond = after;
        after = x[i];
    }
}

// Numbers in [-1, 1) of no pattern, so that the start has a part along every eigenvector.
void fill_start(double* x, std::size_t n, std::uint64_t state)
{
    for (std::size_t i = 0; i < n; ++i) {
        state = state * 6364136223846793005 + 1442695040888963407;
        x[i] = static_cast<double>(static_cast<std::int64_t>(state)) * 0x1p-63;
    }
}

void normalise(int path, double* x, std::size_t n)
{
    divide_row(path, x, scaled_norm(x, n), n);
}

// Leaves of row j of the unit vectors what is orthogonal to those before it, of unit length. The
// second time takes away what rounding left of the first.
void orthogonalise(int path, block_view<double> rows, std::size_t j, double* products)
{
    for (int time = 0; time < 2 && j != 0; ++time) {
        row_dots(path, products, rows.row(j), rows.first, rows.stride, j, rows.cols);
        subtract_products_on(path, rows.row(j), products, rows.first, rows.stride, j, rows.cols);
        normalise(path, rows.row(j), rows.cols);
    }
}

double infinity_norm(const aligned_vector<double>& d, const aligned_vector<double>& e)
{
    double norm = 0;
    for (std::size_t i = 0; i < d.size(); ++i) {
        const double before = i == 0 ? 0.0 : std::abs(e[i - 1]);
        const double after = i + 1 == d.size() ? 0.0 : std::abs(e[i]);
        norm = std::max(norm, before + std::abs(d[i]) + after);
    }
    return norm;
}

// |T·z - λ·z|; NaN if z holds one.
double residual(const aligned_vector<double>& d, const aligned_vector<double>& e, double value,
                const double* z)
{
    const std::size_t n = d.size();
    double square = 0;
    for (std::size_t i = 0; i < n; ++i) {
        double sum = (d[i] - value) * z[i];
        if (i != 0)
            sum += e[i - 1] * z[i - 1];
        if (i + 1 != n)
            sum += e[i] * z[i + 1];
        square += sum * sum;
    }
    return std::sqrt(square);
}

bool all_pass(const aligned_vector<double>& d, const aligned_vector<double>& e,
              std::span<const double> values, const aligned_vector<double>& rows)
{
    const std::size_t n = d.size();
    const int path = gemm_path_current();
    const double accepted = 4 * std::sqrt(static_cast<double>(n)) * eps;
    const double accepted_residual = accepted * infinity_norm(d, e);
    aligned_vector<double> products(values.size());
    for (std::size_t j = 0; j < values.size(); ++j) {
        const double* const z = rows.data() + j * n;
        if (!(residual(d, e, values[j], z) <= accepted_residual))
            return false;
        row_dots(path, products.data(), z, rows.data(), n, j, n);
        const auto passes = [accepted](double product) { return std::abs(product) <= accepted; };
        if (!std::all_of(products.begin(), products.begin() + std::ptrdiff_t(j), passes))
            return false;
    }
    return true;
}

} // namespace

std::optional<aligned_vector<double>> iterated_vectors(const aligned_vector<double>& d,
                                                       const aligned_vector<double>& e,
                                                       std::span<const double> values)
{
    const std::size_t n = d.size();
    const double smallest = std::max(eps * infinity_norm(d, e), std::numeric_limits<double>::min());
    const int path = gemm_path_current();
    aligned_vector<double> found = zeros<double>(values.size() * n);
    const block_view<double> rows{found.data(), values.size(), n};
    aligned_vector<double> products(values.size());
    for (std::size_t first = 0; first < values.size(); first += vectors_together) {
        const std::size_t count = std::min(vectors_together, values.size() - first);
        std::vector<std::optional<shifted_factors>> factors(count);
        const auto step_once = [&](std::size_t i) {
            double* const x = rows.row(first + i);
            if (!factors[i]) {
                factors[i].emplace(d, e, values[first + i], smallest);
                fill_start(x, n, first + i + 1);
            }
            factors[i]->solve(x);
            normalise(path, x, n);
        };
        for (int step = 0; step < steps; ++step) {
            parallel_for(count, n * work_of_row(), step_once);
            for (std::size_t j = first; j < first + count; ++j)
                orthogonalise(path, rows, j, products.data());
        }
    }
    if (!all_pass(d, e, values, found))
        return {};
    return found;
}

} // namespace numerical::detail

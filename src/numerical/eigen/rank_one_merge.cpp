#include "numerical/eigen/deflation.hpp"
#include "numerical/eigen/merge_columns.hpp"
#include "numerical/eigen/merge_kernels.hpp"
#include "numerical/eigen/secular.hpp"
#include "numerical/eigen/tridiagonal_divide.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/runtime/parallel_for.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace numerical::detail {
namespace {

constexpr std::size_t block_columns = 32;
constexpr unsigned int top = 1;
constexpr unsigned int bottom = 2;

// The undeflated problem and its roots, root q being origin[q] + tau[q].
struct rank_one_problem
{
    std::vector<double> d;
    std::vector<double> z; // of norm 1
    std::vector<double> origin;
    std::vector<double> tau;

    std::size_t size() const { return d.size(); }

    pole_root_pairs pairs() const { return {d.data(), origin.data(), tau.data()}; }
};

const merge_kernels& kernels_on(int path)
{
    return path == portable_path ? portable_merge_kernels : avx2_merge_kernels;
}

rank_one_problem solve_active(const std::vector<double>& d, const std::vector<double>& z,
                              double weight, const std::vector<std::size_t>& active)
{
    rank_one_problem problem;
    double square = 0;
    for (const std::size_t i : active) {
        problem.d.push_back(d[i]);
        problem.z.push_back(z[i]);
        square += z[i] * z[i];
    }
    const double norm = std::sqrt(square);
    for (double& element : problem.z)
        element /= norm;

    std::vector<secular_root> roots(active.size());
    const linear_poles poles{problem.d.data(), problem.z.data(), active.size(),
                             weight * (norm * norm)};
    solve_secular_equation(poles, roots.data());
    for (const auto& [origin, tau] : roots) {
        problem.origin.push_back(problem.d[origin]);
        problem.tau.push_back(tau);
    }
    return problem;
}

// Runs body(from, to) for blocks of columns.
template <class F>
void for_column_blocks(std::size_t size, const F& body)
{
    const auto run_block = [&](std::size_t b) {
        body(b * block_columns, std::min((b + 1) * block_columns, size));
    };
    parallel_for((size + block_columns - 1) / block_columns, size * block_columns, run_block);
}

// The z for which the computed roots are exact (Gu and Eisenstat 1995): ẑᵢ² is the product over j
// of (λⱼ - dᵢ)/(dⱼ - dᵢ), the factor of j = i without its divisor and first.
std::vector<double> exact_update(const rank_one_problem& problem, const merge_kernels& kernels)
{
    std::vector<double> z(problem.size());
    const pole_root_pairs pairs = problem.pairs();
    for_column_blocks(problem.size(), [&](std::size_t from, std::size_t to) {
        std::array<double, block_columns> product;
        for (std::size_t i = from; i < to; ++i)
            product[i - from] = (problem.d[i] - problem.origin[i]) - problem.tau[i];
        const auto multiply = [&](std::size_t first, std::size_t last) {
            kernels.multiply_ratios(product.data(), pairs, from, to - from, first, last);
        };
        multiply(0, from);
        for (std::size_t j = from; j < to; ++j) { // but for pole j, where the divisor is 0
            const double own = product[j - from];
            multiply(j, j + 1);
            product[j - from] = own;
        }
        multiply(to, problem.size());
        for (std::size_t i = from; i < to; ++i)
            z[i] = std::copysign(std::sqrt(-product[i - from]), problem.z[i]);
    });
    return z;
}

// Column q of the small vectors is the eigenvector of root q, zₚ/(dₚ - λ_q) in row p before it is
// normalised. A row is made where it is needed; the matrix as a whole never is.
small_vector_rows eigenvector_rows(const rank_one_problem& problem)
{
    const merge_kernels& kernels = kernels_on(gemm_path_current());
    const std::vector<double> z = exact_update(problem, kernels);
    std::vector<double> norms(problem.size());
    for_column_blocks(problem.size(), [&](std::size_t from, std::size_t to) {
        kernels.add_squares(&norms[from], problem.pairs(), z.data(), z.size(), from, to - from);
        for (std::size_t q = from; q < to; ++q)
            norms[q] = std::sqrt(norms[q]);
    });
    return [&problem, &kernels, z, norms](std::size_t p, double* row) {
        kernels.divide_row(row, problem.pairs(), z[p], problem.d[p], norms.data(), norms.size());
    };
}

} // namespace

void merge_rank_one(std::vector<double>& d, std::vector<double> z, double rho, block_view<double> q,
                    std::size_t k, merge_workspace& workspace)
{
    const std::size_t n = d.size();
    std::vector<unsigned int> types(n, bottom);
    std::fill_n(types.begin(), k, top);
    for (double& element : z)
        element /= std::numbers::sqrt2;

    const double weight = 2 * rho;
    const auto [partition, rotations] = deflate(d, z, weight, types);
    rotate_columns(q, rotations);

    const rank_one_problem problem = solve_active(d, z, weight, partition.active);
    std::vector<double> values;
    for (std::size_t j = 0; j < problem.size(); ++j)
        values.push_back(problem.tau[j] + problem.origin[j]);
    for (const std::size_t i : partition.deflated)
        values.push_back(d[i]);
    const std::vector<std::size_t> order = ascending_order(values);
    for (std::size_t c = 0; c < n; ++c)
        d[c] = values[order[c]];

    const row_group halves[] = {{0, k, top}, {k, n - k, bottom}};
    merge_columns(q, {halves, partition, types, order}, eigenvector_rows(problem), workspace);
}

} // namespace numerical::detail

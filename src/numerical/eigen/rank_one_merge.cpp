#include "numerical/eigen/deflation.hpp"
#include "numerical/eigen/merge_columns.hpp"
#include "numerical/eigen/secular.hpp"
#include "numerical/eigen/tridiagonal_divide.hpp"
#include "numerical/runtime/parallel_for.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace numerical::detail {
namespace {

constexpr std::size_t block_columns = 32;

// The undeflated problem and its roots.
struct rank_one_problem
{
    std::vector<double> d;
    std::vector<double> z; // of norm 1
    double weight;
    std::vector<secular_root> roots;

    std::size_t size() const { return d.size(); }

    // dᵢ - λⱼ without cancellation.
    double distance(std::size_t i, std::size_t j) const
    {
        return (d[i] - d[roots[j].origin]) - roots[j].tau;
    }
};

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
    problem.weight = weight * (norm * norm);
    problem.roots.resize(active.size());
    solve_secular_equation(
        linear_poles{problem.d.data(), problem.z.data(), active.size(), problem.weight},
        problem.roots.data());
    return problem;
}

// The z for which the computed roots are exact (Gu and Eisenstat 1995): ẑᵢ² is the product over j
// of (λⱼ - dᵢ)/(dⱼ - dᵢ), the factor of j = i without its divisor.
std::vector<double> exact_update(const rank_one_problem& problem)
{
    const std::size_t size = problem.size();
    std::vector<double> z(size);
    const auto multiply_block = [&](std::size_t b) {
        const std::size_t from = b * block_columns;
        const std::size_t width = std::min(block_columns, size - from);
        double product[block_columns];
        for (std::size_t i = 0; i < width; ++i)
            product[i] = problem.distance(from + i, from + i);
        for (std::size_t j = 0; j < size; ++j)
            for (std::size_t i = 0; i < width; ++i)
                if (from + i != j)
                    product[i] *=
                        problem.distance(from + i, j) / (problem.d[from + i] - problem.d[j]);
        for (std::size_t i = 0; i < width; ++i)
            z[from + i] = std::copysign(std::sqrt(-product[i]), problem.z[from + i]);
    };
    parallel_for((size + block_columns - 1) / block_columns, size * block_columns, multiply_block);
    return z;
}

// Column q is the eigenvector of root q, zₚ/(dₚ - λ_q) in row p.
small_vectors small_eigenvectors(const rank_one_problem& problem, workspace_buffer& buffer)
{
    const std::size_t size = problem.size();
    const std::vector<double> z = exact_update(problem);
    double* const columns = workspace_of(buffer, size * size);
    const auto fill_row = [&](std::size_t p) {
        for (std::size_t q = 0; q < size; ++q)
            columns[p * size + q] = z[p] / problem.distance(p, q);
    };
    parallel_for(size, size, fill_row);
    return {columns, column_norms(columns, size)};
}

} // namespace

void merge_rank_one(std::vector<double>& d, std::vector<double> z, double rho, block_view<double> q,
                    std::size_t k, merge_workspace& workspace)
{
    constexpr unsigned int top = 1;
    constexpr unsigned int bottom = 2;
    const std::size_t n = d.size();
    std::vector<unsigned int> types(n, bottom);
    std::fill_n(types.begin(), k, top);
    for (double& element : z)
        element /= std::numbers::sqrt2;

    const double weight = 2 * rho;
    const auto [partition, rotations] = deflate(d, z, weight, types);
    rotate_columns(q, rotations);

    double* product = nullptr;
    std::vector<double> values;
    if (!partition.active.empty()) {
        const rank_one_problem problem = solve_active(d, z, weight, partition.active);
        for (const auto& [origin, tau] : problem.roots)
            values.push_back(tau + problem.d[origin]);
        const row_group halves[] = {{0, k, top}, {k, n - k, bottom}};
        product = multiply_active_columns(q, halves, partition.active, types,
                                          small_eigenvectors(problem, workspace.roots), workspace);
    }
    for (const std::size_t i : partition.deflated)
        values.push_back(d[i]);

    const std::vector<std::size_t> order = ascending_order(values);
    place_columns(q, product, partition, order);
    for (std::size_t c = 0; c < n; ++c)
        d[c] = values[order[c]];
}

} // namespace numerical::detail

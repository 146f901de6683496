#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/eigen/deflation.hpp"
#include "numerical/eigen/merge_columns.hpp"
#include "numerical/eigen/merge_kernels.hpp"
#include "numerical/eigen/order.hpp"
#include "numerical/eigen/secular.hpp"
#include "numerical/eigen/tridiagonal_divide.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <utility>

namespace numerical::detail {
namespace {

constexpr std::size_t block_columns = 32;
constexpr unsigned int top = 1;
constexpr unsigned int bottom = 2;

// The undeflated problem and its roots, root q being origin[q] + tau[q].
struct rank_one_problem
{
    quotient_form quotients = quotient_form::single;
    aligned_vector<double> d;
    aligned_vector<double> z; // of norm 1
    aligned_vector<double> origin;
    aligned_vector<double> tau;

    std::size_t size() const { return d.size(); }

    pole_root_pairs pairs() const { return {d.data(), origin.data(), tau.data()}; }
};

const merge_kernels& kernels_for(quotient_form quotients)
{
    const bool portable = gemm_path_current() == portable_path;
    if (quotients == quotient_form::single)
        return portable ? portable_merge_kernels : avx2_unfused_merge_kernels;
    return portable ? portable_paired_merge_kernels : avx2_unfused_paired_merge_kernels;
}

rank_one_problem solve_active(quotient_form quotients, const aligned_vector<double>& d,
                              const aligned_vector<double>& z, double rho2,
                              const std::vector<std::size_t>& active)
{
    rank_one_problem problem;
    problem.quotients = quotients;
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
    const linear_poles poles{.d = problem.d.data(),
                             .z = problem.z.data(),
                             .count = active.size(),
                             .weight = rho2 * (norm * norm)};
    if (quotients == quotient_form::paired)
        solve_secular_equation(paired_linear_poles{poles}, roots.data());
    else
        solve_secular_equation(poles, roots.data());
    for (const auto& [origin, tau] : roots) {
        problem.origin.push_back(problem.d[origin]);
        problem.tau.push_back(tau);
    }
    return problem;
}

// Runs body(from, to) for blocks of the columns, each of which meets `depth` rows.
template <class F>
void for_column_blocks(index_range columns, std::size_t depth, const F& body)
{
    const auto run_block = [&](std::size_t b) {
        const std::size_t from = columns.first + b * block_columns;
        body(from, std::min(from + block_columns, columns.last));
    };
    parallel_for(ceil_div(columns.count(), block_columns), depth * block_columns, run_block);
}

// The z for which the computed roots are exact (Gu and Eisenstat 1995): ẑᵢ² is the product over j
// of (λⱼ - dᵢ)/(dⱼ - dᵢ), the factor of j = i without its divisor and first.
aligned_vector<double> exact_update(const rank_one_problem& problem, const merge_kernels& kernels)
{
    aligned_vector<double> z(problem.size());
    const pole_root_pairs pairs = problem.pairs();
    for_column_blocks({0, problem.size()}, problem.size(), [&](std::size_t from, std::size_t to) {
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
// normalised. A row, in the columns `made`, is written where it is needed; the matrix as a whole
// never is.
small_vector_rows eigenvector_rows(const rank_one_problem& problem, index_range made)
{
    const merge_kernels& kernels = kernels_for(problem.quotients);
    const aligned_vector<double> z = exact_update(problem, kernels);
    aligned_vector<double> norm2(made.count());
    for_column_blocks(made, problem.size(), [&](std::size_t from, std::size_t to) {
        double* const of_block = norm2.data() + (from - made.first);
        kernels.add_squares(of_block, problem.pairs(), z.data(), z.size(), from, to - from);
        for (std::size_t q = 0; q < to - from; ++q)
            of_block[q] = std::sqrt(of_block[q]);
    });
    const pole_root_pairs roots{problem.d.data(), problem.origin.data() + made.first,
                                problem.tau.data() + made.first};
    return [&problem, &kernels, roots, z, norm2](std::size_t p, double* row) {
        kernels.divide_row(row, roots, z[p], problem.d[p], norm2.data(), norm2.size());
    };
}

// A merge whose values are known and whose columns are yet to be made.
struct solved_merge
{
    std::vector<unsigned int> types;
    std::array<row_group, 2> halves;
    merge_partition partition;
    rank_one_problem problem;
    std::vector<std::size_t> order;

    column_merge columns() const
    {
        return {.groups = halves, .partition = partition, .types = types, .order = order};
    }
};

solved_merge solve_merge(quotient_form quotients, aligned_vector<double>& d,
                         aligned_vector<double> z, double rho, block_view<double> q, std::size_t k)
{
    const std::size_t n = d.size();
    solved_merge merge{.types = std::vector<unsigned int>(n, bottom),
                       .halves = {row_group{0, k, top}, row_group{k, n - k, bottom}},
                       .partition = {},
                       .problem = {},
                       .order = {}};
    std::fill_n(merge.types.begin(), k, top);
    for (double& element : z)
        element /= std::numbers::sqrt2;

    const double rho2 = 2 * rho;
    auto [partition, rotations] = deflate(d, z, rho2, merge.types);
    rotate_columns(q, rotations);
    merge.partition = std::move(partition);
    merge.problem = solve_active(quotients, d, z, rho2, merge.partition.active);

    aligned_vector<double> values;
    for (std::size_t j = 0; j < merge.problem.size(); ++j)
        values.push_back(merge.problem.tau[j] + merge.problem.origin[j]);
    for (const std::size_t i : merge.partition.deflated)
        values.push_back(d[i]);
    merge.order = ascending_order(values);
    for (std::size_t c = 0; c < n; ++c)
        d[c] = values[merge.order[c]];
    return merge;
}

} // namespace

void merge_rank_one(aligned_vector<double>& d, aligned_vector<double> z, double rho,
                    block_view<double> q, std::size_t k, merge_workspace& workspace)
{
    const solved_merge merge = solve_merge(workspace.quotients, d, std::move(z), rho, q, k);
    merge_columns(q, merge.columns(), eigenvector_rows(merge.problem, {0, merge.problem.size()}),
                  workspace);
}

chosen_vectors merge_rank_one_choosing(aligned_vector<double>& d, aligned_vector<double> z,
                                       double rho, block_view<double> q, std::size_t k,
                                       const column_choice& choice)
{
    const solved_merge merge = solve_merge(quotient_form::paired, d, std::move(z), rho, q, k);
    const index_range wanted = choice(d);
    const index_range made = new_columns_among(merge.columns(), wanted);
    chosen_vectors chosen{wanted, uninitialized<double>(d.size() * wanted.count())};
    merge_chosen_columns(q, merge.columns(), eigenvector_rows(merge.problem, made), wanted,
                         {chosen.columns.data(), d.size(), wanted.count()});
    return chosen;
}

} // namespace numerical::detail

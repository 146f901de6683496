#pragma once

// The two ways through a stack: small matrices in groups, side by side in the lanes of a vector,
// and all others one by one, each by the single call.

#include "numerical/counts.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/stacks/lane_kernels.hpp"
#include "numerical/stacks/matrix_stack.hpp"
#include "numerical/stacks/stack_error.hpp"
#include "numerical/thread_scratch.hpp"

#include <algorithm>
#include <complex>
#include <cstddef>
#include <type_traits>

namespace numerical::detail {

// The kernels of the current path.
const lane_kernels& lane_kernels_for(double);
const lane_kernels& lane_kernels_for(std::complex<double>);
// For this many matrices: too few to fill the path's vectors are faster in narrower ones.
const jacobi_kernels& jacobi_kernels_for(double, std::size_t count);
const jacobi_kernels& jacobi_kernels_for(std::complex<double>, std::size_t count);
const reflector_kernels& complex_reflectors_for(std::size_t count);

template <class T>
constexpr std::size_t greatest_lane_order =
    std::is_same_v<T, double> ? greatest_real_lane_order : greatest_complex_lane_order;

struct lane_job
{
    lane_kernel kernel;
    std::size_t width;
    std::size_t rows;
    std::size_t cols;
    std::size_t depth;
    std::size_t least_live = 1; // of a group with fewer matrices none is done in lanes
};

// A kernel takes as long for one matrix as for a whole group. Factorizations of few are done sooner
// one by one: from about an eighth of the order on in eight lanes, sooner in fewer.
inline std::size_t least_live_of_factorization(std::size_t order, std::size_t width)
{
    return order * width / 64 + 1;
}

// Where the results of the places go, one after the other, `step` elements each; all but the
// first may be null.
template <class T>
struct lane_results
{
    T* first;
    std::size_t step;
    T* second = nullptr;
    std::size_t second_step = 0;
    T* third = nullptr;
    std::size_t third_step = 0;

    T* at(std::size_t i) const { return first + i * step; }

    T* second_at(std::size_t i) const
    {
        return second == nullptr ? second : second + i * second_step;
    }

    T* third_at(std::size_t i) const { return third == nullptr ? third : third + i * third_step; }
};

// Calls the job's kernel for groups of matrices. finish(i, trusted) is called after its kernel, or
// for a group of too few without one: if the lane isn't trusted they are to be made otherwise. The
// idle lanes of a last group repeat its last matrix: they write the same once more.
template <class T, class Result = T, class Finish>
void run_in_lanes(const lane_job& job, std::size_t count, const matrix_stack<T>& a,
                  const matrix_stack<T>& b, const lane_results<Result>& results,
                  const Finish& finish)
{
    const auto run_group = [&](std::size_t group) {
        const std::size_t first = group * job.width;
        const std::size_t live = std::min(job.width, count - first);
        if (live < job.least_live) {
            for (std::size_t l = 0; l < live; ++l)
                finish(first + l, false);
            return;
        }
        const double* as[most_lanes];
        const double* bs[most_lanes];
        double* outs[most_lanes];
        double* second_outs[most_lanes];
        double* third_outs[most_lanes];
        for (std::size_t l = 0; l < job.width; ++l) {
            const std::size_t lane = std::min(l, live - 1);
            as[l] = reinterpret_cast<const double*>(a.at(first + lane));
            bs[l] = reinterpret_cast<const double*>(b.at(first + lane));
            outs[l] = reinterpret_cast<double*>(results.at(first + lane));
            second_outs[l] = reinterpret_cast<double*>(results.second_at(first + lane));
            third_outs[l] = reinterpret_cast<double*>(results.third_at(first + lane));
        }
        thread_scratch<double> scratch(lane_scratch * most_lanes);
        const unsigned distrusted = job.kernel({.rows = job.rows,
                                                .cols = job.cols,
                                                .depth = job.depth,
                                                .a = as,
                                                .b = bs,
                                                .out = outs,
                                                .second_out = second_outs,
                                                .third_out = third_outs,
                                                .scratch = scratch.data()});
        for (std::size_t l = 0; l < live; ++l)
            finish(first + l, (distrusted >> l & 1U) == 0);
    };
    const std::size_t work = (job.rows + 4) * (job.depth + 4) * (job.depth + job.cols + 4);
    parallel_for(ceil_div(count, job.width), work, run_group);
}

// one(i) for each matrix, which may throw; `work` is that of one on the scale of parallel_for. A
// few large matrices are done one after the other with all threads in each.
template <class F>
void run_one_by_one(std::size_t count, std::size_t work, first_failure& failures, const F& one)
{
    constexpr std::size_t large = std::size_t{1} << 22;
    const bool inside = work >= large && count < 2 * allowed_threads();
    parallel_for(count, inside ? 0 : work,
                 [&](std::size_t i) { failures.attempt(i, [&] { one(i); }); });
}

} // namespace numerical::detail

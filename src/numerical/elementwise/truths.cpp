#include "numerical/elementwise/truths.hpp"

#include "numerical/checks.hpp"
#include "numerical/elementwise/number_kernels.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <complex>

namespace numerical::detail {
namespace {

using complex = std::complex<double>;

std::size_t count_true(const double* x, std::size_t n)
{
    return numbers_in_force().count_true(x, n);
}

// counts[k] += the true numbers of column k.
void count_columns(const row_block& block, double* counts)
{
    numbers_in_force().count_true_of_columns(block, counts);
}

// Blocks grow, as an answer is mostly near: within the first few of random truths.
bool answer_of_run(truth_question question, const double* run, std::size_t n)
{
    constexpr std::size_t longest = 2048;
    std::size_t block = 16;
    for (std::size_t i = 0; i < n; i += block, block = std::min(2 * block, longest)) {
        const std::size_t taken = std::min(block, n - i);
        const std::size_t found = count_true(run + i, taken);
        if (question == truth_question::any ? found != 0 : found != taken)
            return question == truth_question::any;
    }
    return question == truth_question::all;
}

bool decided(truth_question question, const std::vector<double>& counts, std::size_t rows)
{
    const auto all = static_cast<double>(rows);
    return std::all_of(counts.begin(), counts.end(), [&](double count) {
        return question == truth_question::any ? count != 0 : count != all;
    });
}

// Rows are added until every column has its answer.
void answer_columns(truth_question question, const double* first, const walk_shape& walk,
                    std::vector<double>& counts, double* to)
{
    std::fill(counts.begin(), counts.end(), 0.0);
    std::size_t rows = 0;
    std::size_t block = 16;
    for (bool done = false; rows < walk.extent && !done; block *= 2) {
        const std::size_t taken = std::min(block, walk.extent - rows);
        count_columns({first + rows * walk.inner, taken, walk.inner, walk.inner}, counts.data());
        rows += taken;
        done = decided(question, counts, rows);
    }
    const double wanted = question == truth_question::any ? 0.0 : static_cast<double>(rows);
    std::transform(counts.begin(), counts.end(), to, [&](double count) {
        return (count == wanted) == (question == truth_question::all) ? 1.0 : 0.0;
    });
}

std::vector<double> truths_of(const complex* z, std::size_t n)
{
    std::vector<double> truths = uninitialized<double>(n);
    std::transform(z, z + n, truths.begin(), [](const complex& x) { return x != 0.0 ? 1.0 : 0.0; });
    return truths;
}

std::size_t size_of(const walk_shape& walk)
{
    return walk.outer * walk.extent * walk.inner;
}

} // namespace

template <>
std::vector<double> truths_along(truth_question question, const double* data,
                                 const walk_shape& walk)
{
    std::vector<double> out = uninitialized<double>(checked_mul(walk.outer, walk.inner));
    if (walk.inner == 1) {
        for (std::size_t o = 0; o < walk.outer; ++o)
            out[o] = answer_of_run(question, data + o * walk.extent, walk.extent) ? 1.0 : 0.0;
        return out;
    }
    std::vector<double> counts(walk.inner);
    for (std::size_t o = 0; o < walk.outer && walk.inner != 0; ++o)
        answer_columns(question, data + o * walk.extent * walk.inner, walk, counts,
                       out.data() + o * walk.inner);
    return out;
}

template <>
std::vector<double> truths_along(truth_question question, const complex* data,
                                 const walk_shape& walk)
{
    return truths_along(question, truths_of(data, size_of(walk)).data(), walk);
}

template <>
std::vector<std::ptrdiff_t> true_counts(const double* data, const walk_shape& walk)
{
    std::vector<std::ptrdiff_t> out =
        uninitialized<std::ptrdiff_t>(checked_mul(walk.outer, walk.inner));
    if (walk.inner == 1) {
        for (std::size_t o = 0; o < walk.outer; ++o)
            out[o] = static_cast<std::ptrdiff_t>(count_true(data + o * walk.extent, walk.extent));
        return out;
    }
    std::vector<double> counts(walk.inner);
    for (std::size_t o = 0; o < walk.outer && walk.inner != 0; ++o) {
        std::fill(counts.begin(), counts.end(), 0.0);
        count_columns({data + o * walk.extent * walk.inner, walk.extent, walk.inner, walk.inner},
                      counts.data());
        std::transform(counts.begin(), counts.end(), out.data() + o * walk.inner,
                       [](double count) { return static_cast<std::ptrdiff_t>(count); });
    }
    return out;
}

template <>
std::vector<std::ptrdiff_t> true_counts(const complex* data, const walk_shape& walk)
{
    return true_counts(truths_of(data, size_of(walk)).data(), walk);
}

} // namespace numerical::detail

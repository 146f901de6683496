#include "package/low_rank.hpp"

#include "module/functions.hpp"
#include "numerical/random/normal.hpp"
#include "numerical/stacks/lane_groups.hpp"
#include "numerical/stacks/stack_error.hpp"
#include "numerical/strided/transpose.hpp"
#include "numerical/svd/leading_triplets.hpp"
#include "numerical/svd/randomized.hpp"
#include "package/matrices.hpp"

#include <algorithm>
#include <string>
#include <utility>

namespace numerical::package {
namespace {

// Stacks the k triplets that find(matrix) gives for each matrix.
template <class T, class F>
PyObject* triplets_of_stack(const tensor<T>& a, const stack_shape& of, std::size_t k, const F& find)
{
    tensor<T> u = unset_stack<T>(of.lead, {of.rows, k});
    tensor<double> values = unset_stack<double>(of.lead, {k});
    tensor<T> vh = unset_stack<T>(of.lead, {k, of.cols});
    const auto find_one = [&](std::size_t i) {
        const singular_triplets<T> found = find(dense(a, of).copy_of(i));
        const matrix<T> rows = detail::adjoint(found.v);
        std::copy(found.u.data.begin(), found.u.data.end(), u.data.data() + i * of.rows * k);
        std::copy(found.values.begin(), found.values.end(), values.data.data() + i * k);
        std::copy(rows.data.begin(), rows.data.end(), vh.data.data() + i * k * of.cols);
    };
    computed(a.data.size(), [&] {
        detail::first_failure failures;
        const std::size_t work = 4 * of.rows * of.cols * std::min(of.rows, of.cols) + 8192;
        detail::run_one_by_one(of.count, work, failures, find_one);
        failures.rethrow();
    });
    return triple_of(wrap(std::move(u)), wrap(std::move(values)), wrap(std::move(vh)));
}

// A count that isn't negative, clamped to the largest.
std::size_t count_parameter(PyObject* object, const char* name)
{
    const std::ptrdiff_t count = integer_parameter(object, name);
    if (count < 0)
        binding::fail(PyExc_ValueError,
                      std::string(name) + " must not be negative, not " + std::to_string(count));
    return static_cast<std::size_t>(count);
}

std::size_t rank_parameter(PyObject* object, const stack_shape& of)
{
    const std::size_t k = count_parameter(object, "k");
    const std::size_t least = std::min(of.rows, of.cols);
    if (k > least)
        binding::fail(PyExc_ValueError, "k is at most min(M, N) = " + std::to_string(least) +
                                            ", not " + std::to_string(k));
    return k;
}

std::uint64_t seed_parameter(PyObject* object)
{
    const std::uint64_t seed = PyLong_AsUnsignedLongLong(object);
    if (PyErr_Occurred() == nullptr)
        return seed;
    PyErr_Clear();
    binding::fail(PyExc_ValueError, "seed is an int from 0 to 2^64 - 1");
}

constexpr binding::signature<2> leading_signature{"leading_svd", {"a", "k"}};
constexpr binding::signature<4> randomized_signature{"randomized_svd",
                                                     {"a", "sample", "k", "power_iterations"}};
constexpr binding::signature<2> normal_signature{"standard_normal", {"seed", "shape"}};

} // namespace

PyObject* leading_svd(const binding::call_arguments& call)
{
    const auto [given, rank] = leading_signature.bind(call);
    const operand a(given);
    const stack_shape of = stack_of(a, "svd");
    const std::size_t k = rank_parameter(rank, of);
    return telling({given}, of.lead, [&] {
        return by_type(a, [&]<class T>(const tensor<T>& x) {
            return triplets_of_stack(
                x, of, k, [&](const matrix<T>& one) { return leading_triplets(one, k); });
        });
    });
}

PyObject* randomized_svd(const binding::call_arguments& call)
{
    const auto [given, given_sample, rank, passes] = randomized_signature.bind(call);
    operand a(given);
    operand sample(given_sample);
    const stack_shape of = stack_of(a, "randomized_svd");
    const stack_shape of_sample = stack_of(sample, "randomized_svd");
    const std::size_t k = rank_parameter(rank, of);
    const std::size_t power_iterations = count_parameter(passes, "power_iterations");
    return telling({given}, of.lead, [&] {
        return by_type(a, sample, [&]<class T>(const tensor<T>& x, const tensor<T>& y) {
            const matrix<T> omega = dense(y, of_sample).copy_of(0);
            return triplets_of_stack(x, of, k, [&](const matrix<T>& one) {
                return randomized_triplets(one, omega, k, power_iterations);
            });
        });
    });
}

PyObject* standard_normal(const binding::call_arguments& call)
{
    const auto [seed, given_shape] = normal_signature.bind(call);
    const std::uint64_t of_seed = seed_parameter(seed);
    shape_list shape = shape_parameter(given_shape);
    const std::size_t count = detail::element_count(shape);
    return wrap(tensor<double>(std::move(shape), random::standard_normal(of_seed, count)));
}

} // namespace numerical::package

#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/eigenvalues.hpp"
#include "numerical/errors.hpp"
#include "numerical/matrix.hpp"
#include "numerical/strided/dense_passes.hpp"
#include "numerical/strided/transpose.hpp"
#include "numerical/svd/values_only.hpp"

#include "stack_cases.hpp"
#include "thrown.hpp"

namespace {

using namespace test;
namespace stacks = numerical::stacks;
using numerical::eigen_method;
using numerical::svd_method;

template <class T>
class stacked_decompositions : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(stacked_decompositions, element_types);

template <class T>
operation<T> cholesky_factors()
{
    return {"cholesky",
            [](std::size_t count, const auto& a, const auto&) {
                numerical::aligned_vector<T> l(count * a.rows * a.cols);
                stacks::cholesky(count, a, l.data());
                return bits_of(l);
            },
            [](const auto& a, const auto&) {
                return results{bits_of(numerical::cholesky_decomposition<T>(matrix<T>(a)).factors)};
            }};
}

template <class T>
operation<T> qr_factors()
{
    return {"qr",
            [](std::size_t count, const auto& a, const auto&) {
                const std::size_t k = std::min(a.rows, a.cols);
                numerical::aligned_vector<T> q(count * a.rows * k);
                numerical::aligned_vector<T> r(count * k * a.cols);
                stacks::qr(count, a, q.data(), r.data());
                numerical::aligned_vector<double> all = bits_of(q);
                append_bits(all, r);
                return all;
            },
            [](const auto& a, const auto&) {
                numerical::detail::require_finite(a, "QR decomposition");
                const auto thin = numerical::detail::householder_qr(a.data, a.rows, a.cols);
                return results{bits_of(thin.q), bits_of(thin.r)};
            }};
}

template <class T>
using eigen_of = std::conditional_t<std::is_same_v<T, double>, numerical::symmetric_eigen,
                                    numerical::hermitian_eigen>;

template <class T>
operation<T> eigenpairs(eigen_method method)
{
    return {"eigh",
            [=](std::size_t count, const auto& a, const auto&) {
                numerical::aligned_vector<double> values(count * a.rows);
                numerical::aligned_vector<T> vectors(count * a.rows * a.rows);
                stacks::eigh(count, a, method, values.data(), vectors.data());
                append_bits(values, vectors);
                return values;
            },
            [=](const auto& a, const auto&) {
                const eigen_of<T> eigen(a, method, numerical::eigen_blocks::fastest);
                return results{eigen.values, bits_of(eigen.vectors.data)};
            }};
}

template <class T>
operation<T> eigenvalues_alone()
{
    return {"eigenvalues",
            [](std::size_t count, const auto& a, const auto&) {
                numerical::aligned_vector<double> values(count * a.rows);
                stacks::eigenvalues(count, a, values.data());
                return values;
            },
            [](const auto& a, const auto&) { return results{numerical::eigenvalues(a)}; }};
}

template <class T>
operation<T> singular_triplets(svd_method method)
{
    return {"svd",
            [=](std::size_t count, const auto& a, const auto&) {
                const std::size_t k = std::min(a.rows, a.cols);
                numerical::aligned_vector<T> u(count * a.rows * k);
                numerical::aligned_vector<double> values(count * k);
                numerical::aligned_vector<T> vh(count * k * a.cols);
                stacks::svd(count, a, method, u.data(), values.data(), vh.data());
                numerical::aligned_vector<double> all = bits_of(u);
                append_bits(all, values);
                append_bits(all, vh);
                return all;
            },
            [=](const auto& a, const auto&) {
                const numerical::svd_decomposition<T> svd(a, method,
                                                          numerical::svd_blocks::fastest);
                return results{bits_of(svd.u.data), svd.values,
                               bits_of(numerical::detail::adjoint(svd.v).data)};
            }};
}

template <class T>
operation<T> singular_values_alone()
{
    return {"singular_values",
            [](std::size_t count, const auto& a, const auto&) {
                numerical::aligned_vector<double> values(count * std::min(a.rows, a.cols));
                stacks::singular_values(count, a, values.data());
                return values;
            },
            [](const auto& a, const auto&) { return results{numerical::singular_values_only(a)}; }};
}

template <class T>
operation<T> pseudo_inverses()
{
    return {"pinv",
            [](std::size_t count, const auto& a, const auto&) {
                numerical::aligned_vector<T> p(count * a.rows * a.cols);
                stacks::pinv(count, a, p.data());
                return bits_of(p);
            },
            [](const auto& a, const auto&) {
                return results{bits_of(numerical::pseudo_inverse(a).data)};
            }};
}

template <class T>
operation<T> ranks()
{
    return {"matrix_rank",
            [](std::size_t count, const auto& a, const auto&) {
                std::vector<std::size_t> found(count);
                stacks::matrix_rank(count, a, found.data());
                return numerical::aligned_vector<double>(found.begin(), found.end());
            },
            [](const auto& a, const auto&) {
                return results{{static_cast<double>(numerical::rank_by_values(a))}};
            }};
}

template <class T>
operation<T> least_squares_solutions(std::size_t columns)
{
    return {
        "lstsq",
        [](std::size_t count, const auto& a, const auto& b) {
            numerical::aligned_vector<T> x(count * a.cols * b.cols);
            stacks::lstsq(count, a, b, x.data());
            return bits_of(x);
        },
        [](const auto& a, const auto& b) { return results{bits_of(numerical::lstsq(a, b).data)}; },
        [=](auto, auto) { return columns; }};
}

// Those that take matrices of any shape.
template <class T>
std::vector<operation<T>> rectangular_operations()
{
    return {qr_factors<T>(),
            singular_triplets<T>(svd_method::divide_and_conquer),
            singular_triplets<T>(svd_method::bidiagonal_qr),
            singular_values_alone<T>(),
            pseudo_inverses<T>(),
            ranks<T>(),
            least_squares_solutions<T>(1),
            least_squares_solutions<T>(3)};
}

// Those of Hermitian matrices.
template <class T>
std::vector<operation<T>> hermitian_operations()
{
    return {cholesky_factors<T>(), eigenpairs<T>(eigen_method::divide_and_conquer),
            eigenpairs<T>(eigen_method::tridiagonal_ql), eigenvalues_alone<T>()};
}

template <class T>
void expect_single_calls(const dense_stack<T>& a, const operation<T>& operation)
{
    const auto b =
        random_stack<T>(a.count, a.rows, operation.columns(a.rows, a.cols), unsigned(a.rows));
    expect_same_outcome<T>(a.count, a, b, operation);
}

TYPED_TEST(stacked_decompositions, bits_are_those_of_the_single_call)
{
    for (const int path : available_paths()) {
        const path_limit limit(path);
        for (const std::size_t n : stack_orders)
            for (const std::size_t count : n <= 9 ? stack_counts : std::vector<std::size_t>{9}) {
                if (n > 17 && count > 3)
                    continue;
                for (const auto& operation : rectangular_operations<TypeParam>())
                    expect_single_calls(random_stack<TypeParam>(count, n, n, 1), operation);
                for (const auto& operation : hermitian_operations<TypeParam>())
                    expect_single_calls(definite_stack<TypeParam>(count, n, 1), operation);
            }
        for (const std::size_t n : {31, 32, 33, 64, 100})
            expect_single_calls(definite_stack<TypeParam>(3, n, 1), cholesky_factors<TypeParam>());
    }
}

TYPED_TEST(stacked_decompositions, bits_of_rectangular_matrices_are_those_of_the_single_call)
{
    for (const int path : available_paths()) {
        const path_limit limit(path);
        for (std::size_t m = 0; m <= 18; ++m)
            for (std::size_t n = 0; n <= 18; ++n)
                expect_single_calls(random_stack<TypeParam>(9, m, n, unsigned(m * n)),
                                    qr_factors<TypeParam>());
        for (const auto& [m, n] : {std::pair(5, 2), {2, 5}, {12, 7}, {7, 12}, {40, 3}, {3, 40}})
            for (const auto& operation : rectangular_operations<TypeParam>())
                expect_single_calls(random_stack<TypeParam>(9, std::size_t(m), std::size_t(n), 1),
                                    operation);
    }
}

TYPED_TEST(stacked_decompositions, unusual_values_give_what_the_single_call_gives)
{
    for (const int path : available_paths()) {
        const path_limit limit(path);
        for (const auto& [m, n] :
             {std::pair(1, 1), {2, 2}, {3, 3}, {4, 4}, {9, 9}, {15, 15}, {20, 20}, {7, 3}, {3, 7}})
            for (const auto& a : unusual_stacks<TypeParam>(std::size_t(m), std::size_t(n)))
                for (const auto& operation : rectangular_operations<TypeParam>())
                    expect_single_calls(a, operation);
        for (const std::size_t n : {1, 2, 3, 7, 16, 20})
            for (auto a : unusual_stacks<TypeParam>(n, n)) {
                for (const auto& operation : hermitian_operations<TypeParam>())
                    expect_single_calls(a, operation);
                const auto definite = definite_stack<TypeParam>(a.count, n, 1);
                for (std::size_t i = 0; i < a.data.size(); ++i)
                    a.data[i] = definite.data[i] + a.data[i] * 0x1p-60;
                expect_single_calls(a, cholesky_factors<TypeParam>());
            }
    }
}

TYPED_TEST(stacked_decompositions, the_first_failing_place_is_named_at_every_thread_count)
{
    for (const std::size_t n : {3, 20}) {
        auto a = definite_stack<TypeParam>(2000, n, 1);
        for (const std::size_t place : {1999, 1777, 1778, 900})
            a.at(place)[n * n - 1] = -1; // the last pivot
        a.at(901)[1] = std::numeric_limits<double>::quiet_NaN();
        for (const std::size_t threads : thread_counts) {
            const thread_limit limit(threads);
            expect_single_calls(a, cholesky_factors<TypeParam>());
            expect_single_calls(a, qr_factors<TypeParam>());
        }
    }
}

TYPED_TEST(stacked_decompositions, shapes_that_do_not_fit_are_refused_whatever_the_count)
{
    using numerical::dimension_error;
    const matrix_stack<TypeParam> wide{nullptr, 2, 3, 6};
    const matrix_stack<TypeParam> short_b{nullptr, 1, 1, 1};
    TypeParam* const none = nullptr;
    const std::string eigen_text = std::is_same_v<TypeParam, double>
                                       ? "symmetric eigendecomposition requires a square matrix"
                                       : "Hermitian eigendecomposition requires a square matrix";
    EXPECT_EQ(text_thrown_by<dimension_error>([&] { stacks::cholesky(0, wide, none); }),
              "Cholesky decomposition requires a square matrix");
    EXPECT_EQ(text_thrown_by<dimension_error>(
                  [&] { stacks::eigh(0, wide, eigen_method::tridiagonal_ql, nullptr, none); }),
              eigen_text);
    EXPECT_EQ(text_thrown_by<dimension_error>([&] { stacks::eigenvalues(0, wide, nullptr); }),
              eigen_text);
    EXPECT_EQ(text_thrown_by<dimension_error>([&] { stacks::lstsq(0, wide, short_b, none); }),
              "lstsq: right-hand side size differs from the matrix");
}

} // namespace

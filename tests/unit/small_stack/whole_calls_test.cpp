// Everything runs on a thread with a stack of 64 KiB, as some programs make them: of that the C
// library and the thread's own storage have their part.

#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/eigen.hpp"
#include "numerical/einsum/einsum.hpp"
#include "numerical/elementwise/reductions.hpp"
#include "numerical/factor/cholesky.hpp"
#include "numerical/factor/determinant.hpp"
#include "numerical/factor/lu.hpp"
#include "numerical/factor/qr.hpp"
#include "numerical/svd/least_squares.hpp"
#include "numerical/svd/pseudo_inverse.hpp"
#include "numerical/svd/rank.hpp"
#include "numerical/svd/svd.hpp"

#include "matrices.hpp"
#include "paths.hpp"

#include <functional>
#include <gtest/gtest.h>
#include <pthread.h>
#include <string>

namespace {

using numerical::eigen_method;
using numerical::matrix;
using numerical::svd_method;
using numerical::tensor;

constexpr std::size_t small_stack = 65536;

void* call(void* body)
{
    (*static_cast<const std::function<void()>*>(body))();
    return nullptr;
}

// Runs the body on a thread of its own; a frame too many ends the program.
void on_small_stack(const std::function<void()>& body)
{
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, small_stack), 0);
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, &attributes, call, const_cast<std::function<void()>*>(&body)),
              0);
    EXPECT_EQ(pthread_join(thread, nullptr), 0);
    pthread_attr_destroy(&attributes);
}

// On every path, by the calling thread alone and with the pool.
void everywhere(const std::function<void()>& body)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t threads : {1, 64}) {
            const test::thread_limit cap(threads);
            on_small_stack(body);
        }
    }
}

// The last of each is above the crossovers to blocked methods; rows of 256 elements, a multiple of
// 2 KiB apart, are worked on in copies.
constexpr std::size_t orders[] = {5, 70, 256};
constexpr std::size_t orders_of_iterations[] = {5, 70, 150};

template <class T>
matrix<T> positive_definite(std::size_t n)
{
    auto a = test::random_matrix<T>(n, n, 1);
    for (std::size_t i = 0; i < n; ++i)
        a.data[i * n + i] = 2.0 * static_cast<double>(n);
    return a;
}

template <class T>
class small_stack_suite : public testing::Test
{
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(small_stack_suite, element_types);

TYPED_TEST(small_stack_suite, holds_lu_and_what_is_solved_with_it)
{
    using T = TypeParam;
    for (const std::size_t n : orders) {
        const auto a = test::random_matrix<T>(n, n, 1);
        const auto b = test::random_vector<T>(n * 64, 2);
        everywhere([&] {
            numerical::lu_decomposition<T> lu{matrix<T>(a)};
            EXPECT_FALSE(lu.singular);
            lu.solve_matrix(b.data(), 64);
            lu.solve_vector(numerical::aligned_vector<T>(
                b.begin(), b.begin() + static_cast<std::ptrdiff_t>(n)));
            numerical::slogdet(lu);
            lu.inverse();
        });
    }
}

TYPED_TEST(small_stack_suite, holds_cholesky_and_qr)
{
    using T = TypeParam;
    for (const std::size_t n : orders) {
        const auto a = positive_definite<T>(n);
        everywhere([&] {
            numerical::cholesky_decomposition<T>{matrix<T>(a)};
            numerical::detail::householder_qr(a.data, n, n);
            numerical::detail::householder_qr(test::random_vector<T>(3 * n * n, 3), 3 * n, n);
        });
    }
}

TYPED_TEST(small_stack_suite, holds_eigenvectors_by_every_method)
{
    using decomposition =
        std::conditional_t<std::is_same_v<TypeParam, double>, numerical::symmetric_eigen,
                           numerical::hermitian_eigen>;
    for (const std::size_t n : orders_of_iterations) {
        const auto a = test::random_matrix<TypeParam>(n, n, 4);
        everywhere([&] {
            decomposition(a, eigen_method::tridiagonal_ql);
            decomposition(a, eigen_method::divide_and_conquer);
            if constexpr (std::is_same_v<TypeParam, double>)
                if (n < 100)
                    decomposition(a, eigen_method::jacobi);
        });
    }
}

TYPED_TEST(small_stack_suite, holds_singular_values_by_every_method)
{
    using decomposition = numerical::svd_decomposition<TypeParam>;
    for (const std::size_t n : orders_of_iterations) {
        const auto a = test::random_matrix<TypeParam>(n, n, 5);
        everywhere([&] {
            decomposition(a, svd_method::bidiagonal_qr);
            decomposition(a, svd_method::divide_and_conquer);
            if (n < 100)
                decomposition(a, svd_method::jacobi);
            numerical::singular_values(a);
        });
    }
}

TYPED_TEST(small_stack_suite, holds_least_squares)
{
    for (const std::size_t n : orders_of_iterations) {
        const auto a = test::random_matrix<TypeParam>(n + 30, n, 6);
        const auto poor = test::low_rank_matrix<TypeParam>(n + 30, n, 3, 7);
        const auto b = test::random_matrix<TypeParam>(n + 30, 4, 8);
        everywhere([&] {
            numerical::lstsq(a, b);
            numerical::lstsq(poor, b);
            numerical::pinv(a);
            EXPECT_EQ(numerical::matrix_rank(poor), 3);
        });
    }
}

TYPED_TEST(small_stack_suite, holds_einsum_by_every_way)
{
    using T = TypeParam;
    for (const std::size_t n : {3UL, 17UL, 60UL}) {
        const tensor<T> a({n, n, n}, test::random_vector<T>(n * n * n, 9));
        const tensor<T> b({n, n}, test::random_vector<T>(n * n, 10));
        everywhere([&] {
            for (const std::string spec : {"bij,jk->bik", "bij,jk->bki", "bij,bjk->bki",
                                           "bij,bjk->kib", "bij,bij->j", "bij,bij->"}) {
                const tensor<T>& second = spec.substr(4, 3).back() == '-' ? b : a;
                numerical::detail::einsum_impl<T>(spec, {&a, &second});
            }
            for (const std::string spec : {"bij->j", "bij->i", "bij->jib", "bii->b", "bij->"})
                numerical::detail::einsum_impl<T>(spec, {&a});
            numerical::detail::einsum_impl<T>("bij,jk,kl->bil", {&a, &b, &b});
        });
    }
}

} // namespace

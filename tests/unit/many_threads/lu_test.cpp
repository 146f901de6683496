#include "numerical/aligned_vector.hpp"
#include "numerical/factor/lu.hpp"
#include "numerical/factor/triangular.hpp"

#include "many.hpp"
#include "matrices.hpp"
#include "paths.hpp"

#include <gtest/gtest.h>
#include <utility>
#include <vector>

namespace {

using numerical::block_sums;
using numerical::lu_decomposition;
using numerical::matrix;

template <class T>
class lu_on_64_cores : public testing::Test
{
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(lu_on_64_cores, element_types);

// Factors, solutions, inverse and inverse of the triangle, one after the other. 70 right-hand sides
// are one strip; 209 are several on two and three threads, the last as narrow as one may be.
template <class T>
std::vector<numerical::aligned_vector<T>> everything_of(const matrix<T>& a)
{
    const lu_decomposition<T> lu(a);
    std::vector<numerical::aligned_vector<T>> results{test::elements_of(lu.factors.view())};
    for (const std::size_t columns : {70, 209})
        for (const auto sums : {block_sums::in_order, block_sums::in_any_order})
            results.push_back(
                lu.solve_matrix(test::random_vector<T>(a.rows * columns, 2).data(), columns, sums));
    results.push_back(numerical::detail::upper_inverse(results.front(), a.rows));
    for (const auto sums : {block_sums::in_order, block_sums::in_any_order})
        results.push_back(lu.inverse(sums).data);
    return results;
}

// The portable path would take long over the largest order; of a sample one path takes it.
std::vector<int> paths_of_order(std::size_t n)
{
    std::vector<int> paths = test::available_paths();
    if (n <= 321)
        return paths;
    std::erase(paths, int(numerical::detail::portable_path));
    return test::sampled(paths, n);
}

// What is factored by halves and what by blocks depends on the threads, and so do the tiles that
// are updated beside a panel. 258 and 321 end in blocks so narrow that the last products are summed
// by rows. From 193 or 241 on the loops leave the caller.
TYPED_TEST(lu_on_64_cores, has_the_bits_of_one_core)
{
    for (const std::size_t n : {100, 193, 241, 256, 258, 300, 321, 1153})
        for (const int path : paths_of_order(n)) {
            const test::path_limit limit(path);
            const auto a = test::random_matrix<TypeParam>(n, n, 1);
            std::vector<numerical::aligned_vector<TypeParam>> serial;
            {
                const test::thread_limit one(1);
                serial = everything_of(a);
            }
            for (const std::size_t threads :
                 n > 321 ? std::vector<std::size_t>{7} : test::numbers_of_threads(path)) {
                const test::thread_limit cap(threads);
                ASSERT_TRUE(everything_of(a) == serial)
                    << "order " << n << ", path " << path << ", threads " << threads;
            }
        }
}

TYPED_TEST(lu_on_64_cores, has_the_bits_of_one_core_for_rectangular_matrices)
{
    const auto factored = [](const matrix<TypeParam>& a) {
        matrix<TypeParam> factors = a;
        auto pivots = numerical::factorize_lu<TypeParam>({factors.data.data(), a.rows, a.cols});
        return std::pair(std::move(factors.data), std::move(pivots.exchanges));
    };
    for (const int path : test::available_paths())
        for (const auto& [rows, cols] : {std::pair(400UL, 290UL), std::pair(290UL, 400UL)}) {
            const test::path_limit limit(path);
            const auto a = test::random_matrix<TypeParam>(rows, cols, 3);
            const auto on = [&](std::size_t threads) {
                const test::thread_limit some(threads);
                return factored(a);
            };
            EXPECT_TRUE(on(7) == on(1)) << rows << " x " << cols << ", path " << path;
        }
}

} // namespace

#include "numerical/stacks/stacks.hpp"

#include "many.hpp"
#include "matrices.hpp"
#include "numerical/aligned_vector.hpp"
#include "paths.hpp"

#include <gtest/gtest.h>

namespace {

namespace stacks = numerical::stacks;

template <class T>
class stacks_on_64_cores : public testing::Test
{
};

using element_types = testing::Types<double, std::complex<double>>;
TYPED_TEST_SUITE(stacks_on_64_cores, element_types);

// All results of a stack of `count` matrices of order n, one after the other.
template <class T>
numerical::aligned_vector<T> results_of(const numerical::aligned_vector<T>& elements,
                                        std::size_t count, std::size_t n)
{
    const numerical::matrix_stack<T> a{elements.data(), n, n, n * n};
    const std::size_t size = count * n * n;
    numerical::aligned_vector<T> results(5 * size);
    stacks::inverse(count, a, results.data());
    stacks::qr(count, a, results.data() + size, results.data() + 2 * size);
    stacks::multiply(count, a, a, results.data() + 3 * size);
    stacks::pinv(count, a, results.data() + 4 * size);
    return results;
}

TYPED_TEST(stacks_on_64_cores, have_the_small_spectra_of_one_core)
{
    const std::size_t count = 1000;
    for (const std::size_t n : {3UL, 8UL}) {
        const std::size_t size = count * n * n;
        const auto elements = test::random_vector<TypeParam>(size, 1);
        const numerical::matrix_stack<TypeParam> a{elements.data(), n, n, n * n};
        const auto on = [&](std::size_t threads) {
            const test::thread_limit cap(threads);
            numerical::aligned_vector<TypeParam> results(4 * size);
            numerical::aligned_vector<double> values(2 * count * n);
            stacks::small_eigh(count, a, values.data(), results.data());
            stacks::small_svd(count, a, results.data() + size, values.data() + count * n,
                              results.data() + 2 * size);
            stacks::small_pinv(count, a, results.data() + 3 * size);
            return std::pair(results, values);
        };
        const auto serial = on(1);
        for (const std::size_t threads : {2UL, 3UL, 7UL, 64UL})
            ASSERT_TRUE(on(threads) == serial) << "order " << n << ", threads " << threads;
    }
}

TYPED_TEST(stacks_on_64_cores, have_the_bits_of_one_core)
{
    for (const auto& [count, n] :
         {std::pair(1000UL, 3UL), {100UL, 12UL}, {40UL, 40UL}, {3UL, 150UL}}) {
        const auto elements = test::random_vector<TypeParam>(count * n * n, 1);
        for (const int path : test::available_paths()) {
            const test::path_limit limit(path);
            const auto on = [&, c = count, order = n](std::size_t threads) {
                const test::thread_limit cap(threads);
                return results_of(elements, c, order);
            };
            const auto serial = on(1);
            for (const std::size_t threads : test::numbers_of_threads(path))
                ASSERT_TRUE(on(threads) == serial) << "path " << path << ", threads " << threads;
        }
    }
}

} // namespace

#include "numerical/svd/chase_kernels.hpp"

#include "matrices.hpp"
#include "ratios.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/path.hpp"

#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

namespace {

using namespace numerical::detail;
using numbers = numerical::aligned_vector<double>;
using wide = long double;
using wide_matrix = std::vector<std::vector<wide>>;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

struct named_kernel
{
    std::string name;
    std::size_t extent;
    upper_chase_kernel kernel;
};

std::vector<named_kernel> kernels()
{
    std::vector<named_kernel> all;
    if (cpu_features().avx2) {
        all.push_back({"AVX2", 16, avx2_upper_chase_16});
        all.push_back({"AVX2", 32, avx2_upper_chase_32});
    }
    if (cpu_features().avx512) {
        all.push_back({"AVX-512", 16, avx512_upper_chase_16});
        all.push_back({"AVX-512", 32, avx512_upper_chase_32});
    }
    return all;
}

// The rows of a step, random where the step is and NaN elsewhere.
struct chase_case
{
    std::size_t extent;
    std::size_t stride;
    numbers store;

    chase_case(std::size_t n, unsigned seed)
        : extent(n), stride(2 * n + 3), store(2 * n * stride, nan)
    {
        const auto random = test::random_vector<double>(4 * n * n, seed);
        for (std::size_t i = 0; i < 2 * n; ++i)
            for (std::size_t j = 0; j < (i < n ? n : 2 * n); ++j)
                at(i, j) = random[i * 2 * n + j];
    }

    double& at(std::size_t i, std::size_t j) { return store[i * stride + j]; }
};

// The unit vector of the reflection that leaves of x only its first element.
std::vector<wide> reflector_of(std::vector<wide> x)
{
    wide square = 0;
    for (const wide each : x)
        square += each * each;
    x[0] += std::copysign(std::sqrt(square), x[0]);
    wide length = 0;
    for (const wide each : x)
        length += each * each;
    for (wide& each : x)
        each /= std::sqrt(length);
    return x;
}

wide_matrix reflected(const chase_case& given)
{
    const std::size_t n = given.extent;
    wide_matrix a(2 * n, std::vector<wide>(2 * n));
    for (std::size_t i = 0; i < 2 * n; ++i)
        for (std::size_t j = 0; j < (i < n ? n : 2 * n); ++j)
            a[i][j] = given.store[i * given.stride + j];
    const auto columns = reflector_of({a[0].begin(), a[0].begin() + long(n)});
    for (auto& row : a) {
        wide sum = 0;
        for (std::size_t j = 0; j < n; ++j)
            sum += row[j] * columns[j];
        for (std::size_t j = 0; j < n; ++j)
            row[j] -= 2 * sum * columns[j];
    }
    std::vector<wide> first(n);
    for (std::size_t i = 0; i < n; ++i)
        first[i] = a[n + i][0];
    const auto rows = reflector_of(first);
    for (std::size_t j = 0; j < 2 * n; ++j) {
        wide sum = 0;
        for (std::size_t i = 0; i < n; ++i)
            sum += a[n + i][j] * rows[i];
        for (std::size_t i = 0; i < n; ++i)
            a[n + i][j] -= 2 * sum * rows[i];
    }
    return a;
}

TEST(upper_chase_kernels, reflect_columns_and_rows)
{
    for (const auto& [name, n, kernel] : kernels())
        for (unsigned seed = 1; seed < 20; ++seed) {
            SCOPED_TRACE(name + ", " + std::to_string(n) + ", seed " + std::to_string(seed));
            chase_case found(n, seed);
            const wide_matrix expected = reflected(found);
            ASSERT_TRUE(kernel(found.store.data(), found.stride));
            for (std::size_t i = 0; i < 2 * n; ++i)
                for (std::size_t j = 0; j < found.stride; ++j) {
                    if (j < (i < n ? n : 2 * n)) {
                        EXPECT_NEAR(found.at(i, j), double(expected[i][j]),
                                    8 * double(n) * test::eps);
                    } else {
                        EXPECT_TRUE(std::isnan(found.at(i, j)));
                    }
                }
            for (std::size_t j = 1; j < n; ++j) {
                EXPECT_EQ(found.at(0, j), 0);
                EXPECT_EQ(found.at(n + j, 0), 0);
            }
        }
}

TEST(upper_chase_kernels, leave_alone_what_is_to_be_reflected_with_care)
{
    for (const auto& [name, n, kernel] : kernels())
        for (const double behind : {0.0, 1e-8, 1e-320, 1e160, nan})
            for (const bool in_row : {true, false}) {
                chase_case found(n, 7);
                for (std::size_t i = 0; i < n; ++i) {
                    found.at(n + i, 0) = behind;
                    for (std::size_t j = 1; j < n; ++j)
                        found.at(n + i, j) = 0;
                }
                found.at(n, 0) = 1;
                if (in_row) {
                    found = chase_case(n, 8);
                    found.at(0, 0) = 1;
                    std::fill_n(&found.at(0, 1), n - 1, behind);
                }
                const chase_case before = found;
                EXPECT_FALSE(kernel(found.store.data(), found.stride)) << name << ", " << behind;
                for (std::size_t e = 0; e < found.store.size(); ++e)
                    EXPECT_TRUE(found.store[e] == before.store[e] || std::isnan(before.store[e]));
            }
}

} // namespace

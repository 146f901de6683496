#include "numerical/eigen/chase_kernels.hpp"

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

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

struct named_kernel
{
    std::string name;
    std::size_t extent;
    chase_kernel kernel;
};

std::vector<named_kernel> kernels()
{
    std::vector<named_kernel> all;
    if (cpu_features().avx2) {
        all.push_back({"AVX2", 16, avx2_chase_16});
        all.push_back({"AVX2", 32, avx2_chase_32});
    }
    if (cpu_features().avx512) {
        all.push_back({"AVX-512", 16, avx512_chase_16});
        all.push_back({"AVX-512", 32, avx512_chase_32});
    }
    return all;
}

// A random L and a random symmetric D side by side, with NaN behind each row and in the last column
// of D, which nobody reads.
class chase_case
{
public:
    explicit chase_case(std::size_t n, unsigned seed)
        : extent(n), stride(2 * n + 3), store(n * stride, nan), reflector(n)
    {
        const auto random = test::random_vector<double>(2 * n * n + n, seed);
        for (std::size_t i = 0; i < n; ++i)
            for (std::size_t j = 0; j < n; ++j) {
                left(i, j) = random[i * n + j];
                if (j < n - 1 || i == n - 1)
                    diagonal(i, j) = random[n * n + std::max(i, j) * n + std::min(i, j)];
            }
        wide square = 0;
        for (std::size_t i = 0; i < n; ++i) {
            reflector[i] = random[2 * n * n + i];
            square += wide(reflector[i]) * reflector[i];
        }
        for (double& x : reflector)
            x = double(x / std::sqrt(square));
    }

    double& left(std::size_t i, std::size_t j) { return store[i * stride + j]; }

    double& diagonal(std::size_t i, std::size_t j) { return store[i * stride + extent + j]; }

    // Of the symmetric D before the step.
    wide entry(std::size_t i, std::size_t j)
    {
        return i < extent - 1 && j == extent - 1 ? diagonal(j, i) : diagonal(i, j);
    }

    bool run(chase_kernel kernel)
    {
        return kernel({store.data(), store.data() + extent, stride}, reflector.data());
    }

    std::size_t extent;
    std::size_t stride;
    numbers store;
    numbers reflector;
};

using wide_matrix = std::vector<std::vector<wide>>;

// A := H·A and A := A·H in wider precision.
void reflect_rows(wide_matrix& a, const numbers& v)
{
    for (std::size_t j = 0; j < a.size(); ++j) {
        wide sum = 0;
        for (std::size_t i = 0; i < a.size(); ++i)
            sum += a[i][j] * v[i];
        for (std::size_t i = 0; i < a.size(); ++i)
            a[i][j] -= 2 * sum * v[i];
    }
}

void reflect_columns(wide_matrix& a, const numbers& v)
{
    for (auto& row : a) {
        wide sum = 0;
        for (std::size_t j = 0; j < a.size(); ++j)
            sum += row[j] * v[j];
        for (std::size_t j = 0; j < a.size(); ++j)
            row[j] -= 2 * sum * v[j];
    }
}

TEST(chase_kernels, reflect_both_blocks)
{
    for (const auto& [name, n, kernel] : kernels())
        for (unsigned seed = 1; seed < 20; ++seed) {
            SCOPED_TRACE(name + ", " + std::to_string(n) + ", seed " + std::to_string(seed));
            chase_case at(n, seed);
            wide_matrix left(n, std::vector<wide>(n));
            wide_matrix diagonal = left;
            for (std::size_t i = 0; i < n; ++i)
                for (std::size_t j = 0; j < n; ++j) {
                    left[i][j] = at.left(i, j);
                    diagonal[i][j] = at.entry(i, j);
                }
            const numbers u = at.reflector;
            ASSERT_TRUE(at.run(kernel));
            const numbers& v = at.reflector;
            wide square = 0;
            for (const double x : v)
                square += wide(x) * x;
            EXPECT_NEAR(double(square), 1, 8 * test::eps);
            reflect_columns(left, u);
            reflect_rows(left, v);
            reflect_columns(diagonal, v);
            reflect_rows(diagonal, v);
            const double accepted = 4 * double(n) * test::eps; // of entries below 1
            for (std::size_t i = 0; i < n; ++i)
                for (std::size_t j = 0; j < n; ++j) {
                    EXPECT_NEAR(at.left(i, j), double(left[i][j]), accepted);
                    EXPECT_NEAR(at.diagonal(i, j), double(diagonal[i][j]), accepted);
                }
            for (std::size_t i = 1; i < n; ++i)
                EXPECT_EQ(at.left(i, 0), 0);
            for (std::size_t i = 0; i < n; ++i)
                for (std::size_t j = 2 * n; j < at.stride; ++j)
                    EXPECT_TRUE(std::isnan(at.left(i, j)));
        }
}

TEST(chase_kernels, leave_alone_what_is_to_be_reflected_with_care)
{
    for (const auto& [name, n, kernel] : kernels())
        for (const double below : {0.0, 1e-8, 1e-170, 1e-320, 1e160, nan}) {
            chase_case at(n, 7);
            std::fill(at.reflector.begin(), at.reflector.end(), 0.0);
            at.left(0, 0) = below == 1e-170 ? 0 : 1;
            for (std::size_t i = 1; i < n; ++i)
                at.left(i, 0) = below;
            const chase_case before = at;
            EXPECT_FALSE(at.run(kernel)) << name << ", " << below;
            for (std::size_t e = 0; e < at.store.size(); ++e)
                EXPECT_TRUE(at.store[e] == before.store[e] || std::isnan(before.store[e]));
            EXPECT_EQ(at.reflector, before.reflector);
        }
}

} // namespace

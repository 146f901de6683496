#include "numerical/eigen/panel_kernels.hpp"

#include "matrices.hpp"
#include "paths.hpp"

#include "numerical/scalar.hpp"

#include <algorithm>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

namespace {

using namespace numerical::detail;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr std::size_t most = 21; // beyond two steps of every form, in complex elements
constexpr std::ptrdiff_t margin = 9;

// Integers, so that every order of summation gives the same, between NaNs: what a kernel reads
// beyond its operand shows in its result.
template <class T>
class guarded
{
public:
    guarded(std::size_t count, unsigned seed) : guarded(test::integer_vector<T>(count, seed)) {}

    explicit guarded(const std::vector<T>& values) : store(values.size() + 2 * margin, T(nan))
    {
        std::copy(values.begin(), values.end(), store.begin() + margin);
    }

    T* data() { return store.data() + margin; }

    double* parts() { return reinterpret_cast<double*>(data()); }

    std::vector<T> values() const { return {store.begin() + margin, store.end() - margin}; }

    bool intact() const
    {
        const auto is_nan = [](const T& x) { return x != x; };
        return std::all_of(store.begin(), store.begin() + margin, is_nan) &&
               std::all_of(store.end() - margin, store.end(), is_nan);
    }

private:
    std::vector<T> store;
};

// Elements of each row beyond `width` are NaN.
template <class T>
void spoil_beyond(guarded<T>& rows, std::size_t count, std::size_t stride, std::size_t width)
{
    for (std::size_t r = 0; r < count; ++r)
        std::fill(rows.data() + r * stride + width, rows.data() + (r + 1) * stride, T(nan));
}

template <class T>
void expect_row_dots(row_dots_kernel kernel, std::size_t count, std::size_t n)
{
    const std::size_t stride = n + 3;
    guarded<T> v(n, 1);
    guarded<T> rows(count * stride, 2);
    spoil_beyond(rows, count, stride, n);
    guarded<T> out(count, 3);
    std::vector<T> want(count);
    for (std::size_t t = 0; t < count; ++t)
        for (std::size_t j = 0; j < n; ++j)
            want[t] += conjugate(rows.data()[t * stride + j]) * v.data()[j];
    kernel(out.parts(), v.parts(), rows.parts(), stride, count, n);
    EXPECT_EQ(out.values(), want) << count << " rows of " << n;
    EXPECT_TRUE(out.intact()) << count << " rows of " << n;
}

TEST(panel_kernels, row_dots_are_exact_on_small_integers)
{
    for (const int path : test::available_paths())
        for (std::size_t count = 0; path != portable_path && count <= 9; ++count)
            for (std::size_t n = 0; n <= 2 * most; ++n)
                expect_row_dots<double>(path == avx512_path ? avx512_row_dots : avx2_row_dots,
                                        count, n);
}

TEST(panel_kernels, complex_row_dots_conjugate_the_rows)
{
    for (const int path : test::available_paths())
        for (std::size_t count = 0; path != portable_path && count <= 9; ++count)
            for (std::size_t n = 0; n <= most; ++n)
                expect_row_dots<complex>(path == avx512_path ? avx512_complex_row_dots
                                                             : avx2_complex_row_dots,
                                         count, n);
}

void expect_hermitian_rows(int path, std::size_t n)
{
    const std::size_t stride = n + 5;
    guarded<complex> rows(4 * stride, 4);
    spoil_beyond(rows, 4, stride, n);
    guarded<complex> x(n + 4, 5);
    guarded<complex> y(n, 6);
    std::vector<complex> columns = y.values();
    std::array<complex, 4> dots{};
    for (std::size_t r = 0; r < 4; ++r)
        for (std::size_t j = 0; j < n; ++j) {
            const complex a = rows.data()[r * stride + j];
            dots[r] += a * x.data()[j];
            columns[j] += x.data()[n + r] * std::conj(a);
        }
    const auto kernel = path == avx512_path ? avx512_hermitian_rows : avx2_hermitian_rows;
    EXPECT_EQ(kernel(rows.parts(), stride, x.parts(), y.parts(), n), dots) << path << ", " << n;
    EXPECT_EQ(y.values(), columns) << path << ", " << n;
    EXPECT_TRUE(y.intact()) << path << ", " << n;
}

TEST(panel_kernels, hermitian_rows_serve_both_roles)
{
    for (const int path : test::available_paths())
        for (std::size_t n = 0; path != portable_path && n <= most; ++n)
            expect_hermitian_rows(path, n);
}

} // namespace

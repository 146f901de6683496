#include "numerical/aligned_vector.hpp"
#include "numerical/factor/qr.hpp"
#include "numerical/factor/reflector.hpp"
#include "numerical/gemm/kernels/reflect_panel.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/scalar.hpp"

#include "matrices.hpp"
#include "paths.hpp"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace {

using complex = std::complex<double>;
using numerical::matrix;
namespace detail = numerical::detail;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

double* parts(complex* z)
{
    return reinterpret_cast<double*>(z);
}

// y - f·u: on vector paths in two fused steps.
complex reflected(int path, const complex& y, const complex& f, const complex& u)
{
    if (path == detail::portable_path)
        return y - f * u;
    const auto less = [](double sum, double a, double b) { return std::fma(-a, b, sum); };
    return {less(less(y.real(), f.real(), u.real()), -f.imag(), u.imag()),
            less(less(y.imag(), f.real(), u.imag()), f.imag(), u.real())};
}

TEST(complex_panel_pass, reflects_rows_and_takes_dots_and_the_next_column)
{
    for (const int path : test::available_paths())
        for (std::size_t width = 4; width <= 40; width += detail::complex_panel_unit)
            for (const std::size_t count : {0u, 1u, 2u, 7u})
                for (std::size_t next = 0; next < 5 && next < width; ++next) {
                    SCOPED_TRACE(testing::Message() << "path " << path << ", " << count << " by "
                                                    << width << ", next " << next);
                    const std::size_t stride = width + 3;
                    auto rows = test::random_vector<complex>(count * stride + 1, 1);
                    for (std::size_t i = 0; i < count; ++i)
                        std::fill_n(rows.data() + i * stride + width, 3, complex(nan, nan));
                    auto u = test::random_vector<complex>(count, 2);
                    auto v = test::random_vector<complex>(count, 3);
                    const auto f = test::random_vector<complex>(width, 4);
                    numerical::aligned_vector<double> f_real, f_imag;
                    for (const complex& each : f) {
                        f_real.insert(f_real.end(), {each.real(), each.real()});
                        f_imag.insert(f_imag.end(), {-each.imag(), each.imag()});
                    }
                    auto want = rows;
                    numerical::aligned_vector<complex> want_sums(width),
                        sums(width + 1, complex(nan, nan));
                    numerical::aligned_vector<complex> next_column(count + 1, complex(nan, nan));
                    for (std::size_t i = 0; i < count; ++i)
                        for (std::size_t l = 0; l < width; ++l) {
                            complex& y = want[i * stride + l];
                            y = reflected(path, y, f[l], u[i]);
                            want_sums[l] += y * std::conj(v[i]);
                        }
                    detail::reflect_panel_on(path, {parts(rows.data()), stride, width, count,
                                                    f_real.data(), f_imag.data(), parts(u.data()),
                                                    parts(v.data()), parts(sums.data()), next,
                                                    parts(next_column.data())});
                    for (std::size_t i = 0; i < count; ++i) {
                        for (std::size_t l = 0; l < width; ++l)
                            ASSERT_EQ(rows[i * stride + l], want[i * stride + l]);
                        for (std::size_t l = width; l < stride; ++l)
                            ASSERT_TRUE(std::isnan(rows[i * stride + l].real()));
                        ASSERT_EQ(next_column[i], want[i * stride + next]);
                    }
                    for (std::size_t l = 0; l < width; ++l)
                        ASSERT_EQ(sums[l], want_sums[l]);
                    ASSERT_TRUE(std::isnan(sums[width].real()));
                    ASSERT_TRUE(std::isnan(next_column[count].real()));
                }
}

template <class T>
class qr_panel : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(qr_panel, element_types);

// Equal, or NaN both.
bool same(double x, double y)
{
    return x == y || (std::isnan(x) && std::isnan(y));
}

bool same(const complex& x, const complex& y)
{
    return same(x.real(), y.real()) && same(x.imag(), y.imag());
}

// That a panel is what its reflectors make of it one at a time, on columns that lie contiguous.
template <class T>
void expect_reflectors_one_by_one(const matrix<T>& a)
{
    numerical::aligned_vector<T> factored = a.data;
    const auto block =
        detail::factor_qr_panel(detail::block_view<T>{factored.data(), a.rows, a.cols}, 0);
    ASSERT_EQ(block.vectors.size(), a.data.size());
    const detail::block_view<const T> vectors{block.vectors.data(), a.rows, a.cols};

    numerical::aligned_vector<T> columns(a.data.size());
    for (std::size_t i = 0; i < a.rows; ++i)
        for (std::size_t j = 0; j < a.cols; ++j)
            columns[j * a.rows + i] = a.data[i * a.cols + j];
    for (std::size_t j = 0; j < a.cols; ++j) {
        const auto begin = columns.begin() + std::ptrdiff_t(j * a.rows);
        numerical::aligned_vector<T> v(begin + std::ptrdiff_t(j), begin + std::ptrdiff_t(a.rows));
        detail::make_reflector(v);
        detail::reflect_columns(columns, a.rows, v, j, j, a.cols);
        v.resize(a.rows - j); // zeros for the identity
        for (std::size_t i = 0; i < a.rows; ++i)
            ASSERT_TRUE(same(vectors(i, j), i < j ? T(0) : v[i - j])) << i << ", " << j;
        for (std::size_t i = 0; i <= j; ++i)
            ASSERT_TRUE(same(factored[i * a.cols + j], columns[j * a.rows + i])) << i << ", " << j;
    }
}

TYPED_TEST(qr_panel, has_the_bits_of_its_reflectors_one_by_one)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (std::size_t cols = 1; cols <= 36; ++cols)
            for (const std::size_t below : {0u, 1u, 2u, 3u, 30u, 101u}) {
                SCOPED_TRACE(testing::Message() << cols << " and " << below << ", path " << path);
                const auto a = test::random_matrix<TypeParam>(cols + below, cols, 1);
                expect_reflectors_one_by_one(a);
            }
    }
}

TYPED_TEST(qr_panel, of_many_rows_has_the_bits_of_its_reflectors_one_by_one)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t rows : {511u, 512u, 513u, 516u, 1030u, 4100u, 9000u})
            for (const std::size_t cols : {5u, 32u})
                expect_reflectors_one_by_one(test::random_matrix<TypeParam>(rows, cols, 1));
    }
}

TYPED_TEST(qr_panel, passes_over_zero_columns)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t rows : {40u, 600u}) {
            auto a = test::random_matrix<TypeParam>(rows, 13, 1);
            for (const std::size_t zero : {0u, 3u, 4u, 12u})
                for (std::size_t i = 0; i < a.rows; ++i)
                    a.data[i * a.cols + zero] = 0;
            expect_reflectors_one_by_one(a);
        }
    }
}

// Annex G products keep an infinity where textbook ones give NaN; some occur in the update.
TEST(complex_qr_panel, recovers_infinite_sums)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        std::size_t infinite = 0;
        for (unsigned seed = 0; seed < 16; ++seed) {
            auto a = test::random_matrix<complex>(6, 2, seed);
            a.data[6] = 1; // times an infinity it is NaN in both parts
            a.data[7] = complex(infinity, seed % 2 == 0 ? infinity : -infinity);
            expect_reflectors_one_by_one(a);
            detail::factor_qr_panel(detail::block_view<complex>{a.data.data(), 6, 2}, 0);
            infinite += std::isinf(a.data[1].real()) || std::isinf(a.data[1].imag()) ? 1 : 0;
        }
        EXPECT_GT(infinite, 0u) << "path " << path;
    }
}

} // namespace

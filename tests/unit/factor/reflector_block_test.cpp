#include "numerical/factor/reflector_block.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/factor/reflector.hpp"
#include "numerical/gemm/gemm.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/scalar.hpp"
#include "numerical/strided/transpose.hpp"

#include "matrices.hpp"
#include "paths.hpp"
#include "ratios.hpp"
#include "reference.hpp"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace {

using complex = std::complex<double>;
using detail_operator = numerical::detail::block_operator;
using numerical::matrix;
namespace detail = numerical::detail;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double ratio_limit = 8;

template <class T>
class reflector_block : public testing::Test
{
};

using element_types = testing::Types<double, complex>;
TYPED_TEST_SUITE(reflector_block, element_types);

// Reflector i acts on rows [i, rows), for i < count.
template <class T>
std::vector<numerical::aligned_vector<T>> random_reflectors(std::size_t count, std::size_t rows)
{
    std::vector<numerical::aligned_vector<T>> reflectors(count);
    for (std::size_t i = 0; i < count; ++i) {
        reflectors[i] = test::random_vector<T>(rows - i, unsigned(i + 1));
        detail::make_reflector(reflectors[i]);
    }
    return reflectors;
}

template <class T>
matrix<T> identity(std::size_t n)
{
    matrix<T> one(n, n, numerical::aligned_vector<T>(n * n));
    for (std::size_t i = 0; i < n; ++i)
        one.data[i * n + i] = 1;
    return one;
}

test::wide<double> conjugated(test::wide<double> x)
{
    return x;
}

test::wide<complex> conjugated(const test::wide<complex>& z)
{
    return std::conj(z);
}

// Q = H[from]···H[to-1] as a dense matrix, one reflector at a time in wider precision.
template <class T>
matrix<T> dense(const std::vector<numerical::aligned_vector<T>>& reflectors, std::size_t from,
                std::size_t to, std::size_t rows)
{
    using wide = test::wide<T>;
    const matrix<T> one = identity<T>(rows);
    std::vector<wide> q(one.data.begin(), one.data.end());
    for (std::size_t i = to; i-- > from;)
        for (std::size_t column = 0; column < rows; ++column) {
            const numerical::aligned_vector<T>& v = reflectors[i];
            wide d = 0;
            for (std::size_t k = 0; k < v.size(); ++k)
                d += conjugated(wide(v[k])) * q[(i + k) * rows + column];
            for (std::size_t k = 0; k < v.size(); ++k)
                q[(i + k) * rows + column] -= wide(2) * wide(v[k]) * d;
        }
    matrix<T> out = one;
    for (std::size_t i = 0; i < q.size(); ++i)
        out.data[i] = static_cast<T>(q[i]);
    return out;
}

template <class T>
matrix<T> transposed(const matrix<T>& a)
{
    matrix<T> out(a.cols, a.rows, numerical::aligned_vector<T>(a.data.size()));
    for (std::size_t i = 0; i < a.rows; ++i)
        for (std::size_t j = 0; j < a.cols; ++j)
            out.data[j * a.rows + i] = a.data[i * a.cols + j];
    return out;
}

// Rows [from, to) of columns [left, right).
template <class T>
matrix<T> part(const matrix<T>& a, std::size_t from, std::size_t to, std::size_t left,
               std::size_t right)
{
    matrix<T> out(to - from, right - left,
                  numerical::aligned_vector<T>((to - from) * (right - left)));
    for (std::size_t i = from; i < to; ++i)
        std::copy_n(a.data.begin() + std::ptrdiff_t(i * a.cols + left), right - left,
                    out.data.begin() + std::ptrdiff_t((i - from) * out.cols));
    return out;
}

// NaN all over but for a random part.
template <class T>
matrix<T> framed(std::size_t rows, std::size_t cols, std::size_t from, std::size_t to,
                 std::size_t left, std::size_t right)
{
    matrix<T> out(rows, cols, numerical::aligned_vector<T>(rows * cols, nan));
    std::mt19937_64 generator(rows + cols);
    for (std::size_t i = from; i < to; ++i)
        for (std::size_t j = left; j < right; ++j)
            out.data[i * cols + j] = test::random_value<T>(generator);
    return out;
}

// That all but the part is still NaN, and nothing in the part is.
template <class T>
void expect_frame(const matrix<T>& a, std::size_t from, std::size_t to, std::size_t left,
                  std::size_t right)
{
    for (std::size_t i = 0; i < a.rows; ++i)
        for (std::size_t j = 0; j < a.cols; ++j)
            ASSERT_EQ(std::isnan(detail::real_part(a.data[i * a.cols + j])),
                      !(i >= from && i < to && j >= left && j < right))
                << i << ", " << j;
}

struct block_size
{
    std::size_t from;
    std::size_t to;
    std::size_t rows;
};

const std::vector<block_size> sizes{{0, 1, 1},   {0, 1, 9},    {2, 5, 5},   {0, 3, 40},
                                    {1, 32, 33}, {0, 31, 31},  {3, 35, 35}, {0, 32, 100},
                                    {7, 39, 71}, {32, 63, 140}};

TYPED_TEST(reflector_block, holds_vectors_and_an_upper_factor)
{
    const auto reflectors = random_reflectors<TypeParam>(20, 30);
    const auto block = detail::gather_reflectors(reflectors, 4, 20, 30);
    EXPECT_EQ(block.offset, 4u);
    EXPECT_EQ(block.rows, 26u);
    EXPECT_EQ(block.count, 16u);
    for (std::size_t i = 0; i < block.rows; ++i)
        for (std::size_t j = 0; j < block.count; ++j)
            ASSERT_EQ(block.vectors[i * block.count + j],
                      i < j ? TypeParam(0) : reflectors[4 + j][i - j]);
    for (std::size_t i = 0; i < block.count; ++i) {
        EXPECT_EQ(block.factor[i * block.count + i], TypeParam(2));
        for (std::size_t j = 0; j < i; ++j)
            EXPECT_EQ(block.factor[i * block.count + j], TypeParam(0));
    }
}

TYPED_TEST(reflector_block, factor_is_that_of_the_recurrence)
{
    // Two unit vectors with vᴴw = 0.8·0.5: T = [2 -1.6; 0 2], exact but for 0.8 and 0.6.
    const std::vector<numerical::aligned_vector<TypeParam>> reflectors{{0.6, 0.8, 0.0, 0.0, 0.0},
                                                                       {0.5, 0.5, -0.5, -0.5}};
    const auto block = detail::gather_reflectors(reflectors, 0, 2, 5);
    EXPECT_NEAR(detail::real_part(block.factor[1]), -1.6, 4 * test::eps);
}

TYPED_TEST(reflector_block, applies_as_its_dense_matrix_and_touches_nothing_else)
{
    for (const auto [from, to, rows] : sizes) {
        const auto reflectors = random_reflectors<TypeParam>(to, rows);
        const auto q = part(dense(reflectors, from, to, rows), from, rows, from, rows);
        for (const int path : test::available_paths())
            for (const std::size_t width : {1u, 7u, 64u}) {
                SCOPED_TRACE(testing::Message() << '[' << from << ", " << to << ") of " << rows
                                                << ", width " << width << ", path " << path);
                const test::path_limit limit(path);
                const auto block = detail::gather_reflectors(reflectors, from, to, rows);
                const std::size_t last = 3 + width;
                const auto c = framed<TypeParam>(rows + 1, width + 5, from, rows, 3, last);
                const auto inner = part(c, from, rows, 3, last);

                auto direct = c;
                detail::apply_reflector_block<detail_operator::direct>(block, direct.data, c.cols,
                                                                       3, last);
                expect_frame(direct, from, rows, 3, last);
                EXPECT_LT(test::difference_ratio(test::reference_product(q, inner),
                                                 part(direct, from, rows, 3, last)),
                          ratio_limit);

                auto adjoint = c;
                detail::apply_reflector_block<detail_operator::adjoint>(block, adjoint.data, c.cols,
                                                                        3, last);
                expect_frame(adjoint, from, rows, 3, last);
                EXPECT_LT(test::difference_ratio(test::reference_product(detail::adjoint(q), inner),
                                                 part(adjoint, from, rows, 3, last)),
                          ratio_limit);
            }
    }
}

// C := C + V·(-T·(VᴴC)) with V and T as they are stored, zeros and all.
template <class T>
matrix<T> applied_with_zeros(const detail::reflector_block<T>& block, matrix<T> c)
{
    const std::size_t count = block.count;
    const std::size_t width = c.cols;
    numerical::aligned_vector<T> adjoint(count * block.rows);
    for (std::size_t i = 0; i < block.rows; ++i)
        for (std::size_t j = 0; j < count; ++j)
            adjoint[j * block.rows + i] = detail::conjugate(block.vectors[i * count + j]);
    numerical::aligned_vector<T> w(count * width), minus_tw(count * width);
    detail::gemm<T>(count, width, block.rows, adjoint.data(), block.rows, c.data.data(), width,
                    w.data(), width);
    const int path = detail::gemm_path_current();
    for (std::size_t i = 0; i < count; ++i)
        for (std::size_t k = i; k < count; ++k) {
            const T t = block.factor[i * count + k];
            T* const out = minus_tw.data() + i * width;
            if constexpr (std::is_same_v<T, double>)
                detail::scaled_add_on(path, out, w.data() + k * width, -t, width);
            else
                for (std::size_t j = 0; j < width; ++j)
                    out[j] -= t * w[k * width + j];
        }
    detail::gemm<T>(block.rows, width, count, block.vectors.data(), count, minus_tw.data(), width,
                    c.data.data(), width);
    return c;
}

// Every count and rows beside a band's and a block's edge, and targets thin and wide.
template <class Expect>
void for_blocks_at_every_edge(const Expect& expect)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (const std::size_t count : {1u, 7u, 8u, 9u, 12u, 16u, 19u, 20u, 24u, 31u, 32u})
            for (const std::size_t below : {0u, 1u, 7u, 8u, 40u, 96u, 97u, 231u, 232u, 300u})
                for (const std::size_t beside : {0u, 1u, 7u, 8u, 20u, 100u}) {
                    SCOPED_TRACE(testing::Message()
                                 << count << " reflectors over " << below << " more rows and "
                                 << beside << " columns, path " << path);
                    expect(count, count + below, beside);
                }
    }
}

TYPED_TEST(reflector_block, leaves_out_zeros_without_changing_a_bit)
{
    for_blocks_at_every_edge([](std::size_t count, std::size_t rows, std::size_t width) {
        const auto block =
            detail::gather_reflectors(random_reflectors<TypeParam>(count, rows), 0, count, rows);
        const auto c = test::random_matrix<TypeParam>(rows, width, 1);
        auto applied = c;
        detail::apply_reflector_block<detail_operator::direct>(block, applied.data, width, 0,
                                                               width);
        EXPECT_EQ(applied.data, applied_with_zeros(block, c).data);
    });
}

TYPED_TEST(reflector_block, extends_a_basis_as_it_applies_to_the_bordered_matrix)
{
    for_blocks_at_every_edge([](std::size_t count, std::size_t rows, std::size_t beside) {
        const std::size_t offset = 2;
        const std::size_t width = count + std::min(beside, rows - count);
        const auto reflectors = random_reflectors<TypeParam>(offset + count, offset + rows);
        const auto block =
            detail::gather_reflectors(reflectors, offset, offset + count, offset + rows);
        const std::size_t ld = offset + width;
        auto q =
            framed<TypeParam>(offset + rows, ld, offset + count, offset + rows, offset + count, ld);
        auto bordered = part(q, offset, q.rows, offset, ld);
        for (std::size_t i = 0; i < rows; ++i)
            for (std::size_t j = 0; j < width; ++j)
                if (i < count || j < count)
                    bordered.data[i * width + j] = i == j ? 1 : 0;
        detail::extend_basis(block, q.data, ld);
        expect_frame(q, offset, q.rows, offset, ld);
        EXPECT_EQ(part(q, offset, q.rows, offset, ld).data,
                  applied_with_zeros(block, bordered).data);
    });
}

// Long dots go in runs, of which the first one holds the zeros and the last may be a few rows.
TYPED_TEST(reflector_block, of_many_rows_extends_a_basis_as_it_applies)
{
    for (const int path : test::available_paths())
        for (const std::size_t rows : {512u, 513u, 519u, 1025u, 1700u}) {
            const test::path_limit limit(path);
            SCOPED_TRACE(testing::Message() << rows << " rows, path " << path);
            const std::size_t count = 20;
            const std::size_t width = 150;
            const auto block = detail::gather_reflectors(random_reflectors<TypeParam>(count, rows),
                                                         0, count, rows);
            auto q = test::random_matrix<TypeParam>(rows, width, 1);
            auto bordered = q;
            for (std::size_t i = 0; i < rows; ++i)
                for (std::size_t j = 0; j < width; ++j)
                    if (i < count || j < count)
                        bordered.data[i * width + j] = i == j ? 1 : 0;
            for (const std::size_t threads : test::thread_counts) {
                const test::thread_limit some(threads);
                auto extended = q.data;
                detail::extend_basis(block, extended, width);
                auto applied = bordered.data;
                detail::apply_reflector_block<detail_operator::direct>(block, applied, width, 0,
                                                                       width);
                EXPECT_EQ(extended, applied) << threads << " threads";
            }
        }
}

TYPED_TEST(reflector_block, applies_its_plain_transpose_from_the_right)
{
    for (const auto [from, to, rows] : sizes) {
        const auto reflectors = random_reflectors<TypeParam>(to, rows);
        const auto q = part(dense(reflectors, from, to, rows), from, rows, from, rows);
        for (const int path : test::available_paths())
            for (const std::size_t height : {1u, 7u, 64u}) {
                SCOPED_TRACE(testing::Message() << '[' << from << ", " << to << ") of " << rows
                                                << ", height " << height << ", path " << path);
                const test::path_limit limit(path);
                const auto block = detail::gather_reflectors(reflectors, from, to, rows);
                const std::size_t last = 2 + height;
                auto c = framed<TypeParam>(height + 3, rows + 1, 2, last, from, rows);
                const auto inner = part(c, 2, last, from, rows);
                detail::apply_transposed_reflector_block(block, c.data, c.cols, 2, last);
                expect_frame(c, 2, last, from, rows);
                EXPECT_LT(test::difference_ratio(test::reference_product(inner, transposed(q)),
                                                 part(c, 2, last, from, rows)),
                          ratio_limit);
            }
    }
}

// The block at once, its transpose on the transposed matrix, reflector by reflector on rows and
// reflector by reflector on stretches.
TYPED_TEST(reflector_block, agrees_with_the_other_ways_of_applying_its_reflectors)
{
    const std::size_t rows = 90, width = 70;
    const auto reflectors = random_reflectors<TypeParam>(30, rows);
    const auto block = detail::gather_reflectors(reflectors, 0, 30, rows);
    const auto c = test::random_matrix<TypeParam>(rows, width, 1);

    auto at_once = c;
    detail::apply_reflector_block<detail_operator::direct>(block, at_once.data, width, 0, width);
    auto by_transpose = transposed(c);
    detail::apply_transposed_reflector_block(block, by_transpose.data, rows, 0, width);
    auto by_rows = c;
    auto by_stretches = transposed(c);
    for (std::size_t i = 30; i-- > 0;) {
        detail::reflect_rows(by_rows.data, width, reflectors[i], i, 0);
        detail::reflect_columns(by_stretches.data, rows, reflectors[i], i, 0, width);
    }
    EXPECT_LT(test::difference_ratio(at_once, transposed(by_transpose)), ratio_limit);
    EXPECT_LT(test::difference_ratio(at_once, by_rows), ratio_limit);
    EXPECT_LT(test::difference_ratio(at_once, transposed(by_stretches)), ratio_limit);
}

// Wide and narrow, of more than one slab, and with dots longer than any run of other forms.
TEST(ascending_slabs, have_the_bits_of_the_transpose_and_keep_to_their_columns)
{
    struct shape
    {
        std::size_t from, to, rows, width;
    };

    for (const auto [from, to, rows, width] :
         {shape{0, 1, 2, 1}, shape{2, 5, 9, 3}, shape{1, 33, 40, 63}, shape{0, 32, 90, 64},
          shape{32, 64, 200, 65}, shape{7, 9, 300, 200}, shape{0, 32, 600, 300},
          shape{1, 32, 1100, 80}}) {
        const auto reflectors = random_reflectors<double>(to, rows);
        for (const int path : test::available_paths()) {
            SCOPED_TRACE(testing::Message() << '[' << from << ", " << to << ") of " << rows
                                            << ", width " << width << ", path " << path);
            const test::path_limit limit(path);
            const auto block = detail::gather_reflectors(reflectors, from, to, rows);
            const auto c = framed<double>(rows + 1, width + 2, from, rows, 1, width + 1);
            auto expected = transposed(part(c, from, rows, 1, width + 1));
            auto at_offset = block;
            at_offset.offset = 0;
            detail::apply_transposed_reflector_block(at_offset, expected.data, rows - from, 0,
                                                     width);
            for (const std::size_t threads : test::thread_counts) {
                const test::thread_limit some(threads);
                auto out = c;
                const detail::ascending_slabs slabs(
                    block, detail::block_view<double>{out.data.data(), rows + 1, width + 2}.sub(
                               from, rows, 1, width + 1));
                for (std::size_t s = slabs.count(); s-- > 0;)
                    slabs.apply(s);
                expect_frame(out, from, rows, 1, width + 1);
                EXPECT_EQ(transposed(part(out, from, rows, 1, width + 1)).data, expected.data)
                    << threads << " threads";
            }
        }
    }
}

TYPED_TEST(reflector_block, undoes_itself_by_its_adjoint)
{
    const auto reflectors = random_reflectors<TypeParam>(32, 200);
    const auto block = detail::gather_reflectors(reflectors, 0, 32, 200);
    const auto c = test::random_matrix<TypeParam>(200, 50, 1);
    auto back = c;
    detail::apply_reflector_block<detail_operator::direct>(block, back.data, 50, 0, 50);
    EXPECT_GT(test::difference_ratio(c, back), 1e6);
    detail::apply_reflector_block<detail_operator::adjoint>(block, back.data, 50, 0, 50);
    EXPECT_LT(test::difference_ratio(c, back), ratio_limit);
}

TYPED_TEST(reflector_block, takes_an_empty_reflector_as_the_identity)
{
    for (const std::size_t empty : {0u, 5u, 11u}) {
        auto reflectors = random_reflectors<TypeParam>(12, 40);
        reflectors[empty].clear();
        const auto block = detail::gather_reflectors(reflectors, 0, 12, 40);
        for (std::size_t i = 0; i < 12; ++i) {
            EXPECT_EQ(block.factor[i * 12 + empty], TypeParam(0));
            EXPECT_EQ(block.factor[empty * 12 + i], TypeParam(0));
        }
        const auto c = test::random_matrix<TypeParam>(40, 20, 1);
        auto applied = c;
        detail::apply_reflector_block<detail_operator::direct>(block, applied.data, 20, 0, 20);
        EXPECT_LT(test::difference_ratio(test::reference_product(dense(reflectors, 0, 12, 40), c),
                                         applied),
                  ratio_limit);
    }
}

TYPED_TEST(reflector_block, of_empty_reflectors_changes_no_bit)
{
    const std::vector<numerical::aligned_vector<TypeParam>> reflectors(5);
    const auto block = detail::gather_reflectors(reflectors, 0, 5, 8);
    const auto c = test::random_matrix<TypeParam>(8, 8, 1);
    auto applied = c;
    detail::apply_reflector_block<detail_operator::direct>(block, applied.data, 8, 0, 8);
    detail::apply_transposed_reflector_block(block, applied.data, 8, 0, 8);
    EXPECT_EQ(applied.data, c.data);
}

TYPED_TEST(reflector_block, has_the_same_bits_on_any_number_of_threads)
{
    const std::size_t n = 300;
    const auto reflectors = random_reflectors<TypeParam>(32, n);
    const auto block = detail::gather_reflectors(reflectors, 0, 32, n);
    const auto c = test::random_matrix<TypeParam>(n, n, 1);
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        const auto on = [&](std::size_t threads) {
            const test::thread_limit some(threads);
            auto out = c.data;
            detail::apply_reflector_block<detail_operator::direct>(block, out, n, 0, n);
            detail::apply_transposed_reflector_block(block, out, n, 0, n);
            detail::extend_basis(block, out, n);
            return out;
        };
        for (const std::size_t threads : test::thread_counts)
            EXPECT_EQ(on(threads), on(1)) << threads << " threads";
    }
}

} // namespace

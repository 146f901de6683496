#include "numerical/einsum/general_loop.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "paths.hpp"
#include "reference_einsum.hpp"
#include "thrown.hpp"

#include <gtest/gtest.h>

namespace {

using numerical::dimension_error;
using numerical::tensor;
using numerical::detail::general_loop;
using numerical::detail::label_extents;
using numerical::detail::label_set;
using numerical::detail::labelled;
using test::text_thrown_by;
using complex = std::complex<double>;

label_extents table_of(const test::extent_map& map)
{
    label_extents table;
    for (const auto& [label, extent] : map)
        table.insert(label, extent);
    return table;
}

template <class T>
tensor<T> looped(const test::einsum_case& of, const std::vector<tensor<T>>& operands,
                 const test::extent_map& map)
{
    label_set all(of.inputs[0]);
    if (operands.size() == 2)
        all = all | label_set(of.inputs[1]);
    const std::string summed = (all - label_set(of.output)).text();
    const labelled<T> first{of.inputs[0], operands[0]};
    if (operands.size() == 1)
        return general_loop<T, 1>({first}, of.output, summed, table_of(map));
    const labelled<T> second{of.inputs[1], operands[1]};
    return general_loop<T, 2>({first, second}, of.output, summed, table_of(map));
}

template <class T>
void expect_exact(const test::einsum_case& of, const test::extent_map& map)
{
    const auto operands = test::integer_operands<T>(of, map, 9);
    const auto expected = test::reference_einsum(of, operands);
    const auto found = looped(of, operands, map);
    EXPECT_EQ(found.shape, expected.shape) << of.spec();
    EXPECT_EQ(found.data, expected.data) << of.spec();
}

const std::vector<test::einsum_case> one_operand{
    {{""}, ""},      {{"i"}, "i"},     {{"i"}, ""},      {{"ij"}, "ji"}, {{"ij"}, "i"},
    {{"ij"}, "j"},   {{"ij"}, ""},     {{"ii"}, "i"},    {{"ii"}, ""},   {{"iij"}, "j"},
    {{"iji"}, "j"},  {{"iij"}, "ji"},  {{"ijk"}, "k"},   {{"ijk"}, "j"}, {{"ijk"}, "ki"},
    {{"ijk"}, "i"},  {{"ijk"}, "kji"}, {{"ijij"}, "ij"}, {{"ijij"}, ""}, {{"iiii"}, ""},
    {{"ijkl"}, "lj"}};

const std::vector<test::einsum_case> two_operands{
    {{"ij", "i"}, ""},      {{"ij", "k"}, "i"},   {{"ij", "k"}, ""},   {{"ij", "k"}, "jk"},
    {{"ii", "ij"}, "j"},    {{"ii", "jj"}, "ij"}, {{"ii", "jj"}, ""},  {{"ii", "i"}, "i"},
    {{"ij", "jkk"}, "ik"},  {{"ijk", "lk"}, "i"}, {{"ji", "jk"}, "k"}, {{"ij", "ljk"}, "jk"},
    {{"iij", "jkk"}, "ik"}, {{"", "ij"}, "j"},    {{"ji", "ki"}, "i"}};

TEST(general_loop, agrees_with_plain_loops_at_every_remainder)
{
    // Across 8 and 16 sums at once, 1024 or 2048 columns at once and the tiles of a transpose.
    const std::vector<test::extent_map> maps{
        {{'i', 1}, {'j', 1}, {'k', 1}, {'l', 1}},  {{'i', 3}, {'j', 2}, {'k', 5}, {'l', 4}},
        {{'i', 7}, {'j', 9}, {'k', 8}, {'l', 3}},  {{'i', 17}, {'j', 15}, {'k', 16}, {'l', 5}},
        {{'i', 2}, {'j', 33}, {'k', 5}, {'l', 6}}, {{'i', 5}, {'j', 1}, {'k', 40}, {'l', 1}}};
    for (const test::extent_map& map : maps) {
        for (const test::einsum_case& of : one_operand) {
            expect_exact<double>(of, map);
            expect_exact<complex>(of, map);
        }
        for (const test::einsum_case& of : two_operands) {
            expect_exact<double>(of, map);
            expect_exact<complex>(of, map);
        }
    }
    const test::extent_map wide{{'i', 3}, {'j', 2049}, {'k', 2}};
    for (const char* output : {"j", "i", "ji", "jk", "kj"}) {
        expect_exact<double>({{"ij", "kj"}, output}, wide);
        expect_exact<complex>({{"ikj"}, output}, wide);
    }
}

template <class T>
void expect_bits(const test::einsum_case& of, const test::extent_map& map)
{
    std::vector<tensor<T>> operands;
    for (const std::string& labels : of.inputs) {
        std::size_t size = 1;
        for (const std::size_t extent : test::shape_of(labels, map))
            size *= extent;
        operands.emplace_back(test::shape_of(labels, map), test::random_vector<T>(size, 7));
    }
    EXPECT_EQ(looped(of, operands, map).data, test::reference_einsum(of, operands).data)
        << of.spec();
}

TEST(general_loop, sums_terms_in_the_order_of_the_labels_to_the_bit)
{
    const std::vector<test::extent_map> maps{{{'i', 5}, {'j', 7}, {'k', 6}, {'l', 9}},
                                             {{'i', 17}, {'j', 11}, {'k', 13}, {'l', 4}},
                                             {{'i', 2}, {'j', 40}, {'k', 5}, {'l', 19}}};
    for (const test::extent_map& map : maps)
        for (const auto& cases : {one_operand, two_operands})
            for (const test::einsum_case& of : cases) {
                expect_bits<double>(of, map);
                expect_bits<complex>(of, map);
            }
}

// Rows are summed 16 and 8 at once by vectors where the path has them, the rest one by one; an
// outer summed axis adds to what stands there.
TEST(general_loop, sums_rows_to_the_bit_on_every_path)
{
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        for (std::size_t rows = 1; rows <= 41; ++rows)
            for (const std::size_t cols : {1, 2, 3, 4, 9, 64, 201}) {
                const test::extent_map map{{'i', rows}, {'j', cols}, {'k', 3}};
                expect_bits<double>({{"ij"}, "i"}, map);
                expect_bits<complex>({{"ij"}, "i"}, map);
                expect_bits<double>({{"jik"}, "i"}, map);
                expect_bits<complex>({{"kij"}, "i"}, map);
                expect_bits<double>({{"kij"}, "i"}, map);
            }
    }
}

TEST(general_loop, of_a_zero_extent_is_empty_or_zero)
{
    const test::extent_map map{{'i', 0}, {'j', 3}, {'k', 2}, {'l', 1}};
    for (const test::einsum_case& of : one_operand)
        expect_exact<double>(of, map);
    for (const test::einsum_case& of : two_operands)
        expect_exact<double>(of, map);
}

// Each element's sum from 0, in row-major order of the summed labels, one term after the other.
numerical::aligned_vector<double> summed_in_order(const tensor<double>& a, bool over_rows)
{
    const std::size_t rows = a.shape[0];
    const std::size_t cols = a.shape[1];
    numerical::aligned_vector<double> sums(over_rows ? cols : rows);
    for (std::size_t i = 0; i < rows; ++i)
        for (std::size_t j = 0; j < cols; ++j)
            sums[over_rows ? j : i] += a.data[i * cols + j];
    return sums;
}

TEST(general_loop, sums_each_element_in_its_order_to_the_bit)
{
    for (const std::size_t n : {5, 37, 300}) {
        const test::extent_map map{{'i', n}, {'j', n + 3}};
        const tensor<double> a({n, n + 3}, test::random_vector<double>(n * (n + 3), 21));
        EXPECT_EQ(looped<double>({{"ij"}, "i"}, {a}, map).data, summed_in_order(a, false));
        EXPECT_EQ(looped<double>({{"ij"}, "j"}, {a}, map).data, summed_in_order(a, true));
        double all = 0;
        for (const double x : a.data)
            all += x;
        EXPECT_EQ(looped<double>({{"ij"}, ""}, {a}, map).data.front(), all);
    }
}

TEST(general_loop, sums_in_the_order_of_the_labels_and_not_of_the_operand)
{
    // "ji->": i is the outer loop, though j is the outer axis.
    const tensor<double> a({2, 2}, {1e16, -1e16, 1, 1});
    EXPECT_EQ(looped<double>({{"ji"}, ""}, {a}, {{'i', 2}, {'j', 2}}).data.front(), 1);
    EXPECT_EQ(looped<double>({{"ij"}, ""}, {a}, {{'i', 2}, {'j', 2}}).data.front(), 2);
}

TEST(general_loop, moves_elements_unchanged_where_nothing_is_summed)
{
    const double infinity = std::numeric_limits<double>::infinity();
    const tensor<complex> a({1, 2}, {{-0.0, infinity}, {1, -0.0}});
    const auto moved = looped<complex>({{"ij"}, "ji"}, {a}, {{'i', 1}, {'j', 2}});
    EXPECT_TRUE(std::signbit(moved.data[0].real()));
    EXPECT_EQ(moved.data[0].imag(), infinity);
    EXPECT_TRUE(std::signbit(moved.data[1].imag()));
}

TEST(general_loop, refuses_a_result_that_no_size_can_count)
{
    constexpr std::size_t huge = std::size_t{1} << 32;
    const tensor<double> a({huge, huge, 0}, {});
    EXPECT_EQ(text_thrown_by<dimension_error>([&] {
                  looped<double>({{"ijk"}, "ij"}, {a}, {{'i', huge}, {'j', huge}, {'k', 0}});
              }),
              "dimension product overflows std::size_t");
}

} // namespace

#include "numerical/einsum/contract_pair.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/einsum/permuted.hpp"
#include "numerical/errors.hpp"
#include "paths.hpp"
#include "reference_einsum.hpp"
#include "thrown.hpp"

#include <array>
#include <gtest/gtest.h>

namespace {

using numerical::dimension_error;
using numerical::tensor;
using numerical::detail::contract_pair;
using numerical::detail::label_extents;
using numerical::detail::label_set;
using test::text_thrown_by;
using complex = std::complex<double>;
using extents = std::vector<std::size_t>;

const test::extent_map sizes{{'b', 3}, {'i', 4}, {'j', 5}, {'k', 6}, {'l', 2}, {'m', 7}};

label_extents table_of(const test::extent_map& map)
{
    label_extents table;
    for (const auto& [label, extent] : map)
        table.insert(label, extent);
    return table;
}

std::string summed_of(const test::einsum_case& of)
{
    return ((label_set(of.inputs[0]) | label_set(of.inputs[1])) - label_set(of.output)).text();
}

template <class T>
std::optional<tensor<T>> contracted(const test::einsum_case& of,
                                    const std::vector<tensor<T>>& operands,
                                    const test::extent_map& map)
{
    return contract_pair<T>({of.inputs[0], operands[0]}, {of.inputs[1], operands[1]}, of.output,
                            summed_of(of), table_of(map));
}

template <class T>
void expect_exact(const test::einsum_case& of, const test::extent_map& map = sizes)
{
    const auto operands = test::integer_operands<T>(of, map, 3);
    const auto expected = test::reference_einsum(of, operands);
    for (const int path : test::available_paths()) {
        const test::path_limit limit(path);
        const auto found = contracted(of, operands, map);
        ASSERT_TRUE(found.has_value()) << of.spec();
        EXPECT_EQ(found->shape, expected.shape) << of.spec();
        EXPECT_EQ(found->data, expected.data) << of.spec() << " on path " << path;
    }
}

TEST(contract_pair, multiplies_batches_and_permutes_where_labels_lie_otherwise)
{
    const std::vector<test::einsum_case> cases{
        {{"bij", "bjk"}, "bik"},    // in place
        {{"bij", "bjk"}, "bki"},    // operands swapped
        {{"bij", "bjk"}, "ibk"},    // the result permuted
        {{"bij", "bjk"}, "kib"},    //
        {{"ij", "kj"}, "ik"},       // B permuted
        {{"ji", "jk"}, "ik"},       // A permuted
        {{"ji", "kj"}, "ki"},       // swapped and permuted
        {{"ijk", "ikl"}, "jl"},     // two labels summed
        {{"ijk", "kil"}, "lj"},     //
        {{"ijkl", "klbm"}, "ijbm"}, //
        {{"ijlk", "klbm"}, "ijbm"}, // summed labels in another order
        {{"ij", "ij"}, ""},         // a dot of two axes
        {{"ij", "ji"}, ""},         //
        {{"ij", "ij"}, "i"},        // a batch of dots
        {{"ij", "ij"}, "j"},        //
        {{"ij", "j"}, "i"},         // matrix by vector
        {{"j", "ji"}, "i"},         //
    };
    for (const test::einsum_case& of : cases) {
        expect_exact<double>(of);
        expect_exact<complex>(of);
    }
}

TEST(contract_pair, without_summed_labels_multiplies_elements)
{
    const std::vector<test::einsum_case> cases{
        {{"i", "j"}, "ij"},    {{"i", "j"}, "ji"},    {{"i", "i"}, "i"},     {{"ij", "j"}, "ij"},
        {{"ij", "i"}, "ij"},   {{"ij", "ij"}, "ji"},  {{"ij", "ji"}, "ij"},  {{"", "ij"}, "ij"},
        {{"ij", ""}, "ji"},    {{"", ""}, ""},        {{"bi", "bj"}, "bij"}, {{"bi", "jb"}, "jib"},
        {{"ib", "jb"}, "ijb"}, {{"ij", "kl"}, "kilj"}};
    for (const test::einsum_case& of : cases) {
        expect_exact<double>(of);
        expect_exact<complex>(of);
    }
    // Rows longer than one stretch.
    const test::extent_map long_rows{{'i', 3}, {'j', 700}};
    for (const test::einsum_case& of :
         {test::einsum_case{{"i", "j"}, "ij"}, test::einsum_case{{"ij", "j"}, "ij"},
          test::einsum_case{{"i", "ji"}, "ij"}}) {
        expect_exact<double>(of, long_rows);
        expect_exact<complex>(of, long_rows);
    }
}

TEST(contract_pair, does_not_conjugate)
{
    const tensor<complex> a({1}, {{0, 1}});
    const auto dot = contract_pair<complex>({"i", a}, {"i", a}, "", "i", {{'i', 1}});
    EXPECT_EQ(dot->data.front(), complex(-1, 0));
}

TEST(contract_pair, refuses_what_is_no_product_by_returning_nothing)
{
    const std::vector<test::einsum_case> cases{{{"ii", "ij"}, "j"}, // a diagonal
                                               {{"ij", "jj"}, "i"},
                                               {{"ij", "k"}, "i"}, // one-sided sums
                                               {{"ij", "i"}, ""},
                                               {{"i", "ij"}, "i"}};
    for (const test::einsum_case& of : cases) {
        const auto operands = test::integer_operands<double>(of, sizes, 1);
        EXPECT_FALSE(contracted(of, operands, sizes).has_value()) << of.spec();
    }
}

TEST(contract_pair, of_zero_extents_is_empty_or_zero)
{
    const test::extent_map no_batch{{'b', 0}, {'i', 2}, {'j', 3}, {'k', 4}};
    const test::extent_map no_sum{{'b', 2}, {'i', 2}, {'j', 0}, {'k', 3}};
    const test::extent_map no_rows{{'b', 2}, {'i', 0}, {'j', 3}, {'k', 4}};
    for (const test::extent_map& map : {no_batch, no_sum, no_rows})
        for (const char* output : {"bik", "bki", "kib"})
            expect_exact<double>({{"bij", "bjk"}, output}, map);
    expect_exact<double>({{"bj", "bj"}, "b"}, no_sum);
    expect_exact<double>({{"bi", "bj"}, "bij"}, no_sum);
}

TEST(contract_pair, of_countless_empty_batches_ends_at_once)
{
    constexpr std::size_t huge = std::size_t{1} << 60;
    const tensor<double> a({huge, 0, 3}, {});
    const tensor<double> b({huge, 3, 0}, {});
    const auto found = contract_pair<double>({"bij", a}, {"bjk", b}, "bik", "j",
                                             {{'b', huge}, {'i', 0}, {'j', 3}, {'k', 0}});
    EXPECT_EQ(found->shape, (extents{huge, 0, 0}));
}

TEST(contract_pair, refuses_products_of_extents_that_overflow)
{
    constexpr std::size_t huge = std::size_t{1} << 32;
    const tensor<double> a({huge, 0}, {});
    const tensor<double> b({0, huge}, {});
    const label_extents table{{'i', huge}, {'j', 0}, {'k', huge}};
    EXPECT_EQ(text_thrown_by<dimension_error>([&] {
                  contract_pair<double>({"ij", a}, {"jk", b}, "ik", "j", table);
              }),
              "dimension product overflows std::size_t");
    const tensor<double> c({huge, huge, 0}, {}); // the overflow is in one operand alone
    EXPECT_EQ(text_thrown_by<dimension_error>([&] {
                  contract_pair<double>({"ikj", c}, {"j", {{0}, {}}}, "ik", "j", table);
              }),
              "dimension product overflows std::size_t");
}

TEST(contract_pair, of_reals_gives_the_same_bits_in_either_order_of_operands)
{
    // Which order is taken depends on the sizes; results must not.
    const std::vector<test::extent_map> maps{
        {{'b', 5}, {'i', 3}, {'j', 4}, {'k', 6}},      {{'b', 1}, {'i', 40}, {'j', 9}, {'k', 1}},
        {{'b', 2}, {'i', 1}, {'j', 700}, {'k', 17}},   {{'b', 2}, {'i', 65}, {'j', 300}, {'k', 90}},
        {{'b', 3}, {'i', 64}, {'j', 20}, {'k', 64}},   {{'b', 3}, {'i', 64}, {'j', 20}, {'k', 65}},
        {{'b', 400}, {'i', 32}, {'j', 31}, {'k', 33}}, {{'b', 9}, {'i', 1}, {'j', 20}, {'k', 1}}};
    for (const test::extent_map& map : maps)
        for (const int path : test::available_paths()) {
            const test::path_limit limit(path);
            const auto operand = [&](const std::string& labels, unsigned seed) {
                const extents shape = test::shape_of(labels, map);
                return tensor<double>(
                    shape, test::random_vector<double>(shape[0] * shape[1] * shape[2], seed));
            };
            const auto a = operand("bij", 1);
            const auto b = operand("bjk", 2);
            const auto one = contracted<double>({{"bij", "bjk"}, "bki"}, {a, b}, map);
            const auto other = contracted<double>({{"bjk", "bij"}, "bki"}, {b, a}, map);
            const auto turned = contracted<double>({{"bij", "bjk"}, "bik"}, {a, b}, map);
            EXPECT_EQ(one->data, other->data);
            EXPECT_EQ(one->data, numerical::detail::permuted<double>(turned->data, "bik", "bki",
                                                                     table_of(map)));
        }
}

TEST(contract_pair, of_reals_gives_the_same_bits_for_an_operand_by_columns)
{
    for (const auto& [m, n, k] : std::vector<std::array<std::size_t, 3>>{
             {1, 1, 600}, {1, 2, 600}, {3, 4, 5}, {8, 8, 8}, {40, 33, 300}, {250, 30, 17}})
        for (const int path : test::available_paths()) {
            const test::path_limit limit(path);
            const test::extent_map map{{'i', m}, {'j', k}, {'k', n}};
            const tensor<double> a({m, k}, test::random_vector<double>(m * k, 1));
            const tensor<double> b({n, k}, test::random_vector<double>(n * k, 2));
            const tensor<double> by_rows(
                {k, n}, numerical::detail::permuted<double>(b.data, "kj", "jk", table_of(map)));
            const auto want = contracted<double>({{"ij", "jk"}, "ik"}, {a, by_rows}, map);
            EXPECT_EQ(contracted<double>({{"ij", "kj"}, "ik"}, {a, b}, map)->data, want->data);
            EXPECT_EQ(contracted<double>({{"kj", "ij"}, "ik"}, {b, a}, map)->data, want->data);
        }
}

TEST(contract_pair, gives_the_same_bits_at_every_thread_count)
{
    const test::extent_map large{{'b', 40}, {'i', 33}, {'j', 65}, {'k', 70}};
    for (const test::einsum_case& of :
         {test::einsum_case{{"bij", "bjk"}, "bik"}, test::einsum_case{{"bij", "bij"}, "b"},
          test::einsum_case{{"bij", "ijk"}, "bk"}, test::einsum_case{{"bij", "kij"}, "kb"}}) {
        std::vector<tensor<double>> operands;
        for (const std::string& labels : of.inputs) {
            const extents shape = test::shape_of(labels, large);
            std::size_t size = 1;
            for (const std::size_t extent : shape)
                size *= extent;
            operands.emplace_back(shape, test::random_vector<double>(size, 5));
        }
        numerical::aligned_vector<double> first;
        for (const std::size_t threads : test::thread_counts) {
            const test::thread_limit limit(threads);
            const auto found = contracted(of, operands, large);
            ASSERT_TRUE(found.has_value());
            if (first.empty())
                first = found->data;
            EXPECT_EQ(found->data, first) << of.spec() << " on " << threads;
        }
    }
}

} // namespace

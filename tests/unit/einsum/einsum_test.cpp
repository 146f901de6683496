#include "numerical/einsum/einsum.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "numerical/gemm/gemm.hpp"
#include "paths.hpp"
#include "reference_einsum.hpp"
#include "thrown.hpp"

#include <gtest/gtest.h>
#include <random>

namespace {

using numerical::dimension_error;
using numerical::einsum_error;
using numerical::tensor;
using numerical::detail::einsum_impl;
using test::text_thrown_by;
using complex = std::complex<double>;
using extents = std::vector<std::size_t>;

template <class T>
tensor<T> summed(const std::string& spec, const std::vector<tensor<T>>& operands)
{
    return einsum_impl<T>(spec, test::pointers_to(operands));
}

template <class T>
void expect_exact(const test::einsum_case& of, const test::extent_map& map, unsigned seed = 1,
                  int limit = 5)
{
    const auto operands = test::integer_operands<T>(of, map, seed, limit);
    const auto expected = test::reference_einsum(of, operands);
    const auto found = summed(of.spec(), operands);
    ASSERT_EQ(found.shape, expected.shape) << of.spec();
    ASSERT_EQ(found.data, expected.data) << of.spec();
}

TEST(einsum, takes_every_route)
{
    const test::extent_map map{{'i', 4}, {'j', 5}, {'k', 6}, {'l', 3}};
    const std::vector<test::einsum_case> cases{{{"ij", "jk"}, "ik"},
                                               {{"ijk", "kl"}, "ijl"},
                                               {{"i", "ijk"}, "jk"},
                                               {{"i", "i"}, ""},
                                               {{"ij", "ij"}, ""},
                                               {{"i", "j"}, "ij"},
                                               {{"ij"}, "ji"},
                                               {{"ii"}, "i"},
                                               {{"ii"}, ""},
                                               {{"ij", "i"}, ""},
                                               {{"ij", "j"}, "i"},
                                               {{"ij", "jk"}, "ki"},
                                               {{"ij", "jk", "kl"}, "il"}};
    for (const test::einsum_case& of : cases) {
        expect_exact<double>(of, map);
        expect_exact<complex>(of, map);
    }
}

TEST(einsum, of_a_number_gives_the_number)
{
    EXPECT_EQ(summed<double>("->", {tensor<double>({}, {2.5})}).data,
              numerical::aligned_vector<double>{2.5});
    EXPECT_EQ(summed<double>(",->", {tensor<double>({}, {2.5}), tensor<double>({}, {2})}).data,
              numerical::aligned_vector<double>{5.0});
}

TEST(einsum, of_a_zero_extent_gives_zeros_or_nothing)
{
    for (const char empty : {'i', 'j', 'k', 'l'}) {
        test::extent_map map{{'i', 2}, {'j', 3}, {'k', 2}, {'l', 3}};
        map[empty] = 0;
        for (const test::einsum_case& of :
             {test::einsum_case{{"ij", "jk"}, "ik"}, test::einsum_case{{"i", "i"}, ""},
              test::einsum_case{{"ij", "jk", "kl"}, "il"}, test::einsum_case{{"ijk"}, "ki"}})
            expect_exact<double>(of, map);
    }
}

TEST(einsum, reads_no_element_of_an_operand_that_has_none)
{
    // A free extent of 0 with something to sum: the result is empty, and there is no dot to take.
    const tensor<double> none({0, 7}, {});
    const tensor<double> some({7}, numerical::aligned_vector<double>(7, 1.0));
    EXPECT_EQ(summed<double>("ij,j->i", {none, some}).shape, extents{0});
    const tensor<double> columns({7, 0}, {});
    EXPECT_EQ(summed<double>("j,ji->i", {some, columns}).shape, extents{0});
    EXPECT_EQ((summed<double>("ij,jk->ik", {none, columns}).shape), (extents{0, 0}));
}

TEST(einsum, refuses_a_product_whose_size_would_wrap_to_nothing)
{
    constexpr std::size_t huge = std::size_t{1} << 32;
    const std::vector<tensor<double>> operands{tensor<double>({huge, 0}, {}),
                                               tensor<double>({0, huge}, {})};
    EXPECT_EQ(text_thrown_by<dimension_error>([&] { summed<double>("az,zb->ab", operands); }),
              "dimension product overflows std::size_t");
}

TEST(einsum, dot_is_summed_in_chunks)
{
    for (const std::size_t n : {1, 16384, 16385, 100000}) {
        const auto a = test::integer_vector<double>(n, 1);
        const auto b = test::integer_vector<double>(n, 2);
        double expected = 0;
        for (std::size_t i = 0; i < n; ++i)
            expected += a[i] * b[i];
        EXPECT_EQ(
            summed<double>("i,i->", {tensor<double>({n}, a), tensor<double>({n}, b)}).data.front(),
            expected);
    }
}

TEST(einsum, does_not_conjugate)
{
    const std::vector<tensor<complex>> twice(2, tensor<complex>({2}, {{0, 1}, {3, 2}}));
    EXPECT_EQ(summed<complex>("i,i->", twice).data.front(), complex(4, 12));
    EXPECT_EQ(summed<complex>("i,j->ij", twice).data[1], complex(-2, 3));
}

TEST(einsum, along_a_chain_is_exact_on_integers)
{
    std::mt19937 generator(5);
    const std::string letters = "abcdefghi";
    for (std::size_t length = 3; length <= 8; ++length)
        for (int trial = 0; trial < 3; ++trial) {
            test::extent_map map;
            for (const char label : letters)
                map[label] = 1 + generator() % 3;
            test::einsum_case chain;
            for (std::size_t i = 0; i < length; ++i)
                chain.inputs.push_back(letters.substr(i, 2));
            chain.output = {letters[length], letters[0]};
            expect_exact<double>(chain, map, 31, 3);
            expect_exact<complex>(chain, map, 31, 3);
        }
}

TEST(einsum, of_many_operands_with_traces_and_outer_products_is_exact)
{
    std::mt19937 generator(23);
    const std::string letters = "abcde";
    for (int trial = 0; trial < 400; ++trial) {
        test::einsum_case of;
        std::string used;
        for (std::size_t left = 3 + generator() % 4; left > 0; --left) {
            std::string labels;
            for (std::size_t rank = generator() % 4; rank > 0; --rank)
                labels += letters[generator() % letters.size()];
            of.inputs.push_back(labels);
            used += labels;
        }
        test::extent_map map;
        for (const char label : letters)
            map[label] = 1 + generator() % 3;
        for (const char label : letters)
            if (used.find(label) != std::string::npos && generator() % 3 == 0)
                of.output.insert(of.output.begin(), label);
        expect_exact<double>(of, map, 41, 3);
    }
}

template <class T>
void expect_same_bits_on_all_threads(const test::einsum_case& of, const test::extent_map& map)
{
    std::vector<tensor<T>> operands;
    for (const std::string& labels : of.inputs) {
        const extents shape = test::shape_of(labels, map);
        std::size_t size = 1;
        for (const std::size_t extent : shape)
            size *= extent;
        operands.emplace_back(shape, test::random_vector<T>(size, 3));
    }
    numerical::aligned_vector<T> first;
    for (const std::size_t threads : test::thread_counts) {
        const test::thread_limit limit(threads);
        const auto found = summed(of.spec(), operands);
        if (first.empty())
            first = found.data;
        EXPECT_TRUE(found.data == first) << of.spec() << " on " << threads;
    }
}

TEST(einsum, gives_the_same_bits_at_every_thread_count)
{
    const test::extent_map map{{'i', 150}, {'j', 140}, {'k', 130},
                               {'l', 120}, {'b', 6},   {'n', 100001}};
    for (const test::einsum_case& of :
         {test::einsum_case{{"ij", "jk"}, "ik"}, test::einsum_case{{"ij", "kj"}, "ki"},
          test::einsum_case{{"bij", "bjk"}, "bik"}, test::einsum_case{{"ij", "jk", "kl"}, "il"},
          test::einsum_case{{"ijb", "ijb"}, ""}, test::einsum_case{{"ij", "j"}, "i"},
          test::einsum_case{{"n", "n"}, ""}}) {
        expect_same_bits_on_all_threads<double>(of, map);
        expect_same_bits_on_all_threads<complex>(of, map);
    }
}

template <class T>
void expect_bits_of_the_whole(std::size_t m, std::size_t n, std::size_t k)
{
    const tensor<T> a({m, k}, test::random_vector<T>(m * k, 1));
    const tensor<T> b({k, n}, test::random_vector<T>(k * n, 2));
    for (const int path : test::available_paths()) {
        const test::path_limit path_limit(path);
        numerical::aligned_vector<T> whole(m * n);
        numerical::detail::gemm(m, n, k, a.data.data(), k, b.data.data(), n, whole.data(), n);
        for (const std::size_t threads : {1, 2}) {
            const test::thread_limit limit(threads);
            EXPECT_TRUE(summed<T>("ij,jk->ik", {a, b}).data == whole)
                << m << " " << n << " " << k << " on path " << path;
        }
    }
}

TEST(einsum, of_a_thin_product_has_the_bits_of_the_whole_by_slabs)
{
    // Slabs and their number depend on the threads; the last one takes the remainder along.
    expect_bits_of_the_whole<double>(1500, 500, 8);
    expect_bits_of_the_whole<double>(800, 700, 33);
    expect_bits_of_the_whole<double>(270000, 2, 8);
    expect_bits_of_the_whole<double>(270001, 3, 7);
    expect_bits_of_the_whole<double>(3, 300000, 9);
    expect_bits_of_the_whole<complex>(1100, 513, 8); // the last block of columns has one
    expect_bits_of_the_whole<complex>(130, 6145, 9);
}

TEST(einsum, names_the_fault_of_a_bad_text)
{
    EXPECT_EQ(text_thrown_by<einsum_error>([] {
                  summed<double>("ii->i", {tensor<double>({1, 2}, {1, 2})});
              }),
              "einsum: inconsistent extent for a repeated label");
    EXPECT_EQ(text_thrown_by<einsum_error>([] { summed<double>("->", {}); }),
              "einsum: number of operands does not match the spec");
}

} // namespace

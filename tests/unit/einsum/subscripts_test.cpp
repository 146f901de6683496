#include "numerical/einsum/subscripts.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/errors.hpp"
#include "thrown.hpp"

#include <gtest/gtest.h>

namespace {

using numerical::dimension_error;
using numerical::einsum_error;
using numerical::tensor;
using numerical::detail::extent_product;
using numerical::detail::label_extents;
using numerical::detail::label_set;
using numerical::detail::parse_subscripts;
using numerical::detail::split_inputs;
using numerical::detail::subscripts;
using test::text_thrown_by;
using extents = std::vector<std::size_t>;
using strings = std::vector<std::string>;

constexpr const char* no_arrow = "einsum: spec must contain '->'";
constexpr const char* bad_input = "einsum: invalid character in input subscripts";
constexpr const char* wrong_count = "einsum: number of operands does not match the spec";
constexpr const char* wrong_rank = "einsum: operand rank does not match its subscripts";
constexpr const char* inconsistent = "einsum: inconsistent extent for a repeated label";
constexpr const char* bad_output = "einsum: invalid character in output subscripts";
constexpr const char* unknown_output = "einsum: output label not present in any input";
constexpr const char* repeated_output = "einsum: repeated output label";

// Parses the text for zero-filled operands of these shapes.
subscripts parsed(const std::string& spec, const std::vector<extents>& shapes)
{
    std::vector<tensor<double>> operands;
    for (const extents& shape : shapes) {
        std::size_t size = 1;
        for (const std::size_t extent : shape)
            size *= extent;
        operands.emplace_back(shape, numerical::aligned_vector<double>(size));
    }
    std::vector<const tensor<double>*> pointers;
    for (const auto& operand : operands)
        pointers.push_back(&operand);
    return parse_subscripts<double>(spec, pointers);
}

std::string fault(const std::string& spec, const std::vector<extents>& shapes)
{
    return text_thrown_by<einsum_error>([&] { parsed(spec, shapes); });
}

TEST(label_set, keeps_all_letters_apart_and_in_the_order_of_the_characters)
{
    const std::string letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    label_set set;
    for (auto letter = letters.rbegin(); letter != letters.rend(); ++letter) {
        EXPECT_FALSE(set.contains(*letter));
        EXPECT_TRUE(set.insert(*letter));
        EXPECT_FALSE(set.insert(*letter));
    }
    EXPECT_EQ(set.text(), letters);
    EXPECT_EQ(set.size(), 52U);
    EXPECT_EQ((label_set("ab") | label_set("bc")).text(), "abc");
    EXPECT_EQ((label_set("ab") & label_set("bc")).text(), "b");
    EXPECT_EQ((label_set("ab") ^ label_set("bc")).text(), "ac");
    EXPECT_EQ((label_set("ab") - label_set("bc")).text(), "a");
}

TEST(label_extents, refuses_another_extent_and_keeps_the_first)
{
    label_extents table{{'i', 2}};
    EXPECT_TRUE(table.insert('I', 3));
    EXPECT_TRUE(table.insert('i', 2));
    EXPECT_FALSE(table.insert('i', 5));
    EXPECT_EQ(table['i'], 2U);
    EXPECT_EQ(table['I'], 3U);
    EXPECT_EQ(table.labels().text(), "Ii");
}

TEST(extent_product, of_no_labels_is_1_and_overflow_is_refused)
{
    const label_extents table{{'a', std::size_t{1} << 32}, {'z', 0}};
    EXPECT_EQ(extent_product("", table), 1U);
    EXPECT_EQ(extent_product("zaaa", table), 0U);
    EXPECT_EQ(text_thrown_by<dimension_error>([&] { extent_product("aa", table); }),
              "dimension product overflows std::size_t");
}

TEST(split_inputs, gives_a_string_for_each_side_of_a_comma)
{
    EXPECT_EQ(split_inputs(""), strings{""});
    EXPECT_EQ(split_inputs("a,"), (strings{"a", ""}));
    EXPECT_EQ(split_inputs("a,,b"), (strings{"a", "", "b"}));
    EXPECT_EQ(split_inputs("ijZ,Aj"), (strings{"ijZ", "Aj"}));
    for (const char* text : {"i1", "i.", "i-", "i>", "i j", "\xc3\xa9", "@", "[", "`", "{"})
        EXPECT_EQ(text_thrown_by<einsum_error>([&] { split_inputs(text); }), bad_input) << text;
    EXPECT_EQ(text_thrown_by<einsum_error>([] { split_inputs(std::string("i\0", 2)); }), bad_input);
}

TEST(parse_subscripts, lists_labels_extents_and_what_is_summed)
{
    const subscripts found = parsed("bij,bjk->ikb", {{2, 3, 4}, {2, 4, 5}});
    EXPECT_EQ(found.inputs, (strings{"bij", "bjk"}));
    EXPECT_EQ(found.output, "ikb");
    EXPECT_EQ(found.summed, "j");
    EXPECT_EQ(found.extents.labels().text(), "bijk");
    EXPECT_EQ(found.extents['j'], 4U);
    EXPECT_EQ(parsed("zAa,b->", {{1, 1, 1}, {1}}).summed, "Aabz");
}

TEST(parse_subscripts, lets_white_space_stand_anywhere)
{
    const subscripts found = parsed(" i j ,\tj k -\n> i\v k\f\r", {{2, 3}, {3, 4}});
    EXPECT_EQ(found.inputs, (strings{"ij", "jk"}));
    EXPECT_EQ(found.output, "ik");
    EXPECT_EQ(fault("i\xc2\xa0->i", {{2}}), bad_input); // a no-break space is none of C's
}

TEST(parse_subscripts, takes_an_empty_string_for_a_number)
{
    EXPECT_EQ(parsed("->", {{}}).inputs, strings{""});
    EXPECT_EQ(parsed(",i->i", {{}, {3}}).inputs, (strings{"", "i"}));
}

TEST(parse_subscripts, keeps_the_two_cases_of_a_letter_apart)
{
    EXPECT_EQ(parsed("iI->I", {{2, 3}}).summed, "i");
}

TEST(parse_subscripts, names_each_fault)
{
    EXPECT_EQ(fault("ij,jk", {{2, 3}, {3, 4}}), no_arrow);
    EXPECT_EQ(fault("", {{}}), no_arrow);
    EXPECT_EQ(fault("i>-i", {{2}}), no_arrow);
    EXPECT_EQ(fault("i1,j->ij", {{2, 2}, {2}}), bad_input);
    EXPECT_EQ(fault("i...->i...", {{2}}), bad_input);
    EXPECT_EQ(fault("i,j->ij", {{2}}), wrong_count);
    EXPECT_EQ(fault("i->i", {}), wrong_count);
    EXPECT_EQ(fault("ij->i", {{2}}), wrong_rank);
    EXPECT_EQ(fault("->", {{1}}), wrong_rank);
    EXPECT_EQ(fault("ii->i", {{2, 3}}), inconsistent);
    EXPECT_EQ(fault("ij,jk->ik", {{2, 3}, {1, 4}}), inconsistent); // 1 isn't stretched
    EXPECT_EQ(fault("ij->i1", {{2, 3}}), bad_output);
    EXPECT_EQ(fault("ij->i.", {{2, 3}}), bad_output);
    EXPECT_EQ(fault("ij->i,j", {{2, 3}}), bad_output);
    EXPECT_EQ(fault("i->->i", {{2}}), bad_output); // a second arrow belongs to the output
    EXPECT_EQ(fault("ij->k", {{2, 3}}), unknown_output);
    EXPECT_EQ(fault("ij,jk->ii", {{2, 3}, {3, 4}}), repeated_output);
}

TEST(parse_subscripts, reports_the_first_of_several_faults)
{
    EXPECT_EQ(fault("1", {}), no_arrow);
    EXPECT_EQ(fault("1->2", {}), bad_input);
    EXPECT_EQ(fault("ij->2", {}), wrong_count);
    EXPECT_EQ(fault("ij,k->2", {{2}, {3}}), wrong_rank);
    EXPECT_EQ(fault("ii,k->2", {{2, 3}, {3, 3}}), inconsistent); // operand by operand
    EXPECT_EQ(fault("i->2k", {{2}}), bad_output);
    EXPECT_EQ(fault("i->k2", {{2}}), unknown_output);
    EXPECT_EQ(fault("i->ii2", {{2}}), repeated_output);
}

} // namespace

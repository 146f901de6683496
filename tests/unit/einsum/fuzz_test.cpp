#include "numerical/einsum/einsum.hpp"

#include "numerical/errors.hpp"
#include "reference_einsum.hpp"

#include <cstdlib>
#include <gtest/gtest.h>
#include <random>
#include <set>

namespace {

using numerical::einsum_error;
using numerical::tensor;
using numerical::detail::einsum_impl;

const std::set<std::string> listed_messages{"einsum: spec must contain '->'",
                                            "einsum: invalid character in input subscripts",
                                            "einsum: number of operands does not match the spec",
                                            "einsum: operand rank does not match its subscripts",
                                            "einsum: inconsistent extent for a repeated label",
                                            "einsum: invalid character in output subscripts",
                                            "einsum: output label not present in any input",
                                            "einsum: repeated output label"};

// $NUMERICAL_FUZZ_SPECS texts, or a few thousand so that the test takes about a second.
std::size_t texts_to_try()
{
    const char* given = std::getenv("NUMERICAL_FUZZ_SPECS");
    return given == nullptr ? 20000 : std::strtoull(given, nullptr, 10);
}

class fuzzer
{
public:
    explicit fuzzer(unsigned seed) : generator(seed) {}

    std::size_t below(std::size_t n) { return generator() % n; }

    // A text that means something, with the operands that fit it.
    test::einsum_case valid_case()
    {
        test::einsum_case made;
        std::string used;
        for (std::size_t left = 1 + below(below(4) == 0 ? 6 : 2); left > 0; --left) {
            std::string labels;
            for (std::size_t rank = below(5); rank > 0; --rank)
                labels += alphabet[below(alphabet.size())];
            made.inputs.push_back(labels);
            used += labels;
        }
        std::set<char> taken;
        for (std::size_t left = below(4); left > 0 && !used.empty(); --left) {
            const char label = used[below(used.size())];
            if (taken.insert(label).second)
                made.output += label;
        }
        return made;
    }

    test::extent_map extents()
    {
        test::extent_map map;
        for (const char label : alphabet)
            map[label] = below(12) == 0 ? 0 : 1 + below(below(20) == 0 ? 9 : 3);
        return map;
    }

    // The text with a few characters changed, put in or taken out.
    std::string damaged(std::string text)
    {
        const std::string pool("ijkZ,,->-> \t1.@[`{\xc3\xa9\0", 22);
        for (std::size_t left = 1 + below(3); left > 0; --left) {
            const std::size_t at = below(text.size() + 1);
            const std::size_t what = below(3);
            if (what == 0)
                text.insert(at, 1, pool[below(pool.size())]);
            else if (at < text.size() && what == 1)
                text.erase(at, 1);
            else if (at < text.size())
                text[at] = pool[below(pool.size())];
        }
        return text;
    }

private:
    const std::string alphabet = "ijkZ";
    std::mt19937_64 generator;
};

template <class T>
void try_texts(std::size_t count, unsigned seed)
{
    fuzzer fuzz(seed);
    std::set<std::string> seen;
    std::size_t results = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const test::einsum_case valid = fuzz.valid_case();
        const auto operands =
            test::integer_operands<T>(valid, fuzz.extents(), static_cast<unsigned>(i), 2);
        const bool intact = fuzz.below(3) == 0;
        const std::string text = intact ? valid.spec() : fuzz.damaged(valid.spec());
        try {
            const tensor<T> found = einsum_impl<T>(text, test::pointers_to(operands));
            ++results;
            if (intact) {
                const auto expected = test::reference_einsum(valid, operands);
                ASSERT_EQ(found.shape, expected.shape) << text;
                ASSERT_EQ(found.data, expected.data) << text;
            }
        } catch (const einsum_error& error) {
            ASSERT_FALSE(intact) << text << ": " << error.what();
            ASSERT_EQ(listed_messages.count(error.what()), 1U) << text << ": " << error.what();
            seen.insert(error.what());
        }
    }
    EXPECT_GT(results, count / 3);
    EXPECT_EQ(seen, listed_messages); // each of them was reached
}

TEST(einsum_fuzz, any_text_ends_in_a_result_or_a_listed_message)
{
    try_texts<double>(texts_to_try() / 2, 1);
    try_texts<std::complex<double>>(texts_to_try() / 2, 2);
}

} // namespace

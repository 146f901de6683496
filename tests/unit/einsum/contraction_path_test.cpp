#include "numerical/einsum/contraction_path.hpp"

#include "numerical/aligned_vector.hpp"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>
#include <set>
#include <tuple>

namespace {

using numerical::detail::cheapest_path;
using numerical::detail::contraction_path;
using numerical::detail::contraction_step;
using numerical::detail::label_extents;
using numerical::detail::pair_keeps;
using strings = std::vector<std::string>;
using steps = std::vector<contraction_step>;

// --- the brute force: every order in full, in the order in which it is met -----------------------

// A complete order, each step with the multiply-adds and the largest result from it to the end.
struct order
{
    steps path;
    numerical::aligned_vector<double> cost;
    numerical::aligned_vector<double> peak;
};

double size_of(const std::set<char>& labels, const label_extents& extents)
{
    double size = 1;
    for (const char label : labels)
        size *= static_cast<double>(extents[label]);
    return size;
}

std::set<char> labels_of(const std::string& text)
{
    return {text.begin(), text.end()};
}

// What is left of the pair: labels that the output or any other operand has.
std::set<char> kept_by(const std::vector<std::set<char>>& operands, std::size_t first,
                       std::size_t second, const std::set<char>& output)
{
    std::set<char> others = output;
    for (std::size_t i = 0; i < operands.size(); ++i)
        if (i != first && i != second)
            others.insert(operands[i].begin(), operands[i].end());
    std::set<char> kept;
    for (const std::size_t i : {first, second})
        for (const char label : operands[i])
            if (others.count(label) != 0)
                kept.insert(label);
    return kept;
}

void extend(std::vector<std::set<char>> operands, const std::set<char>& output,
            const label_extents& extents, const order& so_far, std::vector<order>& all)
{
    if (operands.size() < 2) {
        all.push_back(so_far);
        return;
    }
    for (std::size_t first = 0; first < operands.size(); ++first)
        for (std::size_t second = first + 1; second < operands.size(); ++second) {
            std::set<char> both = operands[first];
            both.insert(operands[second].begin(), operands[second].end());
            const std::set<char> kept = kept_by(operands, first, second, output);
            order next = so_far;
            next.path.push_back({first, second});
            next.cost.push_back(0);
            next.peak.push_back(0);
            for (std::size_t step = 0; step < next.path.size(); ++step) {
                next.cost[step] += size_of(both, extents);
                next.peak[step] = std::max(next.peak[step], size_of(kept, extents));
            }
            std::vector<std::set<char>> rest;
            for (std::size_t i = 0; i < operands.size(); ++i)
                if (i != first && i != second)
                    rest.push_back(operands[i]);
            rest.push_back(kept);
            extend(rest, output, extents, next, all);
        }
}

std::vector<order> all_orders(const strings& inputs, const std::string& output,
                              const label_extents& extents)
{
    std::vector<std::set<char>> operands;
    for (const std::string& labels : inputs)
        operands.push_back(labels_of(labels));
    std::vector<order> all;
    extend(operands, labels_of(output), extents, {}, all);
    return all;
}

// The least cost, then the least peak, then the first pair; what follows is chosen likewise, as if
// the problem began there.
bool better(const order& a, const order& b)
{
    for (std::size_t step = 0; step < a.path.size(); ++step) {
        const auto key = [step](const order& x) {
            return std::tuple(x.cost[step], x.peak[step], x.path[step].first, x.path[step].second);
        };
        if (key(a) != key(b))
            return key(a) < key(b);
    }
    return false;
}

order best_order(const strings& inputs, const std::string& output, const label_extents& extents)
{
    const std::vector<order> all = all_orders(inputs, output, extents);
    return *std::min_element(all.begin(), all.end(), better);
}

struct problem
{
    strings inputs;
    std::string output;
    label_extents extents;
};

problem random_problem(std::mt19937& generator, std::size_t operands)
{
    const std::string alphabet = "abcdef";
    const auto below = [&](std::size_t n) { return generator() % n; };
    problem made;
    std::set<char> used;
    for (std::size_t i = 0; i < operands; ++i) {
        std::string labels;
        for (std::size_t rank = below(4); rank > 0; --rank)
            labels += alphabet[below(alphabet.size())];
        used.insert(labels.begin(), labels.end());
        made.inputs.push_back(labels);
    }
    for (const char label : used) {
        made.extents.insert(label, below(5)); // small, 0 among them, so that ties are common
        if (below(3) == 0)
            made.output += label;
    }
    return made;
}

std::string text_of(const problem& p)
{
    std::string text;
    for (const std::string& labels : p.inputs)
        text += labels + ",";
    text += "->" + p.output;
    for (const char label : p.extents.labels().text())
        text += std::string(" ") + label + std::to_string(p.extents[label]);
    return text;
}

// -------------------------------------------------------------------------------------------------

TEST(pair_keeps, takes_what_others_need_in_the_order_of_the_pair)
{
    EXPECT_EQ(pair_keeps({"ij", "jk", "kl"}, 0, 1, "il"), "ik");
    EXPECT_EQ(pair_keeps({"kj", "ji", "kil"}, 0, 1, ""), "ki");
    EXPECT_EQ(pair_keeps({"ij", "jk"}, 0, 1, "jki"), "ijk");
    EXPECT_EQ(pair_keeps({"aab", "bc", "a"}, 0, 1, ""), "a"); // once, though it stands twice
    EXPECT_EQ(pair_keeps({"ab", "bc", "b"}, 0, 2, ""), "b");
    EXPECT_EQ(pair_keeps({"ab", "bc", "d"}, 0, 1, "d"), "");
}

TEST(pair_keeps, drops_a_label_of_one_operand_alone)
{
    EXPECT_EQ(pair_keeps({"ix", "iy", "i"}, 0, 1, ""), "i");
}

TEST(contraction_path, of_one_operand_has_no_step_and_of_two_has_one)
{
    EXPECT_EQ(contraction_path({"ij"}, "i", {{'i', 2}, {'j', 3}}), steps{});
    EXPECT_EQ(contraction_path({"ij", "jk"}, "ik", {{'i', 2}, {'j', 3}, {'k', 4}}),
              (steps{{0, 1}}));
}

TEST(contraction_path, begins_with_the_cheaper_pair_of_a_chain)
{
    const label_extents right_first{{'i', 100}, {'j', 100}, {'k', 100}, {'l', 1}};
    EXPECT_EQ(contraction_path({"ij", "jk", "kl"}, "il", right_first), (steps{{1, 2}, {0, 1}}));
    const label_extents left_first{{'i', 1}, {'j', 100}, {'k', 100}, {'l', 100}};
    EXPECT_EQ(contraction_path({"ij", "jk", "kl"}, "il", left_first), (steps{{0, 1}, {0, 1}}));
}

TEST(contraction_path, of_equal_work_takes_the_smaller_peak_then_the_first_met)
{
    const label_extents extents{{'a', 2}, {'b', 2}, {'c', 2}};
    EXPECT_EQ(contraction_path({"a", "b", "c"}, "", extents), (steps{{0, 1}, {0, 1}}));
    // Every order costs 28. The first two make a matrix ab of 4 elements on the way, the last
    // no more than 2.
    const label_extents uneven{{'a', 2}, {'b', 2}, {'c', 4}, {'d', 3}};
    EXPECT_EQ(contraction_path({"ab", "bc", "bd"}, "a", uneven), (steps{{1, 2}, {0, 1}}));
}

TEST(contraction_path, up_to_four_operands_is_the_best_of_all_orders)
{
    std::mt19937 generator(7);
    std::size_t decided_by_peak = 0;
    for (int trial = 0; trial < 3000; ++trial) {
        const problem p = random_problem(generator, 2 + generator() % 3);
        const order best = best_order(p.inputs, p.output, p.extents);
        steps path;
        double cost = -1;
        double peak = -1;
        cheapest_path(p.inputs, p.output, p.extents, path, cost, peak);
        ASSERT_EQ(path, best.path) << text_of(p);
        ASSERT_EQ(cost, best.cost[0]) << text_of(p);
        ASSERT_EQ(peak, best.peak[0]) << text_of(p);
        ASSERT_EQ(contraction_path(p.inputs, p.output, p.extents), best.path) << text_of(p);
        for (const order& other : all_orders(p.inputs, p.output, p.extents))
            if (other.cost[0] == best.cost[0] && other.peak[0] > best.peak[0]) {
                ++decided_by_peak;
                break;
            }
    }
    EXPECT_GT(decided_by_peak, 50U); // the tie-break was put to use
}

TEST(cheapest_path, of_five_operands_is_the_best_of_all_orders_too)
{
    std::mt19937 generator(11);
    for (int trial = 0; trial < 200; ++trial) {
        const problem p = random_problem(generator, 5);
        const order best = best_order(p.inputs, p.output, p.extents);
        steps path;
        double cost = -1;
        double peak = -1;
        cheapest_path(p.inputs, p.output, p.extents, path, cost, peak);
        ASSERT_EQ(path, best.path) << text_of(p);
        ASSERT_EQ(cost, best.cost[0]) << text_of(p);
        ASSERT_EQ(peak, best.peak[0]) << text_of(p);
    }
}

// The rule of the greedy search, written over again: least work, then least size, then first;
// pairs without a common label only where no pair has one.
contraction_step greedy_step(const std::vector<std::set<char>>& operands,
                             const std::set<char>& output, const label_extents& extents)
{
    using key = std::tuple<bool, double, double, std::size_t, std::size_t>;
    std::vector<key> pairs;
    for (std::size_t first = 0; first < operands.size(); ++first)
        for (std::size_t second = first + 1; second < operands.size(); ++second) {
            std::set<char> both = operands[first];
            both.insert(operands[second].begin(), operands[second].end());
            const bool apart = both.size() == operands[first].size() + operands[second].size();
            pairs.emplace_back(apart, size_of(both, extents),
                               size_of(kept_by(operands, first, second, output), extents), first,
                               second);
        }
    const key least = *std::min_element(pairs.begin(), pairs.end());
    return {std::get<3>(least), std::get<4>(least)};
}

TEST(contraction_path, beyond_four_operands_takes_the_cheapest_pair_at_each_step)
{
    std::mt19937 generator(13);
    for (int trial = 0; trial < 1000; ++trial) {
        const problem p = random_problem(generator, 5 + generator() % 4);
        const steps path = contraction_path(p.inputs, p.output, p.extents);
        ASSERT_EQ(path.size(), p.inputs.size() - 1);
        std::vector<std::set<char>> operands;
        for (const std::string& labels : p.inputs)
            operands.push_back(labels_of(labels));
        for (const contraction_step step : path) {
            ASSERT_EQ(step, greedy_step(operands, labels_of(p.output), p.extents)) << text_of(p);
            const auto kept = kept_by(operands, step.first, step.second, labels_of(p.output));
            operands.erase(operands.begin() + static_cast<std::ptrdiff_t>(step.second));
            operands.erase(operands.begin() + static_cast<std::ptrdiff_t>(step.first));
            operands.push_back(kept);
        }
    }
}

TEST(contraction_path, leaves_outer_products_for_last_however_cheap)
{
    // a·b costs 1, each other pair a thousand and more; ij,ji leaves less than ij,i does.
    const label_extents extents{{'a', 1}, {'b', 1}, {'i', 1000}, {'j', 1000}};
    EXPECT_EQ(contraction_path({"a", "b", "ij", "ji", "i"}, "ab", extents).front(),
              (contraction_step{2, 3}));
}

TEST(contraction_path, takes_the_work_of_a_zero_extent_for_the_least)
{
    // cd,de and de,ef cost nothing; the first leaves nothing either.
    const label_extents extents{{'a', 1}, {'b', 2}, {'c', 9}, {'d', 9}, {'e', 0}, {'f', 9}};
    EXPECT_EQ(contraction_path({"ab", "bc", "cd", "de", "ef"}, "af", extents).front(),
              (contraction_step{2, 3}));
    // An outer product with nothing costs nothing: all orders are free, and the first met is taken.
    EXPECT_EQ(contraction_path({"bc", "de", "cd"}, "be", extents), (steps{{0, 1}, {0, 1}}));
}

TEST(contraction_path, stays_greedy_to_the_end_of_a_longer_chain)
{
    // Greedy takes the cheap pair in the middle first; searched, the last four would go otherwise.
    std::mt19937 generator(17);
    std::size_t dearer_than_searched = 0;
    for (int trial = 0; trial < 300; ++trial) {
        const problem p = random_problem(generator, 5);
        const steps path = contraction_path(p.inputs, p.output, p.extents);
        strings rest = p.inputs;
        const std::string kept = pair_keeps(rest, path[0].first, path[0].second, p.output);
        rest.erase(rest.begin() + static_cast<std::ptrdiff_t>(path[0].second));
        rest.erase(rest.begin() + static_cast<std::ptrdiff_t>(path[0].first));
        rest.push_back(kept);
        const steps searched = contraction_path(rest, p.output, p.extents);
        dearer_than_searched += steps(path.begin() + 1, path.end()) != searched ? 1 : 0;
    }
    EXPECT_GT(dearer_than_searched, 0U);
}

TEST(contraction_path, of_a_hundred_operands_is_found_at_once)
{
    strings chain;
    label_extents extents;
    const std::string letters = "abcdefghijklmnopqrstuvwxyz";
    for (const char label : letters)
        extents.insert(label, 3);
    for (std::size_t i = 0; i < 100; ++i)
        chain.push_back({letters[i % 26], letters[(i + 1) % 26]});
    EXPECT_EQ(contraction_path(chain, "a", extents).size(), 99U);
}

TEST(contraction_path, of_products_beyond_the_doubles_takes_no_nan_for_an_improvement)
{
    // Twenty labels of 2^60 and one of 0: the work is infinite times 0.
    label_extents extents{{'z', 0}};
    std::string labels;
    for (char label = 'a'; label <= 't'; ++label) {
        extents.insert(label, std::size_t{1} << 60);
        labels += label;
    }
    EXPECT_EQ(contraction_path({labels + "z", labels + "z", "z"}, "", extents),
              (steps{{0, 1}, {0, 1}}));
}

} // namespace

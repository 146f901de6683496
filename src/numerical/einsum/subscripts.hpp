#pragma once

// The labels of an Einstein summation: subscripts such as "ij,jk->ik", parsed and checked
// against the shapes of the operands. Only the explicit form with "->" exists: no implicit output,
// no ellipsis. A label is one ASCII letter, upper and lower case being different labels.
//
// Labels are few and small operands are frequent, so a set of labels is one word and the extents
// are a flat table. Both are read in the order of the characters.

#include "numerical/tensor.hpp"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace numerical::detail {

// Whether `c` is an ASCII letter, in any locale.
constexpr bool is_label(char c)
{
    return ('a' <= c && c <= 'z') || ('A' <= c && c <= 'Z');
}

// Labels lie between '@' and '\x7f', so that their low six bits identify them and keep their order.
constexpr std::size_t label_slots = 64;

constexpr std::size_t slot_of(char label)
{
    return static_cast<unsigned char>(label) % label_slots;
}

class label_set
{
public:
    label_set() = default;

    explicit label_set(std::string_view labels)
    {
        for (const char label : labels)
            insert(label);
    }

    bool empty() const { return bits == 0; }

    bool contains(char label) const { return (bits >> slot_of(label) & 1U) != 0; }

    std::size_t size() const { return static_cast<std::size_t>(std::popcount(bits)); }

    // False if the set holds the label already.
    bool insert(char label)
    {
        const bool is_new = !contains(label);
        bits |= std::uint64_t{1} << slot_of(label);
        return is_new;
    }

    // The labels in the order of the characters.
    std::string text() const
    {
        std::string labels;
        for (std::uint64_t left = bits; left != 0; left &= left - 1)
            labels += static_cast<char>('@' + std::countr_zero(left));
        return labels;
    }

    friend label_set operator|(label_set a, label_set b) { return label_set(a.bits | b.bits); }

    friend label_set operator&(label_set a, label_set b) { return label_set(a.bits & b.bits); }

    friend label_set operator^(label_set a, label_set b) { return label_set(a.bits ^ b.bits); }

    // The labels of a that are not in b.
    friend label_set operator-(label_set a, label_set b) { return label_set(a.bits & ~b.bits); }

private:
    explicit label_set(std::uint64_t slots) : bits(slots) {}

    std::uint64_t bits = 0;
};

// The extent of each label of the operands.
class label_extents
{
public:
    label_extents() = default;

    label_extents(std::initializer_list<std::pair<char, std::size_t>> pairs)
    {
        for (const auto& [label, extent] : pairs)
            insert(label, extent);
    }

    // False, with nothing changed, if the label has another extent already.
    bool insert(char label, std::size_t extent)
    {
        if (!held.insert(label))
            return extents[slot_of(label)] == extent;
        extents[slot_of(label)] = extent;
        return true;
    }

    std::size_t operator[](char label) const { return extents[slot_of(label)]; }

    label_set labels() const { return held; }

private:
    label_set held;
    std::array<std::size_t, label_slots> extents{};
};

// The extents of `labels`, one for each.
shape_list extents_of(std::string_view labels, const label_extents& extents);

// The product of the extents of `labels`; dimension_error "dimension product overflows
// std::size_t".
std::size_t extent_product(std::string_view labels, const label_extents& extents);

// A tensor and the labels of its axes, for the length of a call.
template <class T>
struct labelled
{
    const std::string& labels;
    const tensor<T>& value;
};

struct subscripts
{
    std::vector<std::string> inputs; // the labels of each operand
    std::string output;              // the labels of the result
    std::string summed;              // the labels that are not in the output, in their order
    label_extents extents;
};

// The label strings between the commas; einsum_error for any character but letters and commas.
std::vector<std::string> split_inputs(const std::string& text);

// Parses the text and checks it against the operands; einsum_error for the first fault. White space
// is ignored.
template <class T>
subscripts parse_subscripts(const std::string& spec, const std::vector<const tensor<T>*>& operands);

} // namespace numerical::detail

#pragma once

// What each intrinsic of the emulated <immintrin.h> makes of given operands. intrinsics.cpp is
// compiled twice, on that header and on the compiler's, for the test that compares the two.

#include <cstddef>
#include <cstdint>

namespace test {

constexpr std::size_t lanes = 8;

struct intrinsic_operands
{
    double a[lanes];
    double b[lanes];
    double c[lanes];
    std::uint64_t index[lanes];
    unsigned char mask;
    const double* readable; // as many numbers as the mask has bits up to its highest, no more
};

// Lanes as words; a mask or a number is the first of them. NaN of arithmetic is any NaN, as it is
// for the kernels, while lanes that are only moved keep their bits.
struct intrinsic_outcome
{
    const char* intrinsic;
    bool arithmetic;
    std::uint64_t words[lanes];
};

constexpr std::size_t most_outcomes = 640;

// Both write one outcome for each intrinsic, or for each form of one, and return how many; they
// hold plain loops over arrays, since one of them is built for AVX-512F.
std::size_t outcomes_of_emulation(const intrinsic_operands& in, intrinsic_outcome* out);
std::size_t outcomes_of_instructions(const intrinsic_operands& in, intrinsic_outcome* out);

} // namespace test

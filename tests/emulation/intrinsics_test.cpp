#include "intrinsics.hpp"

#include "numerical/gemm/path.hpp"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <bit>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace {

using test::intrinsic_operands;
using test::intrinsic_outcome;
using test::lanes;

// A page of numbers before one that nobody may touch.
class guarded_page
{
public:
    guarded_page() : size(static_cast<std::size_t>(sysconf(_SC_PAGESIZE)))
    {
        first = static_cast<char*>(
            mmap(nullptr, 2 * size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        mprotect(first + size, size, PROT_NONE);
    }

    guarded_page(const guarded_page&) = delete;
    guarded_page& operator=(const guarded_page&) = delete;

    ~guarded_page() { munmap(first, 2 * size); }

    double* last(std::size_t count) const
    {
        return reinterpret_cast<double*>(first + size) - count;
    }

private:
    std::size_t size;
    char* first;
};

// Numbers whose sums cancel, round, overflow and are subnormal, and what isn't a number.
double some_double(std::mt19937_64& bits)
{
    using limits = std::numeric_limits<double>;
    constexpr double special[] = {0.0,
                                  -0.0,
                                  1.0,
                                  -1.0,
                                  limits::infinity(),
                                  -limits::infinity(),
                                  limits::quiet_NaN(),
                                  limits::denorm_min(),
                                  limits::min(),
                                  limits::max(),
                                  limits::epsilon()};
    const std::uint64_t word = bits();
    switch (word % 4) {
    case 0:
        return special[word / 4 % std::size(special)];
    case 1:
        return std::bit_cast<double>(bits());
    default:
        return std::ldexp(static_cast<double>(word >> 11), -53) - 0.5;
    }
}

intrinsic_operands some_operands(std::mt19937_64& bits, const guarded_page& page)
{
    intrinsic_operands in{};
    for (std::size_t i = 0; i < lanes; ++i) {
        in.a[i] = some_double(bits);
        in.b[i] = bits() % 4 == 0 ? in.a[i] : some_double(bits);
        in.c[i] = bits() % 4 == 0 ? -in.a[i] * in.b[i] : some_double(bits);
        in.index[i] = bits();
    }
    in.mask = static_cast<unsigned char>(bits());
    const auto count = static_cast<std::size_t>(std::bit_width(in.mask));
    double* readable = page.last(count);
    for (std::size_t i = 0; i < count; ++i)
        readable[i] = some_double(bits);
    in.readable = readable;
    return in;
}

bool agree(const intrinsic_outcome& x, const intrinsic_outcome& y)
{
    for (std::size_t i = 0; i < lanes; ++i) {
        const bool are_nan = std::isnan(std::bit_cast<double>(x.words[i])) &&
                             std::isnan(std::bit_cast<double>(y.words[i]));
        if (x.words[i] != y.words[i] && !(x.arithmetic && are_nan))
            return false;
    }
    return true;
}

TEST(emulated_intrinsics, agree_with_the_instructions_bit_by_bit)
{
    if (!numerical::detail::cpu_features().avx512)
        GTEST_SKIP() << "the processor has no AVX-512F";
    std::mt19937_64 bits(512);
    const guarded_page page;
    std::vector<intrinsic_outcome> emulated(test::most_outcomes);
    std::vector<intrinsic_outcome> real(test::most_outcomes);
    for (int round = 0; round < 2000; ++round) {
        const intrinsic_operands in = some_operands(bits, page);
        const std::size_t count = outcomes_of_instructions(in, real.data());
        ASSERT_LE(count, test::most_outcomes);
        ASSERT_EQ(outcomes_of_emulation(in, emulated.data()), count);
        for (std::size_t i = 0; i < count; ++i)
            ASSERT_TRUE(agree(emulated[i], real[i])) << real[i].intrinsic << ", outcome " << i;
    }
}

} // namespace

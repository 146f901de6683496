#include "numerical/runtime/floating_control.hpp"

#include "numerical/runtime/parallel_for.hpp"
#include "numerical/runtime/topology.hpp"

#include <array>
#include <atomic>
#include <cfenv>
#include <gtest/gtest.h>
#include <thread>
#include <xmmintrin.h>

namespace {

using numerical::detail::floating_control;
using numerical::detail::hardware_threads;
using numerical::detail::parallel_for;

constexpr unsigned flush_to_zero = 0x8000;
constexpr unsigned denormals_are_zero = 0x40;

// Puts back the environment that it found.
class environment_scope
{
public:
    environment_scope() { std::fegetenv(&former); }

    environment_scope(const environment_scope&) = delete;
    environment_scope& operator=(const environment_scope&) = delete;

    ~environment_scope() { std::fesetenv(&former); }

private:
    std::fenv_t former;
};

// Results that tell how both units round and what becomes of subnormal numbers.
struct arithmetic
{
    double sum;
    long double wide_sum;
    double subnormal_result;
    double subnormal_operand;

    bool operator==(const arithmetic&) const = default;
};

arithmetic arithmetic_here()
{
    const volatile double one = 1;
    const volatile double little = 0x1p-60;
    const volatile long double wide_one = 1;
    const volatile long double wide_little = 0x1p-70L;
    const volatile double half = 0.5;
    const volatile double least_normal = 0x1p-1022;
    const volatile double subnormal = 0x1p-1060;
    const volatile double large = 0x1p100;
    return {one + little, wide_one + wide_little, least_normal * half, subnormal * large};
}

// Of the two threads of a loop: neither leaves its index before the other one has come.
std::array<arithmetic, 2> arithmetic_of_two_threads()
{
    std::array<arithmetic, 2> found;
    std::atomic<int> arrived = 0;
    parallel_for(found.size(), std::size_t{1} << 20, [&](std::size_t i) {
        found[i] = arithmetic_here();
        ++arrived;
        while (arrived != 2)
            std::this_thread::yield();
    });
    return found;
}

void expect_same_on_two_threads()
{
    const arithmetic here = arithmetic_here();
    for (const arithmetic& found : arithmetic_of_two_threads())
        EXPECT_EQ(found, here);
}

TEST(floating_control, of_the_caller_holds_for_all_threads_of_its_loop)
{
    if (hardware_threads() < 2)
        GTEST_SKIP();
    const environment_scope scope;
    const arithmetic nearest = arithmetic_here();
    for (const int rounding : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO, FE_TONEAREST}) {
        SCOPED_TRACE(rounding);
        std::fesetround(rounding);
        EXPECT_EQ(arithmetic_here() == nearest, rounding != FE_UPWARD);
        expect_same_on_two_threads();
    }
    for (const unsigned bits : {flush_to_zero, denormals_are_zero, 0U}) {
        SCOPED_TRACE(bits);
        _mm_setcsr((_mm_getcsr() & ~(flush_to_zero | denormals_are_zero)) | bits);
        EXPECT_EQ(arithmetic_here() == nearest, bits == 0);
        expect_same_on_two_threads();
    }
}

// Otherwise a flag of an earlier job would trap in that of a caller who unmasks its exception.
TEST(floating_control, adopted_leaves_no_flags_of_earlier_arithmetic)
{
    const environment_scope scope;
    const floating_control former = floating_control::current();
    std::fesetround(FE_UPWARD);
    std::feraiseexcept(FE_ALL_EXCEPT);
    EXPECT_NE(floating_control::current(), former);
    former.adopt();
    EXPECT_EQ(floating_control::current(), former);
    EXPECT_EQ(std::fetestexcept(FE_ALL_EXCEPT), 0);
}

} // namespace

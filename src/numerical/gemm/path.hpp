#pragma once

// Which build of the vectorised kernels runs: worked out at every call from what processor and
// operating system offer and from a limit that the user can lower.

#include <atomic>
#include <cstdint>

namespace numerical::detail {

// Path codes. As a limit, 3 is allowed too and means no limit.
constexpr int portable_path = 0;
constexpr int avx2_path = 1;   // AVX2 and FMA
constexpr int avx512_path = 2; // AVX-512F

struct cpu_feature_set
{
    bool avx2;
    bool avx512;
};

// The registers by which processor and system describe themselves.
struct cpu_registers
{
    unsigned int leaf1_ecx;
    unsigned int leaf7_ebx; // 0 where there is no leaf 7
    std::uint64_t xcr0;
};

// The kernels that these registers allow to run.
cpu_feature_set features_from(const cpu_registers& registers);

// What processor and operating system offer, read once.
cpu_feature_set cpu_features();

// The extended control register 0, or 0 when the system has not enabled XSAVE (leaf 1 ECX bit 27).
std::uint64_t saved_state(unsigned int leaf1_ecx);

// The highest code that the user allows. Relaxed: the kernels of one call may straddle a change,
// which does no harm, as every path gives a valid result.
std::atomic<unsigned char>& gemm_path_cap();

// The best path that a cap and the features leave.
int path_under(int cap, const cpu_feature_set& features);

// The path code in force.
int gemm_path_current();

// Whether the unfused AVX2 forms may run on a path: they serve the AVX-512 path too, unless it is
// emulated on a processor without AVX2.
bool avx2_in_force(int path);

// The one of three forms that a path runs.
template <class Form>
constexpr Form choose(int path, Form portable, Form avx2, Form avx512)
{
    if (path == avx512_path)
        return avx512;
    return path == avx2_path ? avx2 : portable;
}

} // namespace numerical::detail

#include "numerical/gemm/path.hpp"

#include <cpuid.h>

namespace numerical::detail {
namespace {

constexpr unsigned int osxsave_bit = 1U << 27; // leaf 1 ECX
constexpr unsigned int avx_bit = 1U << 28;     // leaf 1 ECX
constexpr unsigned int fma_bit = 1U << 12;     // leaf 1 ECX
constexpr unsigned int avx2_bit = 1U << 5;     // leaf 7 EBX
constexpr unsigned int avx512f_bit = 1U << 16; // leaf 7 EBX
constexpr std::uint64_t ymm_state = 0x6;
constexpr std::uint64_t zmm_state = 0xE6;

} // namespace

std::uint64_t saved_state(unsigned int leaf1_ecx)
{
    if ((leaf1_ecx & osxsave_bit) == 0)
        return 0;
    unsigned int low = 0;
    unsigned int high = 0;
    asm volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    return (std::uint64_t{high} << 32) | low;
}

namespace {

cpu_feature_set read_cpu_features()
{
    unsigned int eax = 0;
    unsigned int ebx = 0;
    unsigned int leaf1_ecx = 0;
    unsigned int leaf7_ebx = 0;
    unsigned int other = 0;
    __cpuid(1, eax, ebx, leaf1_ecx, other);
    unsigned int highest = 0;
    __cpuid(0, highest, ebx, eax, other);
    if (highest >= 7) {
        unsigned int ecx = 0;
        __cpuid_count(7, 0, eax, leaf7_ebx, ecx, other);
    }
    const std::uint64_t state = saved_state(leaf1_ecx);
    cpu_feature_set found{false, false};
    if ((leaf1_ecx & avx_bit) != 0) {
        found.avx2 = (state & ymm_state) == ymm_state && (leaf7_ebx & avx2_bit) != 0 &&
                     (leaf1_ecx & fma_bit) != 0;
        found.avx512 = (state & zmm_state) == zmm_state && (leaf7_ebx & avx512f_bit) != 0;
    }
#ifdef NUMERICAL_EMULATED_AVX512
    found.avx512 = true; // the kernels of that path are plain C++ in this build
#endif
    return found;
}

} // namespace

const cpu_feature_set& cpu_features()
{
    static const cpu_feature_set features = read_cpu_features();
    return features;
}

std::atomic<unsigned char>& gemm_path_cap()
{
    static constinit std::atomic<unsigned char> cap{3};
    return cap;
}

int gemm_path_current()
{
    const int cap = gemm_path_cap().load(std::memory_order_relaxed);
    if (cap == portable_path)
        return portable_path;
    if (cap >= avx512_path && cpu_features().avx512)
        return avx512_path;
    return cpu_features().avx2 ? avx2_path : portable_path;
}

} // namespace numerical::detail

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

cpu_feature_set features_from(const cpu_registers& registers)
{
    const auto saves = [&](std::uint64_t state) { return (registers.xcr0 & state) == state; };
    if ((registers.leaf1_ecx & avx_bit) == 0)
        return {false, false};
    const bool has_avx2 =
        (registers.leaf7_ebx & avx2_bit) != 0 && (registers.leaf1_ecx & fma_bit) != 0;
    const bool has_avx512 = (registers.leaf7_ebx & avx512f_bit) != 0;
    return {saves(ymm_state) && has_avx2, saves(zmm_state) && has_avx512};
}

namespace {

cpu_registers read_registers()
{
    unsigned int eax = 0;
    unsigned int ebx = 0;
    unsigned int ecx = 0;
    unsigned int edx = 0;
    cpu_registers read{0, 0, 0};
    __cpuid(1, eax, ebx, read.leaf1_ecx, edx);
    unsigned int highest_leaf = 0;
    __cpuid(0, highest_leaf, ebx, ecx, edx);
    if (highest_leaf >= 7)
        __cpuid_count(7, 0, eax, read.leaf7_ebx, ecx, edx);
    read.xcr0 = saved_state(read.leaf1_ecx);
    return read;
}

cpu_feature_set read_features()
{
    cpu_feature_set found = features_from(read_registers());
#ifdef NUMERICAL_EMULATED_AVX512
    found.avx512 = true; // the kernels of that path are plain C++ in this build
#endif
    return found;
}

constexpr unsigned char unread = 0;
constexpr unsigned char known = 1;
constexpr unsigned char known_avx2 = 2;
constexpr unsigned char known_avx512 = 4;

} // namespace

// An atomic byte and not a guarded static, which a fork during its initialisation would leave
// locked in the child. The first caller detects; a race is harmless, since both detect the same.
cpu_feature_set cpu_features()
{
    static constinit std::atomic<unsigned char> features{unread};
    unsigned char bits = features.load(std::memory_order_relaxed);
    if (bits == unread) {
        const cpu_feature_set found = read_features();
        bits = static_cast<unsigned char>(known | (found.avx2 ? known_avx2 : 0) |
                                          (found.avx512 ? known_avx512 : 0));
        features.store(bits, std::memory_order_relaxed);
    }
    return {(bits & known_avx2) != 0, (bits & known_avx512) != 0};
}

int path_under(int cap, const cpu_feature_set& features)
{
    if (cap >= avx512_path && features.avx512)
        return avx512_path;
    return cap >= avx2_path && features.avx2 ? avx2_path : portable_path;
}

std::atomic<unsigned char>& gemm_path_cap()
{
    static constinit std::atomic<unsigned char> cap{3};
    return cap;
}

int gemm_path_current()
{
    const int cap = gemm_path_cap().load(std::memory_order_relaxed);
    return cap == portable_path ? portable_path : path_under(cap, cpu_features());
}

bool avx2_in_force(int path)
{
    return path != portable_path && cpu_features().avx2;
}

} // namespace numerical::detail

#include "numerical/streamed_copy.hpp"

#include "numerical/counts.hpp"

#include <cstdint>
#include <emmintrin.h>

namespace numerical::detail {
namespace {

// Bytes before the first whole line, at most `bytes`.
std::size_t before_line(const void* to, std::size_t bytes)
{
    const std::size_t past = reinterpret_cast<std::uintptr_t>(to) % line_bytes;
    return std::min(bytes, (line_bytes - past) % line_bytes);
}

__m128i* sixteen_bytes(char* at)
{
    return reinterpret_cast<__m128i*>(at);
}

} // namespace

void stream_bytes(const void* from, std::size_t bytes, void* to)
{
    const auto* source = static_cast<const char*>(from);
    auto* out = static_cast<char*>(to);
    std::size_t done = before_line(to, bytes);
    std::memcpy(out, source, done);
    for (; done + line_bytes <= bytes; done += line_bytes)
        for (std::size_t i = 0; i < line_bytes; i += 16)
            _mm_stream_si128(sixteen_bytes(out + done + i),
                             _mm_loadu_si128(reinterpret_cast<const __m128i*>(source + done + i)));
    std::memcpy(out + done, source + done, bytes - done);
    _mm_sfence(); // non-temporal stores are unordered, and another thread may read the tensor
}

void stream_pattern(const void* pattern, std::size_t bytes, void* to)
{
    const __m128i sixteen = _mm_loadu_si128(static_cast<const __m128i*>(pattern));
    auto* out = static_cast<char*>(to);
    std::size_t done = 0;
    const std::size_t lead = before_line(to, bytes);
    for (; done < lead; done += 8) // of equal halves, or by pairs of them
        std::memcpy(out + done, static_cast<const char*>(pattern) + done % 16, 8);
    for (; done + line_bytes <= bytes; done += line_bytes)
        for (std::size_t i = 0; i < line_bytes; i += 16)
            _mm_stream_si128(sixteen_bytes(out + done + i), sixteen);
    for (; done < bytes; done += 8)
        std::memcpy(out + done, static_cast<const char*>(pattern) + (done - lead) % 16, 8);
    _mm_sfence();
}

} // namespace numerical::detail

// Ranges of any numbers over tensors of up to three axes. Whether a range lies within its axis is
// compared with a model in 128 bits, and what is taken with a loop over indices.

#include "numerical/strided/take.hpp"

#include "numerical/aligned_vector.hpp"

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

using numerical::axis_range;
using numerical::tensor;

class bytes
{
public:
    bytes(const std::uint8_t* data, std::size_t size) : at(data), end(data + size) {}

    std::uint8_t next() { return at == end ? 0 : *at++; }

    // A small number mostly, any one sometimes.
    long number()
    {
        const std::uint8_t first = next();
        if (first < 250)
            return static_cast<long>(first % 16) - 6;
        std::uint64_t bits = 0;
        for (int i = 0; i < 8; ++i)
            bits = bits << 8 | next();
        long value = 0;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }

private:
    const std::uint8_t* at;
    const std::uint8_t* end;
};

bool model_lies_within(const axis_range& range, std::size_t extent)
{
    if (range.count < 0)
        return false;
    if (range.count == 0)
        return true;
    const auto last =
        static_cast<__int128>(range.start) + static_cast<__int128>(range.count - 1) * range.step;
    const auto within = [&](__int128 i) { return i >= 0 && i < static_cast<__int128>(extent); };
    return within(range.start) && within(last);
}

void require(bool holds)
{
    if (!holds)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    bytes in(data, size);
    numerical::shape_list shape;
    std::size_t elements = 1;
    for (std::size_t rank = in.next() % 4; rank > 0; --rank) {
        shape.push_back(in.next() % 6);
        elements *= shape.back();
    }
    aligned_vector<double> numbers(elements);
    for (std::size_t i = 0; i < elements; ++i)
        numbers[i] = static_cast<double>(i);
    const tensor<double> a(shape, numbers);

    std::vector<axis_range> ranges;
    std::size_t taken = 1;
    for (const std::size_t extent : a.shape) {
        axis_range range{in.number(), in.number(), in.number(), (in.next() & 1) != 0};
        if (range.count != 1)
            range.kept = true;
        const bool within = numerical::lies_within(range, extent);
        require(within == model_lies_within(range, extent));
        if (!within || range.count > 64)
            return 0;
        taken *= static_cast<std::size_t>(range.count);
        ranges.push_back(range);
    }
    if (taken > 4096)
        return 0;

    const tensor<double> out = numerical::take(a, ranges);
    require(out.data.size() == taken);
    for (std::size_t position = 0; position < taken; ++position) {
        std::size_t rest = position;
        std::size_t from = 0;
        std::size_t stride = 1;
        for (std::size_t axis = ranges.size(); axis-- > 0;) {
            const auto count = static_cast<std::size_t>(ranges[axis].count);
            const long index =
                ranges[axis].start + static_cast<long>(rest % count) * ranges[axis].step;
            from += static_cast<std::size_t>(index) * stride;
            rest /= count;
            stride *= a.shape[axis];
        }
        require(out.data[position] == numbers[from]);
    }
    return 0;
}

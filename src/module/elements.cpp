#include "module/elements.hpp"

#include "binding/gil.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <bit>
#include <complex>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

namespace numerical::boundary {
namespace {

using complex = std::complex<double>;
using marlinth::binding::gil_release;
using marlinth::binding::gil_release_threshold;

// Byte addresses are kept as numbers: what the exporter says of an axis that is never stepped along
// may wrap.
using address = std::uintptr_t;

template <class Stored>
Stored stored_at(address at)
{
    Stored value;
    std::memcpy(&value, reinterpret_cast<const void*>(at), sizeof value);
    return value;
}

std::uint16_t reversed(std::uint16_t x)
{
    return __builtin_bswap16(x);
}

std::uint32_t reversed(std::uint32_t x)
{
    return __builtin_bswap32(x);
}

std::uint64_t reversed(std::uint64_t x)
{
    return __builtin_bswap64(x);
}

// How an item of each type is read; `size` is its extent in bytes.
struct bool_item
{
    using type = double;
    static constexpr std::size_t size = 1;

    static double load(address at) { return stored_at<unsigned char>(at) != 0 ? 1.0 : 0.0; }
};

template <class Stored>
struct native_item
{
    using type = double;
    static constexpr std::size_t size = sizeof(Stored);

    static double load(address at) { return static_cast<double>(stored_at<Stored>(at)); }
};

// Bits is the unsigned integer as wide as Stored.
template <class Stored, class Bits>
struct swapped_item
{
    using type = double;
    static constexpr std::size_t size = sizeof(Stored);

    static double load(address at)
    {
        return static_cast<double>(std::bit_cast<Stored>(reversed(stored_at<Bits>(at))));
    }
};

template <class Part>
struct complex_item
{
    using type = complex;
    static constexpr std::size_t size = 2 * Part::size;

    static complex load(address at) { return {Part::load(at), Part::load(at + Part::size)}; }
};

// Writes `count` items, `stride` bytes apart, to out[0], out[1], ...
template <class T>
using run_reader = void (*)(address from, std::size_t stride, std::size_t count, T* out);

template <class T, class Item>
void read_run(address from, std::size_t stride, std::size_t count, T* out)
{
    constexpr bool same =
        std::is_same_v<Item, native_item<T>> ||
        (std::is_same_v<T, complex> && std::is_same_v<Item, complex_item<native_item<double>>>);
    if (stride != Item::size) {
        for (std::size_t i = 0; i < count; ++i)
            out[i] = Item::load(from + i * stride);
    } else if constexpr (same) {
        std::memcpy(out, reinterpret_cast<const void*>(from), count * sizeof(T));
    } else {
        for (std::size_t i = 0; i < count; ++i)
            out[i] = Item::load(from + i * Item::size);
    }
}

template <class T>
run_reader<T> native_reader(const element_type& type)
{
    const bool is_signed = type.kind == 'i';
    if (type.kind == 'b')
        return read_run<T, bool_item>;
    if (type.kind == 'f')
        return type.size == 4 ? read_run<T, native_item<float>> : read_run<T, native_item<double>>;
    switch (type.size) {
    case 1:
        return is_signed ? read_run<T, native_item<std::int8_t>>
                         : read_run<T, native_item<std::uint8_t>>;
    case 2:
        return is_signed ? read_run<T, native_item<std::int16_t>>
                         : read_run<T, native_item<std::uint16_t>>;
    case 4:
        return is_signed ? read_run<T, native_item<std::int32_t>>
                         : read_run<T, native_item<std::uint32_t>>;
    default:
        return is_signed ? read_run<T, native_item<std::int64_t>>
                         : read_run<T, native_item<std::uint64_t>>;
    }
}

template <class T>
run_reader<T> swapped_reader(const element_type& type)
{
    const bool is_signed = type.kind == 'i';
    if (type.kind == 'f')
        return type.size == 4 ? read_run<T, swapped_item<float, std::uint32_t>>
                              : read_run<T, swapped_item<double, std::uint64_t>>;
    switch (type.size) {
    case 2:
        return is_signed ? read_run<T, swapped_item<std::int16_t, std::uint16_t>>
                         : read_run<T, swapped_item<std::uint16_t, std::uint16_t>>;
    case 4:
        return is_signed ? read_run<T, swapped_item<std::int32_t, std::uint32_t>>
                         : read_run<T, swapped_item<std::uint32_t, std::uint32_t>>;
    default:
        return is_signed ? read_run<T, swapped_item<std::int64_t, std::uint64_t>>
                         : read_run<T, swapped_item<std::uint64_t, std::uint64_t>>;
    }
}

run_reader<complex> complex_reader(const element_type& type)
{
    if (type.swap)
        return type.size == 8
                   ? read_run<complex, complex_item<swapped_item<float, std::uint32_t>>>
                   : read_run<complex, complex_item<swapped_item<double, std::uint64_t>>>;
    return type.size == 8 ? read_run<complex, complex_item<native_item<float>>>
                          : read_run<complex, complex_item<native_item<double>>>;
}

template <class T>
run_reader<T> reader_for(const element_type& type)
{
    if constexpr (std::is_same_v<T, complex>)
        if (type.kind == 'c')
            return complex_reader(type);
    return type.swap ? swapped_reader<T>(type) : native_reader<T>(type);
}

struct axis
{
    std::size_t extent;
    std::size_t stride; // bytes between items of the source, modulo 2^64
    std::size_t step;   // elements between them in the copy
};

std::size_t magnitude(std::size_t stride)
{
    return std::min(stride, 0 - stride);
}

// The axes to walk, first to last: without those of extent 1, and neighbours that can be stepped
// through as one made one. A contiguous array is one axis.
std::vector<axis> merged_axes(const foreign_array& from)
{
    std::vector<axis> axes; // last to first, for the time being
    std::size_t step = 1;
    for (std::size_t i = from.shape.size(); i-- > 0;) {
        const std::size_t extent = from.shape[i];
        const auto stride = static_cast<std::size_t>(from.strides[i]);
        if (extent == 1)
            continue;
        if (!axes.empty() && stride == axes.back().extent * axes.back().stride)
            axes.back().extent *= extent;
        else
            axes.push_back({extent, stride, step});
        step *= extent;
    }
    std::reverse(axes.begin(), axes.end());
    return axes;
}

struct position
{
    address source;
    std::size_t target; // in elements
};

// Steps on, the last axis fastest; false after the last position.
bool advance(const std::vector<axis>& axes, std::vector<std::size_t>& index, position& at)
{
    for (std::size_t i = axes.size(); i-- > 0;) {
        at.source += axes[i].stride;
        at.target += axes[i].step;
        if (++index[i] < axes[i].extent)
            return true;
        at.source -= axes[i].extent * axes[i].stride;
        at.target -= axes[i].extent * axes[i].step;
        index[i] = 0;
    }
    return false;
}

// read(source, target) for each position along the axes.
template <class F>
void for_each_position(const std::vector<axis>& axes, address source, const F& read)
{
    std::vector<std::size_t> index(axes.size(), 0);
    position at{source, 0};
    do
        read(at.source, at.target);
    while (advance(axes, index, at));
}

// Where the source's items lie closest along another axis than the copy's, as in a transposed
// array, walking along either side misses the cache on the other. In narrow tiles a line of the
// source is used up while it is there, and `tile_cols` of them fit the ways of its set when the
// stride is a power of two.
constexpr std::size_t tile_rows = 64;
constexpr std::size_t tile_cols = 8;

template <class T>
void read_tiles(run_reader<T> read, const axis& row, const axis& col, address source, T* out)
{
    for (std::size_t i0 = 0; i0 < row.extent; i0 += tile_rows)
        for (std::size_t j0 = 0; j0 < col.extent; j0 += tile_cols) {
            const std::size_t rows = std::min(tile_rows, row.extent - i0);
            const std::size_t cols = std::min(tile_cols, col.extent - j0);
            for (std::size_t i = i0; i < i0 + rows; ++i)
                read(source + i * row.stride + j0 * col.stride, col.stride, cols,
                     out + i * row.step + j0);
        }
}

template <class T>
void read_all(run_reader<T> read, std::vector<axis> axes, address source, T* out)
{
    if (axes.empty()) {
        read(source, 0, 1, out);
        return;
    }
    const axis last = axes.back();
    axes.pop_back();
    const auto closest =
        std::min_element(axes.begin(), axes.end(), [](const axis& a, const axis& b) {
            return magnitude(a.stride) < magnitude(b.stride);
        });
    if (closest == axes.end() || magnitude(closest->stride) >= magnitude(last.stride)) {
        for_each_position(axes, source, [&](address from, std::size_t to) {
            read(from, last.stride, last.extent, out + to);
        });
        return;
    }
    const axis row = *closest;
    axes.erase(closest);
    for_each_position(axes, source, [&](address from, std::size_t to) {
        read_tiles(read, row, last, from, out + to);
    });
}

} // namespace

template <class T>
tensor<T> tensor_from_elements(foreign_array&& from)
{
    std::vector<T> data;
    if (from.count != 0) {
        const gil_release released(from.count >= gil_release_threshold && !from.type.swap);
        data = detail::uninitialized<T>(from.count);
        read_all(reader_for<T>(from.type), merged_axes(from), reinterpret_cast<address>(from.data),
                 data.data());
    }
    return tensor<T>(std::move(from.shape), std::move(data));
}

template tensor<double> tensor_from_elements(foreign_array&&);
template tensor<complex> tensor_from_elements(foreign_array&&);

} // namespace numerical::boundary

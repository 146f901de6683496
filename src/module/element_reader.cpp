#include "module/element_reader.hpp"

#include <algorithm>
#include <bit>
#include <cstring>
#include <type_traits>

namespace numerical::boundary {
namespace {

using complex = std::complex<double>;

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
    static constexpr std::size_t size = 1;

    // By counting, without a branch: one on the value would be mispredicted every other time.
    static double load(address at) { return std::min<int>(stored_at<unsigned char>(at), 1); }
};

template <class Stored>
struct native_item
{
    static constexpr std::size_t size = sizeof(Stored);

    static double load(address at) { return static_cast<double>(stored_at<Stored>(at)); }
};

// Bits is the unsigned integer as wide as Stored.
template <class Stored, class Bits>
struct swapped_item
{
    static constexpr std::size_t size = sizeof(Stored);

    static double load(address at)
    {
        return static_cast<double>(std::bit_cast<Stored>(reversed(stored_at<Bits>(at))));
    }
};

template <class Part>
struct complex_item
{
    static constexpr std::size_t size = 2 * Part::size;

    static complex load(address at) { return {Part::load(at), Part::load(at + Part::size)}; }
};

template <class T, class Item>
constexpr bool same_bits = std::is_same_v<Item, native_item<T>> ||
                           (std::is_same_v<T, complex> &&
                            std::is_same_v<Item, complex_item<native_item<double>>>);

// The frequent strides and counts are constants, in separate loops.
template <class T, class Item>
void read_row(address from, std::size_t stride, std::size_t count, T* out)
{
    if (stride != Item::size) {
        for (std::size_t j = 0; j < count; ++j)
            out[j] = Item::load(from + j * stride);
    } else if constexpr (same_bits<T, Item>) {
        std::memcpy(out, reinterpret_cast<const void*>(from), count * sizeof(T));
    } else {
        for (std::size_t j = 0; j < count; ++j)
            out[j] = Item::load(from + j * Item::size);
    }
}

// Columns are prefetched: there are more of them than the hardware prefetcher follows.
template <class T, class Item>
void read_block(const item_block& block, T* out, std::size_t step)
{
    constexpr std::size_t width = tile_cols<T>;
    constexpr std::size_t columns_ahead = 16;
    const bool tiled = block.rows > 1 && block.col_stride != Item::size &&
                       magnitude(block.row_stride) < magnitude(block.col_stride);
    const std::size_t whole = tiled ? block.cols - block.cols % width : 0;
    for (std::size_t j = 0; j < whole; j += width) {
        const address from = block.from + j * block.col_stride;
        for (std::size_t c = columns_ahead; c < columns_ahead + width; ++c)
            __builtin_prefetch(reinterpret_cast<const void*>(from + c * block.col_stride));
        for (std::size_t i = 0; i < block.rows; ++i)
            for (std::size_t c = 0; c < width; ++c)
                out[i * step + j + c] =
                    Item::load(from + i * block.row_stride + c * block.col_stride);
    }
    if (whole == block.cols)
        return;
    for (std::size_t i = 0; i < block.rows; ++i)
        read_row<T, Item>(block.from + i * block.row_stride + whole * block.col_stride,
                          block.col_stride, block.cols - whole, out + i * step + whole);
}

template <class T>
block_reader<T> native_reader(const element_type& type)
{
    const bool is_signed = type.kind == 'i';
    if (type.kind == 'b')
        return read_block<T, bool_item>;
    if (type.kind == 'f')
        return type.size == 4 ? read_block<T, native_item<float>>
                              : read_block<T, native_item<double>>;
    switch (type.size) {
    case 1:
        return is_signed ? read_block<T, native_item<std::int8_t>>
                         : read_block<T, native_item<std::uint8_t>>;
    case 2:
        return is_signed ? read_block<T, native_item<std::int16_t>>
                         : read_block<T, native_item<std::uint16_t>>;
    case 4:
        return is_signed ? read_block<T, native_item<std::int32_t>>
                         : read_block<T, native_item<std::uint32_t>>;
    default:
        return is_signed ? read_block<T, native_item<std::int64_t>>
                         : read_block<T, native_item<std::uint64_t>>;
    }
}

template <class T>
block_reader<T> swapped_reader(const element_type& type)
{
    const bool is_signed = type.kind == 'i';
    if (type.kind == 'f')
        return type.size == 4 ? read_block<T, swapped_item<float, std::uint32_t>>
                              : read_block<T, swapped_item<double, std::uint64_t>>;
    switch (type.size) {
    case 2:
        return is_signed ? read_block<T, swapped_item<std::int16_t, std::uint16_t>>
                         : read_block<T, swapped_item<std::uint16_t, std::uint16_t>>;
    case 4:
        return is_signed ? read_block<T, swapped_item<std::int32_t, std::uint32_t>>
                         : read_block<T, swapped_item<std::uint32_t, std::uint32_t>>;
    default:
        return is_signed ? read_block<T, swapped_item<std::int64_t, std::uint64_t>>
                         : read_block<T, swapped_item<std::uint64_t, std::uint64_t>>;
    }
}

block_reader<complex> complex_reader(const element_type& type)
{
    if (type.swap)
        return type.size == 8
                   ? read_block<complex, complex_item<swapped_item<float, std::uint32_t>>>
                   : read_block<complex, complex_item<swapped_item<double, std::uint64_t>>>;
    return type.size == 8 ? read_block<complex, complex_item<native_item<float>>>
                          : read_block<complex, complex_item<native_item<double>>>;
}

} // namespace

template <class T>
block_reader<T> reader_for(const element_type& type)
{
    if constexpr (std::is_same_v<T, complex>)
        if (type.kind == 'c')
            return complex_reader(type);
    return type.swap ? swapped_reader<T>(type) : native_reader<T>(type);
}

template block_reader<double> reader_for(const element_type&);
template block_reader<complex> reader_for(const element_type&);

} // namespace numerical::boundary

#include "module/elements.hpp"

#include "binding/gil.hpp"
#include "module/element_reader.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <complex>
#include <utility>

namespace numerical::boundary {
namespace {

using complex = std::complex<double>;
using marlinth::binding::gil_release;
using marlinth::binding::gil_release_threshold;

struct axis
{
    std::size_t extent;
    std::size_t stride; // bytes between items of the source, modulo 2^64
    std::size_t step;   // elements between them in the copy
};

// The axes of the loops, first to last: without those of extent 1, and with contiguous neighbours
// joined. A contiguous array is one axis.
std::vector<axis> merged_axes(const foreign_array& from)
{
    std::vector<axis> axes; // last to first while they are collected
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

// Moves to the next position, the last axis fastest; false after the last one.
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

// Segments of an axis. The first one is so long that the others begin at cache lines, if they can:
// tiles that share cache lines take up to twice the time.
class stretches
{
public:
    stretches(address first, std::size_t stride, std::size_t axis_extent, std::size_t full)
        : extent(axis_extent), size(full)
    {
        const std::size_t to_line = (line - first % line) % line;
        if (stride != 0 && to_line % stride == 0)
            lead = to_line / stride;
    }

    std::size_t end_of(std::size_t from) const
    {
        return std::min(extent, from == 0 && lead != 0 ? lead : from + size);
    }

private:
    static constexpr std::size_t line = 64;
    std::size_t extent;
    std::size_t size;
    std::size_t lead = 0;
};

// If the source's items are closest along another axis than the copy's, as in a transposed array, a
// loop along either axis misses the cache on the other side. In strips of as many rows as a cache
// line of the source holds items, few lines of the copy are written at a time, each of them whole;
// the reader prefetches the columns, which the hardware prefetcher doesn't follow.
template <class T>
void read_strips(block_reader<T> read, const axis& row, const axis& col, address source, T* out)
{
    const std::size_t height = magnitude(row.stride) <= sizeof(double) ? 8 : 4;
    const stretches rows(source, row.stride, row.extent, height);
    const stretches cols(reinterpret_cast<address>(out), sizeof(T), col.extent, col.extent);
    for (std::size_t i = 0; i < row.extent; i = rows.end_of(i))
        for (std::size_t j = 0; j < col.extent; j = cols.end_of(j))
            read({source + i * row.stride + j * col.stride, rows.end_of(i) - i, cols.end_of(j) - j,
                  row.stride, col.stride},
                 out + i * row.step + j, row.step);
}

template <class T>
void read_all(block_reader<T> read, std::vector<axis> axes, address source, T* out)
{
    if (axes.empty()) {
        read({source, 1, 1, 0, 0}, out, 0);
        return;
    }
    const axis last = axes.back();
    axes.pop_back();
    const auto closest =
        std::min_element(axes.begin(), axes.end(), [](const axis& a, const axis& b) {
            return magnitude(a.stride) < magnitude(b.stride);
        });
    if (closest != axes.end() && magnitude(closest->stride) < magnitude(last.stride)) {
        const axis row = *closest;
        axes.erase(closest);
        for_each_position(axes, source, [&](address from, std::size_t to) {
            read_strips(read, row, last, from, out + to);
        });
        return;
    }
    const axis row = axes.empty() ? axis{1, 0, 0} : axes.back();
    if (!axes.empty())
        axes.pop_back();
    for_each_position(axes, source, [&](address from, std::size_t to) {
        read({from, row.extent, last.extent, row.stride, last.stride}, out + to, row.step);
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

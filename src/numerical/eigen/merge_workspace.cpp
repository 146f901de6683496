#include "numerical/eigen/merge_workspace.hpp"

#include "numerical/counts.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/storage.hpp"

#include <algorithm>

namespace numerical::detail {
namespace {

constexpr std::size_t stretch = 32768; // elements that one index touches

} // namespace

double* workspace_of(workspace_buffer& buffer, std::size_t size)
{
    if (buffer.capacity >= size)
        return buffer.data.get();
    buffer.data.reset(); // the old contents are not wanted: never hold both
    buffer.capacity = 0;
    buffer.data.reset(new double[size]);
    buffer.capacity = size;
    double* const data = buffer.data.get();
    advise_huge_pages(data, size * sizeof(double));
    const auto touch_stretch = [=](std::size_t i) {
        std::fill(data + i * stretch, data + std::min((i + 1) * stretch, size), 0.0);
    };
    parallel_for(ceil_div(size, stretch), stretch, touch_stretch);
    return data;
}

} // namespace numerical::detail

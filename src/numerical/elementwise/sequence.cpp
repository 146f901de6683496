#include "numerical/elementwise/sequence.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/elementwise/sequence_kernels.hpp"
#include "numerical/errors.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

namespace numerical {
namespace detail {

// The fused operation of the C library, which computes it in integers where the processor has none.
void fused_sequence(double delta, double first, double start, double* out, std::size_t n)
{
    for (std::size_t j = 0; j < n; ++j)
        out[j] = std::fma(delta, first + static_cast<double>(j), start);
}

} // namespace detail

namespace {

// The number of elements for one call of a kernel: an index within it fits into an int, which the
// processor converts to double in vectors.
constexpr std::size_t sequence_block = std::size_t{1} << 20;

// ceil(q) as a count of elements; any count above what memory can hold serves for larger ones.
std::size_t count_of(double q)
{
    if (!(q > 0))
        return 0;
    return q < 0x1p63 ? static_cast<std::size_t>(std::ceil(q)) : ~std::size_t{0};
}

} // namespace

tensor<double> arange(double start, double stop, double step)
{
    if (!std::isfinite(start) || !std::isfinite(stop) || !std::isfinite(step) || step == 0)
        throw dimension_error("arange needs finite bounds and a finite, non-zero step");
    const std::size_t count = count_of((stop - start) / step);
    aligned_vector<double> data = detail::uninitialized<double>(count);
    const double delta = (step + start) - start;
    const bool fused = detail::avx2_in_force(detail::gemm_path_current());
    const auto fill = fused ? detail::avx2_fused_sequence : detail::fused_sequence;
    for (std::size_t from = 0; from < count; from += sequence_block)
        fill(delta, static_cast<double>(from), start, data.data() + from,
             std::min(sequence_block, count - from));
    return tensor<double>({count}, std::move(data));
}

tensor<double> linspace(double start, double stop, std::size_t count)
{
    aligned_vector<double> data = detail::uninitialized<double>(count);
    const double step = count > 1 ? (stop - start) / static_cast<double>(count - 1) : 0.0;
    for (std::size_t from = 0; from < count; from += sequence_block) {
        const auto first = static_cast<double>(from);
        const int end = static_cast<int>(std::min(sequence_block, count - from));
        double* out = data.data() + from;
        for (int j = 0; j < end; ++j)
            out[j] = step * (first + j) + start;
    }
    if (count > 1)
        data.back() = stop;
    return tensor<double>({count}, std::move(data));
}

} // namespace numerical

#include "numerical/einsum/general_loop.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/einsum/loop_axes.hpp"
#include "numerical/einsum/outer_product.hpp"
#include "numerical/einsum/permuted.hpp"
#include "numerical/einsum/row_sum_kernels.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/storage.hpp"
#include "numerical/thread_scratch.hpp"

#include <algorithm>
#include <complex>
#include <span>
#include <utility>
#include <vector>

namespace numerical::detail {
namespace {

template <class T, std::size_t N>
using pointers = std::array<const T*, N>;

template <class T, std::size_t N>
pointers<T, N> moved(pointers<T, N> at, const offsets<N>& by)
{
    for (std::size_t i = 0; i < N; ++i)
        at[i] += by[i];
    return at;
}

template <class T, std::size_t N>
T term(const pointers<T, N>& at, const offsets<N>& by)
{
    if constexpr (N == 1)
        return at[0][by[0]];
    else
        return at[0][by[0]] * at[1][by[1]];
}

// The number of elements that are summed side by side, each in its own order, to hide the latency
// of addition. Contiguous rows are summed by vector kernels.
constexpr std::size_t sums_at_once = 8;
constexpr std::size_t rows_at_once = 16;
// The number of sums that are held along an axis on which the operands are contiguous: they fill
// half of L1, so that rows are read in long runs.
template <class T>
constexpr std::size_t columns_at_once = 16384 / sizeof(T);
// Summing along columns doesn't pay for shorter axes.
constexpr std::size_t least_columns = 8;

// sum[w] += the terms along the inner axis, for W elements `apart` from each other.
template <std::size_t W, class T, std::size_t N>
void add_along(std::array<T, W>& sums, pointers<T, N> at, const offsets<N>& apart,
               const strided_axis<N>& inner)
{
    std::array<offsets<N>, W> element;
    for (std::size_t w = 0; w < W; ++w)
        element[w] = advanced<N>({}, apart, w);
    std::array<T, W> sum = sums; // a copy, so that it stays in registers
    for (std::size_t i = 0; i < inner.extent; ++i, at = moved(at, inner.stride))
        for (std::size_t w = 0; w < W; ++w)
            sum[w] += term<T, N>(at, element[w]);
    sums = sum;
}

// sum[c] += the terms at columns c of each row along the inner axis, rows ascending. Columns lie
// side by side or, with a step of 0, are one and the same.
template <class T>
void add_rows(T* sum, pointers<T, 1> at, const offsets<1>&, std::size_t count,
              const strided_axis<1>& inner)
{
    const std::size_t stride = inner.stride[0];
    const T* row = at[0];
    std::size_t i = 0;
    for (; i + 4 <= inner.extent; i += 4, row += 4 * stride)
        for (std::size_t c = 0; c < count; ++c)
            sum[c] = sum[c] + row[c] + row[c + stride] + row[c + 2 * stride] + row[c + 3 * stride];
    for (; i < inner.extent; ++i, row += stride)
        for (std::size_t c = 0; c < count; ++c)
            sum[c] += row[c];
}

template <std::size_t a_step, std::size_t b_step, class T>
void add_row_of_products(T* sum, const T* a, const T* b, std::size_t count)
{
    for (std::size_t c = 0; c < count; ++c)
        sum[c] += a[c * a_step] * b[c * b_step];
}

template <class T>
void add_rows(T* sum, pointers<T, 2> at, const offsets<2>& step, std::size_t count,
              const strided_axis<2>& inner)
{
    const auto add_row = step[0] == 0   ? add_row_of_products<0, 1, T>
                         : step[1] == 0 ? add_row_of_products<1, 0, T>
                                        : add_row_of_products<1, 1, T>;
    for (std::size_t i = 0; i < inner.extent; ++i, at = moved(at, inner.stride))
        add_row(sum, at[0], at[1], count);
}

// The sums over the axes `summed` for every position of the axes `kept`, of which the last stride
// is that in the result.
template <class T, std::size_t N>
class summation
{
public:
    summation(const pointers<T, N>& first, std::vector<strided_axis<N + 1>> kept_axes,
              std::vector<strided_axis<N>> summed_axes, T* result)
        : operands(first), kept(std::move(kept_axes)), summed(std::move(summed_axes)), out(result)
    {
        if (kept.empty())
            kept.push_back({1, {}});
        if (summed.empty())
            summed.push_back({1, {}});
        by_vectors = N == 1 && summed.back().stride[0] == 1 && avx2_in_force(gemm_path_current());
    }

    void run()
    {
        const auto columns = std::find_if(kept.begin(), kept.end(), is_column_axis);
        const bool by_columns = columns != kept.end();
        const auto chosen =
            by_columns ? columns : std::max_element(kept.begin(), kept.end(), shorter);
        const strided_axis<N + 1> along = *chosen;
        kept.erase(chosen);
        if (!by_columns) {
            for_each_position<N + 1>(kept, {},
                                     [&](const offsets<N + 1>& at) { sum_elements(at, along); });
            return;
        }
        thread_scratch<T> sums(std::min(columns_at_once<T>, along.extent));
        for_each_position<N + 1>(
            kept, {}, [&](const offsets<N + 1>& at) { sum_columns(at, along, sums.data()); });
    }

private:
    static bool is_column_axis(const strided_axis<N + 1>& axis)
    {
        const auto far = [](std::size_t stride) { return stride > 1; };
        const auto operands_end = axis.stride.begin() + N;
        return axis.extent >= least_columns && std::none_of(axis.stride.begin(), operands_end, far);
    }

    static bool shorter(const strided_axis<N + 1>& a, const strided_axis<N + 1>& b)
    {
        return a.extent < b.extent;
    }

    static offsets<N> in_operands(const offsets<N + 1>& at)
    {
        offsets<N> head{};
        std::copy_n(at.begin(), N, head.begin());
        return head;
    }

    std::span<const strided_axis<N>> outer_summed() const
    {
        return std::span<const strided_axis<N>>(summed).first(summed.size() - 1);
    }

    void sum_columns(const offsets<N + 1>& at, const strided_axis<N + 1>& along, T* sum)
    {
        const offsets<N> step = in_operands(along.stride);
        for (std::size_t first = 0; first < along.extent; first += columns_at_once<T>) {
            const std::size_t count = std::min(columns_at_once<T>, along.extent - first);
            const offsets<N + 1> start = advanced<N + 1>(at, along.stride, first);
            std::fill_n(sum, count, T(0));
            for_each_position<N>(
                outer_summed(), in_operands(start), [&](const offsets<N>& position) {
                    add_rows(sum, moved<T, N>(operands, position), step, count, summed.back());
                });
            for (std::size_t c = 0; c < count; ++c)
                out[start[N] + c * along.stride[N]] = sum[c];
        }
    }

    void sum_elements(const offsets<N + 1>& at, const strided_axis<N + 1>& along)
    {
        if (by_vectors)
            sum_blocks<rows_at_once>(at, along, 0);
        else
            sum_blocks<sums_at_once>(at, along, 0);
    }

    // Blocks of W while they last, then of W/2, W/4 and so on.
    template <std::size_t W>
    void sum_blocks(const offsets<N + 1>& at, const strided_axis<N + 1>& along, std::size_t done)
    {
        for (; done + W <= along.extent; done += W)
            sum_block<W>(advanced<N + 1>(at, along.stride, done), along.stride);
        if constexpr (W > 1)
            sum_blocks<W / 2>(at, along, done);
    }

    template <std::size_t W>
    void sum_block(const offsets<N + 1>& at, const offsets<N + 1>& apart)
    {
        std::array<T, W> sums{};
        for_each_position<N>(outer_summed(), in_operands(at), [&](const offsets<N>& position) {
            const pointers<T, N> first = moved<T, N>(operands, position);
            if constexpr (N == 1 && W >= sums_at_once)
                if (by_vectors)
                    return avx2_unfused_add_along_rows(sums.data(), first[0], apart[0],
                                                       summed.back().extent, W);
            add_along(sums, first, in_operands(apart), summed.back());
        });
        for (std::size_t w = 0; w < W; ++w)
            out[at[N] + w * apart[N]] = sums[w];
    }

    pointers<T, N> operands;
    std::vector<strided_axis<N + 1>> kept;
    std::vector<strided_axis<N>> summed;
    T* out;
    bool by_vectors;
};

template <class T, std::size_t N>
void sum_into(T* result, const std::array<labelled<T>, N>& operands, const std::string& output,
              const std::string& summed, const label_extents& extents)
{
    pointers<T, N> first{};
    for (std::size_t i = 0; i < N; ++i)
        first[i] = operands[i].value.data.data();
    const label_strides in_result(output, extents);
    const label_strides in_first(operands.front().labels, extents);
    const label_strides in_last(operands.back().labels, extents);
    if constexpr (N == 1)
        summation<T, 1>(first, loop_axes<2>(output, {in_first, in_result}, extents),
                        loop_axes<1>(summed, {in_first}, extents), result)
            .run();
    else
        summation<T, 2>(first, loop_axes<3>(output, {in_first, in_last, in_result}, extents),
                        loop_axes<2>(summed, {in_first, in_last}, extents), result)
            .run();
}

} // namespace

template <class T, std::size_t N>
tensor<T> general_loop(const std::array<labelled<T>, N>& operands, const std::string& output,
                       const std::string& summed, const label_extents& extents)
{
    if (summed.empty()) {
        if constexpr (N == 1)
            return tensor<T>(
                extents_of(output, extents),
                permuted<T>(operands[0].value.data, operands[0].labels, output, extents));
        else
            return outer_product<T>(operands[0], operands[1], output, extents);
    }
    aligned_vector<T> result = zeros<T>(extent_product(output, extents));
    const auto is_zero = [&](char label) { return extents[label] == 0; };
    if (!result.empty() && std::none_of(summed.begin(), summed.end(), is_zero))
        sum_into(result.data(), operands, output, summed, extents);
    return tensor<T>(extents_of(output, extents), std::move(result));
}

template tensor<double> general_loop(const std::array<labelled<double>, 1>&, const std::string&,
                                     const std::string&, const label_extents&);
template tensor<double> general_loop(const std::array<labelled<double>, 2>&, const std::string&,
                                     const std::string&, const label_extents&);
template tensor<std::complex<double>>
general_loop(const std::array<labelled<std::complex<double>>, 1>&, const std::string&,
             const std::string&, const label_extents&);
template tensor<std::complex<double>>
general_loop(const std::array<labelled<std::complex<double>>, 2>&, const std::string&,
             const std::string&, const label_extents&);

} // namespace numerical::detail

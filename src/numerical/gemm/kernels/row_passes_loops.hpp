#pragma once

// The complex products of gemv_transposed.hpp that pass over their sums, for vectors of any width.
// For the kernels' own sources only: unnamed, as the vectors are.

#include "numerical/gemm/kernels/lanes/access.hpp"

#include <cstddef>

namespace numerical::detail {
namespace {

// Whether the rows come from a near cache or from memory, whose next ones are then prefetched into
// L2: the processor follows a row only once a pass has begun.
enum class distance { near, far };

// `rows` rows in one pass over y, which is loaded and stored once for all of them. The halves of
// the products with the imaginary parts change places once, in their sum.
template <class Lanes, std::size_t rows, distance from>
class row_pass
{
public:
    explicit row_pass(const double* x)
    {
#pragma GCC unroll 4
        for (std::size_t r = 0; r < rows; ++r) {
            real[r] = Lanes::all(x[2 * r]);
            imag[r] = Lanes::all(x[2 * r + 1]);
        }
    }

    template <class Access>
    void add(double* y, const double* row, std::size_t stride, const Access& access) const
    {
        auto sum = access.load(y);
        auto turned = Lanes::zero();
#pragma GCC unroll 4
        for (std::size_t r = 0; r < rows; ++r) {
            constexpr int read = 0;
            constexpr int l2 = 2;
            if constexpr (from == distance::far)
                __builtin_prefetch(row + (rows + r) * stride, read, l2);
            const auto entries = access.load(row + r * stride);
            sum = Lanes::more(sum, real[r], entries);
            turned = Lanes::more(turned, imag[r], entries);
        }
        access.store(y, Lanes::plus(sum, Lanes::turned(turned)));
    }

private:
    typename Lanes::vector real[rows];
    typename Lanes::vector imag[rows];
};

// Stride and n in doubles.
template <class Lanes, std::size_t rows, distance from>
void add_rows(double* y, const double* row, std::size_t stride, const double* x, std::size_t n)
{
    const row_pass<Lanes, rows, from> pass(x);
    const auto whole = every_lane<Lanes, 2>();
    std::size_t j = 0;
    for (; j + Lanes::width <= n; j += Lanes::width)
        pass.add(y + j, row + j, stride, whole);
    if (j < n)
        pass.add(y + j, row + j, stride, last_vector<Lanes>(n - j));
}

// `together` rows at a time, then those that are left.
template <class Lanes, std::size_t together, distance from>
void add_all_rows_from(double* y, const double* rows, std::size_t stride, std::size_t count,
                       const double* x, std::size_t n)
{
    for (; count >= together; count -= together) {
        add_rows<Lanes, together, from>(y, rows, stride, x, n);
        rows += together * stride;
        x += 2 * together;
    }
    if constexpr (together > 1)
        if (count != 0)
            add_all_rows_from<Lanes, together - 1, from>(y, rows, stride, count, x, n);
}

template <class Lanes, std::size_t together>
void add_all_rows(double* y, const double* rows, std::size_t stride, std::size_t count,
                  const double* x, std::size_t n)
{
    constexpr std::size_t near_doubles = std::size_t{1} << 20;
    const auto add = count * stride > near_doubles
                         ? add_all_rows_from<Lanes, together, distance::far>
                         : add_all_rows_from<Lanes, together, distance::near>;
    add(y, rows, stride, count, x, n);
}

} // namespace
} // namespace numerical::detail

#include "numerical/factor/triangular_solve.hpp"

#include "numerical/gemm/path.hpp"
#include "numerical/scalar.hpp"

#include <complex>
#include <vector>

namespace numerical::detail {
namespace {

// X1 -= A·X0 for the rows X0 that are solved. The smaller operand is negated.
template <class T>
void subtract_solved(std::vector<T>& negative, block_view<const T> a, block_view<T> solved,
                     block_view<T> x)
{
    if (solved.cols < a.rows) {
        negate_into<T>(negative, solved);
        add_product<T>(a, {negative.data(), solved.rows, solved.cols}, x);
    } else {
        negate_into<T>(negative, a);
        add_product<T>({negative.data(), a.rows, a.cols}, solved, x);
    }
}

} // namespace

template <class T>
void solve_upper(block_view<const T> u, std::size_t block, block_view<T> x)
{
    const int path = gemm_path_current();
    std::vector<T> negative;
    for (std::size_t end = u.rows; end > 0;) {
        const std::size_t start = last_block(end, block);
        const block_view<T> solved = x.sub(start, end, 0, x.cols);
        const block_view<const T> triangle = u.sub(start, end, start, end);
        for_each_tile(solved, [&](block_view<T> tile) { substitute_upper(path, triangle, tile); });
        if (start != 0)
            subtract_solved<T>(negative, u.sub(0, start, start, end), solved,
                               x.sub(0, start, 0, x.cols));
        end = start;
    }
}

template <class T>
void solve_lower(block_view<const T> l, std::size_t block, block_view<T> x)
{
    const int path = gemm_path_current();
    std::vector<T> negative;
    for (std::size_t start = 0; start < l.rows; start += block) {
        const std::size_t end = std::min(start + block, l.rows);
        const block_view<T> solved = x.sub(start, end, 0, x.cols);
        const block_view<const T> triangle = l.sub(start, end, start, end);
        for_each_tile(solved, [&](block_view<T> tile) { substitute_lower(path, triangle, tile); });
        if (end != l.rows)
            subtract_solved<T>(negative, l.sub(end, l.rows, start, end), solved,
                               x.sub(end, l.rows, 0, x.cols));
    }
}

template void solve_upper(block_view<const double>, std::size_t, block_view<double>);
template void solve_upper(block_view<const complex>, std::size_t, block_view<complex>);
template void solve_lower(block_view<const double>, std::size_t, block_view<double>);
template void solve_lower(block_view<const complex>, std::size_t, block_view<complex>);

} // namespace numerical::detail

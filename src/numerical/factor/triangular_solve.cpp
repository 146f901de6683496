#include "numerical/factor/triangular_solve.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/scalar.hpp"

#include <algorithm>
#include <complex>
#include <type_traits>

namespace numerical::detail {

template <class T>
void subtract_product(aligned_vector<T>& negative, block_view<const T> a,
                      block_view<const std::type_identity_t<T>> x0, block_view<T> x1)
{
    if (x0.cols <= a.rows) {
        negate_into<T>(negative, x0);
        add_product<T>(a, {negative.data(), x0.rows, x0.cols}, x1);
    } else {
        negate_into<T>(negative, a);
        add_product<T>({negative.data(), a.rows, a.cols}, x0, x1);
    }
}

namespace {

// X := L⁻¹·X by rows [from, to).
//     from  mid
//    [ L00      ]  from     X0 = L00⁻¹·X0;
//    [ L10  L11 ]  mid      X1 -= L10·X0; X1 = L11⁻¹·X1.
template <class T>
class unit_lower_substitution
{
public:
    unit_lower_substitution(block_view<const T> triangle, std::size_t block_width,
                            block_view<T> right_sides, block_sums sums)
        : l(triangle), block(block_width), x(right_sides),
          by_halves(depth_is_free<T> || sums == block_sums::in_any_order)
    {
    }

    void solve(std::size_t from, std::size_t to)
    {
        if (to - from <= block)
            return substitute(from, to, x.cols);
        const std::size_t mid = from + (by_halves ? half_in_blocks(to - from, block) : block);
        solve(from, mid);
        subtract(from, mid, to, x.cols);
        solve(mid, to);
    }

    // Of an identity's columns from `first` on the rows above their ones are zero, and so are the
    // columns right of a block when it is reached: both are passed over. Below the ones of all
    // columns, the rows lose one deep product and are solved as any right-hand side's, if the depth
    // is free.
    void invert(std::size_t first)
    {
        const std::size_t start = first / block * block;
        const std::size_t end =
            depth_is_free<T> ? std::min(round_up(first + x.cols, block), l.rows) : l.rows;
        for (std::size_t from = start; from < end; from += block) {
            const std::size_t to = std::min(from + block, end);
            const std::size_t cols = std::min(to - first, x.cols);
            substitute(from, to, cols);
            if (to != end)
                subtract(from, to, end, cols);
        }
        if (end == l.rows)
            return;
        subtract(start, end, l.rows, x.cols);
        solve(end, l.rows);
    }

private:
    block_view<const T> l;
    std::size_t block;
    block_view<T> x;
    bool by_halves; // rather than block after block
    int path = gemm_path_current();
    aligned_vector<T> negative;

    void substitute(std::size_t from, std::size_t to, std::size_t cols)
    {
        const block_view<const T> leaf = l.sub(from, to, from, to);
        for_each_tile(x.sub(from, to, 0, cols),
                      [&](block_view<T> tile) { substitute_unit_lower(path, leaf, tile); });
    }

    void subtract(std::size_t from, std::size_t mid, std::size_t to, std::size_t cols)
    {
        subtract_product<T>(negative, l.sub(mid, to, from, mid), x.sub(from, mid, 0, cols),
                            x.sub(mid, to, 0, cols));
    }
};

} // namespace

template <class T>
void solve_unit_lower(block_view<const T> l, std::size_t block, block_view<T> x, block_sums sums)
{
    if (l.rows != 0) // no unknowns may have 2⁶¹ right-hand sides
        unit_lower_substitution<T>(l, block, x, sums).solve(0, l.rows);
}

template <class T>
void invert_unit_lower(block_view<const T> l, std::size_t block, std::size_t first, block_view<T> x)
{
    unit_lower_substitution<T>(l, block, x, block_sums::in_order).invert(first);
}

namespace {

// X := U⁻¹·X by rows [from, to).
//     from  mid
//    [ U00  U01 ]  from     X1 = U11⁻¹·X1;
//    [      U11 ]  mid      X0 -= U01·X1; X0 = U00⁻¹·X0.
template <class T>
class upper_substitution
{
public:
    upper_substitution(block_view<const T> triangle, std::size_t block_width,
                       block_view<T> right_sides, block_sums sums)
        : u(triangle), block(block_width), x(right_sides),
          by_halves(sums == block_sums::in_any_order)
    {
    }

    void solve(std::size_t from, std::size_t to)
    {
        while (to - from > block) {
            const std::size_t mid =
                by_halves ? from + half_in_blocks(to - from, block) : last_block(to, block);
            solve(mid, to);
            subtract_product<T>(negative, u.sub(from, mid, mid, to), x.sub(mid, to, 0, x.cols),
                                x.sub(from, mid, 0, x.cols));
            to = mid;
        }
        substitute(from, to);
    }

private:
    block_view<const T> u;
    std::size_t block;
    block_view<T> x;
    bool by_halves; // rather than block after block
    int path = gemm_path_current();
    aligned_vector<T> negative;

    void substitute(std::size_t from, std::size_t to)
    {
        const block_view<const T> leaf = u.sub(from, to, from, to);
        for_each_tile(x.sub(from, to, 0, x.cols),
                      [&](block_view<T> tile) { substitute_upper(path, leaf, tile); });
    }
};

} // namespace

template <class T>
void solve_upper(block_view<const T> u, std::size_t block, block_view<T> x, block_sums sums)
{
    if (u.rows != 0)
        upper_substitution<T>(u, block, x, sums).solve(0, u.rows);
}

template <class T>
void solve_lower(block_view<const T> l, std::size_t block, block_view<T> x)
{
    const int path = gemm_path_current();
    aligned_vector<T> negative;
    for (std::size_t start = 0; start < l.rows; start += block) {
        const std::size_t end = std::min(start + block, l.rows);
        const block_view<T> solved = x.sub(start, end, 0, x.cols);
        const block_view<const T> triangle = l.sub(start, end, start, end);
        for_each_tile(solved, [&](block_view<T> tile) { substitute_lower(path, triangle, tile); });
        if (end != l.rows)
            subtract_product<T>(negative, l.sub(end, l.rows, start, end), solved,
                                x.sub(end, l.rows, 0, x.cols));
    }
}

template void subtract_product(aligned_vector<double>&, block_view<const double>,
                               block_view<const double>, block_view<double>);
template void subtract_product(aligned_vector<complex>&, block_view<const complex>,
                               block_view<const complex>, block_view<complex>);
template void solve_unit_lower(block_view<const double>, std::size_t, block_view<double>,
                               block_sums);
template void solve_unit_lower(block_view<const complex>, std::size_t, block_view<complex>,
                               block_sums);
template void invert_unit_lower(block_view<const double>, std::size_t, std::size_t,
                                block_view<double>);
template void invert_unit_lower(block_view<const complex>, std::size_t, std::size_t,
                                block_view<complex>);
template void solve_upper(block_view<const double>, std::size_t, block_view<double>, block_sums);
template void solve_upper(block_view<const complex>, std::size_t, block_view<complex>, block_sums);
template void solve_lower(block_view<const double>, std::size_t, block_view<double>);
template void solve_lower(block_view<const complex>, std::size_t, block_view<complex>);

} // namespace numerical::detail

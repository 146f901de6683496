#include "numerical/svd/thin_product.hpp"

#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <complex>

namespace numerical::detail {
namespace {

constexpr std::size_t slab_bytes = std::size_t{1} << 19;
constexpr std::size_t least_slab = 256;
constexpr std::size_t greatest_slab = 512;

template <class T>
constexpr std::size_t parts = sizeof(T) / sizeof(double);

// Rows of numbers as rows of doubles.
template <class T>
block_view<double> real_view(block_view<T> a)
{
    return {reinterpret_cast<double*>(a.first), a.rows, parts<T> * a.cols, parts<T> * a.stride};
}

// [Re A | Im A].
std::vector<double> parts_beside(block_view<const double> a)
{
    std::vector<double> out = reserved<double>(a.rows * a.cols);
    for (std::size_t i = 0; i < a.rows; ++i)
        out.insert(out.end(), a.row(i), a.row(i) + a.cols);
    return out;
}

std::vector<double> parts_beside(block_view<const complex> a)
{
    std::vector<double> out = uninitialized<double>(a.rows * 2 * a.cols);
    for (std::size_t i = 0; i < a.rows; ++i) {
        double* const row = out.data() + i * 2 * a.cols;
        for (std::size_t j = 0; j < a.cols; ++j) {
            row[j] = a(i, j).real();
            row[a.cols + j] = a(i, j).imag();
        }
    }
    return out;
}

// [Re Aᵀ; Im Aᵀ].
template <class T>
std::vector<double> transposed_parts(block_view<const T> a)
{
    const std::vector<double> beside = parts_beside(a);
    const std::size_t cols = parts<T> * a.cols;
    std::vector<double> out = uninitialized<double>(beside.size());
    transpose_into<double>({out.data(), cols, a.rows, a.rows}, {beside.data(), a.rows, cols, cols});
    return out;
}

// Row i of iB below row i of B.
void turn_row(const double* row, double* turned, std::size_t length)
{
    for (std::size_t j = 0; j < length; j += 2) {
        turned[j] = -row[j + 1];
        turned[j + 1] = row[j];
    }
}

// [P; Q] becomes [W; iW] with W = P - i·Q.
void combine_parts(std::vector<double>& w, std::size_t depth, std::size_t length)
{
    for (std::size_t t = 0; t < depth; ++t) {
        double* const p = w.data() + t * length;
        double* const q = p + depth * length;
        for (std::size_t j = 0; j < length; j += 2) {
            p[j] += q[j + 1];
            p[j + 1] -= q[j];
        }
        turn_row(p, q, length);
    }
}

} // namespace

template <>
void add_thin_product(block_view<const double> a, block_view<const double> b, block_view<double> c)
{
    add_product<double>(a, b, c);
}

template <>
void add_thin_product(block_view<const complex> a, block_view<const complex> b,
                      block_view<complex> c)
{
    const std::vector<double> left = parts_beside(a);
    const std::size_t length = 2 * b.cols;
    std::vector<double> right = uninitialized<double>(2 * b.rows * length);
    for (std::size_t t = 0; t < b.rows; ++t) {
        double* const row = right.data() + t * length;
        std::copy_n(reinterpret_cast<const double*>(b.row(t)), length, row);
        turn_row(row, row + b.rows * length, length);
    }
    add_product<double>({left.data(), a.rows, 2 * a.cols, 2 * a.cols},
                        {right.data(), 2 * b.rows, length, length}, real_view(c));
}

template <class T>
thin_update<T>::thin_update(block_view<const T> v, const std::vector<T>& vf)
    : rows(v.rows), depth(v.cols), adjoint(transposed_parts(v)),
      left(parts_beside(block_view<const T>{vf.data(), v.rows, v.cols, v.cols}))
{
}

template <class T>
void thin_update<T>::apply_to(block_view<T> c) const
{
    const std::size_t wanted =
        std::clamp(slab_bytes / (rows * sizeof(T)), least_slab, greatest_slab);
    const std::size_t slabs = (c.cols + wanted - 1) / wanted;
    const auto update_slab = [&](std::size_t s) {
        apply_to_slab(c.sub(0, c.rows, c.cols * s / slabs, c.cols * (s + 1) / slabs));
    };
    parallel_for(slabs, wanted * rows * depth / 2, update_slab);
}

template <class T>
void thin_update<T>::apply_to_slab(block_view<T> c) const
{
    const std::size_t terms = parts<T> * depth;
    const block_view<double> numbers = real_view(c);
    std::vector<double> w(terms * numbers.cols);
    const block_view<double> product{w.data(), terms, numbers.cols, numbers.cols};
    add_product<double>({adjoint.data(), terms, rows, rows}, numbers, product);
    if constexpr (parts<T> == 2)
        combine_parts(w, depth, numbers.cols);
    add_product<double>({left.data(), rows, terms, terms}, product, numbers);
}

template class thin_update<double>;
template class thin_update<complex>;

} // namespace numerical::detail

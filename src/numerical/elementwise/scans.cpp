#include "numerical/elementwise/scans.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/checks.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <complex>

namespace numerical::detail {
namespace {

using complex = std::complex<double>;

double times_in_order(double x, double y)
{
    return x * y;
}

complex times_in_order(const complex& x, const complex& y)
{
    return {x.real() * y.real() - x.imag() * y.imag(), x.real() * y.imag() + x.imag() * y.real()};
}

template <class T>
T product_of_run(const T* p, std::size_t n)
{
    T product(1);
    std::size_t i = 0;
    if (n >= 8) {
        T r[8];
        std::copy_n(p, 8, r);
        for (i = 8; i + 8 <= n; i += 8)
            for (std::size_t j = 0; j < 8; ++j)
                r[j] = times_in_order(r[j], p[i + j]);
        product =
            times_in_order(times_in_order(times_in_order(r[0], r[1]), times_in_order(r[2], r[3])),
                           times_in_order(times_in_order(r[4], r[5]), times_in_order(r[6], r[7])));
    }
    for (; i < n; ++i)
        product = times_in_order(product, p[i]);
    return product;
}

// products[k] times the numbers of column k of `rows` rows, one after the other.
template <std::size_t rows, class T>
void multiply_by_rows(const T* __restrict first, std::size_t width, T* __restrict products)
{
    for (std::size_t k = 0; k < width; ++k) {
        T product = products[k];
#pragma GCC unroll 4
        for (std::size_t r = 0; r < rows; ++r)
            product = times_in_order(product, first[r * width + k]);
        products[k] = product;
    }
}

// Four rows in a pass, for which the products are loaded and stored once.
template <class T>
void multiply_down_rows(const T* rows, std::size_t count, std::size_t width, T* products)
{
    std::fill_n(products, width, T(1));
    std::size_t i = 0;
    for (; i + 4 <= count; i += 4)
        multiply_by_rows<4>(rows + i * width, width, products);
    for (; i < count; ++i)
        multiply_by_rows<1>(rows + i * width, width, products);
}

template <class T, class Join>
aligned_vector<T> running(const T* data, const walk_shape& walk, const Join& join)
{
    const std::size_t stretch = checked_mul(walk.extent, walk.inner);
    aligned_vector<T> out = uninitialized<T>(checked_mul(walk.outer, stretch));
    for (std::size_t first = 0; first < out.size(); first += stretch) {
        const T* from = data + first;
        T* to = out.data() + first;
        std::copy_n(from, walk.inner, to);
        if (walk.inner == 1) {
            T before = from[0];
            for (std::size_t i = 1; i < walk.extent; ++i)
                to[i] = before = join(before, from[i]);
            continue;
        }
        for (std::size_t i = walk.inner; i < stretch; i += walk.inner)
            for (std::size_t k = 0; k < walk.inner; ++k)
                to[i + k] = join(to[i + k - walk.inner], from[i + k]);
    }
    return out;
}

} // namespace

template <class T>
aligned_vector<T> products(const T* data, const walk_shape& walk)
{
    aligned_vector<T> out = uninitialized<T>(checked_mul(walk.outer, walk.inner));
    if (out.empty())
        return out;
    for (std::size_t o = 0; o < walk.outer; ++o) {
        const T* from = data + o * walk.extent * walk.inner;
        if (walk.inner == 1)
            out[o] = product_of_run(from, walk.extent);
        else
            multiply_down_rows(from, walk.extent, walk.inner, out.data() + o * walk.inner);
    }
    return out;
}

template <class T>
aligned_vector<T> running_sums(const T* data, const walk_shape& walk)
{
    return running(data, walk, [](const T& x, const T& y) { return x + y; });
}

template <class T>
aligned_vector<T> running_products(const T* data, const walk_shape& walk)
{
    return running(data, walk, [](const T& x, const T& y) { return times_in_order(x, y); });
}

template aligned_vector<double> products(const double*, const walk_shape&);
template aligned_vector<complex> products(const complex*, const walk_shape&);
template aligned_vector<double> running_sums(const double*, const walk_shape&);
template aligned_vector<complex> running_sums(const complex*, const walk_shape&);
template aligned_vector<double> running_products(const double*, const walk_shape&);
template aligned_vector<complex> running_products(const complex*, const walk_shape&);

} // namespace numerical::detail

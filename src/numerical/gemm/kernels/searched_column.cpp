#include "numerical/gemm/kernels/searched_column.hpp"

#include "numerical/gemm/path.hpp"
#include "numerical/scalar.hpp"

#include <bit>
#include <cmath>
#include <cstdint>

namespace numerical::detail {
namespace {

double search_size(double x)
{
    return std::abs(x);
}

double search_size(const complex& z)
{
    return z.real() * z.real() + z.imag() * z.imag();
}

bool is_set(double mask)
{
    return std::bit_cast<std::uint64_t>(mask) != 0;
}

bool is_set(const complex& mask)
{
    return is_set(mask.real());
}

template <class T>
largest_in_column plain_update_and_search(const column_update<T>& update)
{
    for (std::size_t t = 0; t < update.count; ++t)
        for (std::size_t i = 0; i < update.n; ++i)
            update.column[i] -= update.coefficients[t] * update.columns[t * update.stride + i];
    largest_in_column found{0, 0};
    for (std::size_t i = 0; i < update.n; ++i) {
        if (!is_set(update.left[i]))
            update.column[i] = T(0);
        if (const double size = search_size(update.column[i]);
            size > found.size && is_set(update.searched[i]))
            found = {size, i};
    }
    return found;
}

} // namespace

template <>
largest_in_column update_and_search_on(int path, const column_update<double>& update)
{
    return choose(path, plain_update_and_search<double>, avx2_update_and_search,
                  avx512_update_and_search)(update);
}

template <>
largest_in_column update_and_search_on(int path, const column_update<complex>& update)
{
    return choose(path, plain_update_and_search<complex>, avx2_update_and_search_complex,
                  avx512_update_and_search_complex)(update);
}

} // namespace numerical::detail

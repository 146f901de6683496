#include "package/creation.hpp"

#include "numerical/checks.hpp"
#include "numerical/storage.hpp"
#include "package/parameters.hpp"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace numerical::package {
namespace {

using boundary::wrap;

// The places of row i at which diagonal k begins, and where it has ended one place behind; equal
// where the diagonal misses the row. 128 bits, as k may be any int.
std::size_t place_in_row(std::size_t row, std::ptrdiff_t k, std::size_t behind, std::size_t cols)
{
    const __int128 place = static_cast<__int128>(row) + k + static_cast<__int128>(behind);
    return static_cast<std::size_t>(std::clamp<__int128>(place, 0, static_cast<__int128>(cols)));
}

enum class filled { diagonal, lower };

template <class T>
PyObject* ones_of(const shape_list& shape, std::ptrdiff_t k, filled what)
{
    const std::size_t cols = shape[1];
    std::vector<T> data = detail::zeros<T>(detail::element_count(shape));
    if (!data.empty())
        for (std::size_t row = 0; row < shape[0]; ++row) {
            const std::size_t first = what == filled::diagonal ? place_in_row(row, k, 0, cols) : 0;
            const std::size_t last = place_in_row(row, k, 1, cols);
            std::fill(data.data() + row * cols + first, data.data() + row * cols + last, T(1));
        }
    return wrap(tensor<T>(shape, std::move(data)));
}

PyObject* ones_call(const binding::signature<4>& signature, const binding::call_arguments& call,
                    filled what)
{
    const auto [n, m, k, is_complex] = signature.bind(call);
    const shape_list rows = shape_parameter(n, "n");
    const shape_list cols = shape_parameter(m, "m");
    const shape_list shape{rows.at(0), cols.at(0)};
    const std::ptrdiff_t diagonal = integer_parameter(k, "k");
    return flag_parameter(is_complex) ? ones_of<complex>(shape, diagonal, what)
                                      : ones_of<double>(shape, diagonal, what);
}

template <class T>
PyObject* with_diagonal(const tensor<T>& v, std::ptrdiff_t k)
{
    constexpr std::ptrdiff_t most = std::ptrdiff_t{1} << 30; // n·n stays below 2^62
    if (k <= -most || k >= most)
        binding::fail(PyExc_ValueError, "diag: a tensor has fewer than 2**60 elements");
    const auto away = static_cast<std::size_t>(std::abs(k));
    const std::size_t n = v.data.size() + away;
    std::vector<T> data = detail::zeros<T>(detail::checked_mul(n, n));
    T* to = data.data() + (k >= 0 ? away : away * n);
    for (const T& x : v.data) {
        *to = x;
        to += n + 1;
    }
    return wrap(tensor<T>({n, n}, std::move(data)));
}

} // namespace

PyObject* eye(const binding::call_arguments& call)
{
    static constexpr binding::signature<4> signature{"eye", {"n", "m", "k", "complex"}};
    return ones_call(signature, call, filled::diagonal);
}

PyObject* tri(const binding::call_arguments& call)
{
    static constexpr binding::signature<4> signature{"tri", {"n", "m", "k", "complex"}};
    return ones_call(signature, call, filled::lower);
}

PyObject* diagonal_matrix(const binding::call_arguments& call)
{
    static constexpr binding::signature<2> signature{"diagonal_matrix", {"v", "k"}};
    const auto [given, diagonal] = signature.bind(call);
    const operand v(given);
    const std::ptrdiff_t k = integer_parameter(diagonal, "k");
    return by_type(v, [&](const auto& x) { return with_diagonal(x, k); });
}

} // namespace numerical::package

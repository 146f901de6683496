#include "package/creation.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/checks.hpp"
#include "numerical/elementwise/numbers.hpp"
#include "numerical/elementwise/reductions.hpp"
#include "numerical/storage.hpp"
#include "package/parameters.hpp"
#include "package/unlocked.hpp"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string>
#include <utility>

namespace numerical::package {
namespace {

// The column of diagonal k in row i, and the one after it; equal if the diagonal misses the row. In
// 128 bits, as k may be any int.
std::size_t place_in_row(std::size_t row, std::ptrdiff_t k, std::size_t behind, std::size_t cols)
{
    const __int128 place = static_cast<__int128>(row) + k + static_cast<__int128>(behind);
    return static_cast<std::size_t>(std::clamp<__int128>(place, 0, static_cast<__int128>(cols)));
}

enum class ones_at { diagonal, lower };

template <class T>
tensor<T> ones_of(const shape_list& shape, std::ptrdiff_t k, ones_at what)
{
    const std::size_t cols = shape[1];
    aligned_vector<T> data = detail::zeros<T>(detail::element_count(shape));
    if (!data.empty())
        for (std::size_t row = 0; row < shape[0]; ++row) {
            const std::size_t first = what == ones_at::diagonal ? place_in_row(row, k, 0, cols) : 0;
            const std::size_t last = place_in_row(row, k, 1, cols);
            std::fill(data.data() + row * cols + first, data.data() + row * cols + last, T(1));
        }
    return tensor<T>(shape, std::move(data));
}

PyObject* ones_call(const binding::signature<4>& signature, const binding::call_arguments& call,
                    ones_at what)
{
    const auto [n, m, k, is_complex] = signature.bind(call);
    const shape_list rows = shape_parameter(n, "n");
    const shape_list cols = shape_parameter(m, "m");
    const shape_list shape{rows.front(), cols.front()};
    const std::ptrdiff_t diagonal = integer_parameter(k, "k");
    const std::size_t count = detail::element_count(shape);
    if (flag_parameter(is_complex))
        return wrap(unlocked(count, [&] { return ones_of<complex>(shape, diagonal, what); }));
    return wrap(unlocked(count, [&] { return ones_of<double>(shape, diagonal, what); }));
}

template <class T>
tensor<T> with_diagonal(const tensor<T>& v, std::ptrdiff_t k)
{
    const auto away = static_cast<std::size_t>(std::abs(k));
    const std::size_t n = v.data.size() + away;
    aligned_vector<T> data = detail::zeros<T>(detail::checked_mul(n, n));
    T* to = data.data() + (k >= 0 ? away : away * n);
    for (const T& x : v.data) {
        *to = x;
        to += n + 1;
    }
    return tensor<T>({n, n}, std::move(data));
}

template <class T>
PyObject* diagonal_matrix(const tensor<T>& v, std::ptrdiff_t k)
{
    constexpr std::ptrdiff_t most = std::ptrdiff_t{1} << 30; // n·n stays below 2^62
    if (k <= -most || k >= most)
        binding::fail(PyExc_ValueError, "diag: a tensor has fewer than 2**60 elements");
    const std::size_t n = v.data.size() + static_cast<std::size_t>(std::abs(k));
    return wrap(unlocked(detail::checked_mul(n, n), [&] { return with_diagonal(v, k); }));
}

// The number of the diagonal; one for all diagonals that lie outside of every matrix.
std::ptrdiff_t diagonal_parameter(PyObject* object, const char* name)
{
    constexpr std::ptrdiff_t far = std::ptrdiff_t{1} << 61;
    return std::clamp(integer_parameter(object, name), -far, far);
}

// Diagonal k of each matrix of a stack.
template <class T>
aligned_vector<T> diagonals(const tensor<T>& a, std::ptrdiff_t k, std::size_t& length)
{
    const std::size_t rows = a.shape.end()[-2];
    const std::size_t cols = a.shape.end()[-1];
    const std::size_t row =
        std::min(rows, static_cast<std::size_t>(std::max<std::ptrdiff_t>(-k, 0)));
    const std::size_t col =
        std::min(cols, static_cast<std::size_t>(std::max<std::ptrdiff_t>(k, 0)));
    length = std::min(rows - row, cols - col);
    const std::size_t count = length == 0 ? 0 : a.data.size() / (rows * cols);
    aligned_vector<T> data = detail::uninitialized<T>(count * length);
    T* to = data.data();
    for (std::size_t i = 0; i < count; ++i) {
        const T* from = a.data.data() + i * rows * cols + row * cols + col;
        for (std::size_t j = 0; j < length; ++j, from += cols + 1)
            *to++ = *from;
    }
    return data;
}

template <class T>
tensor<T> diagonal_of(const tensor<T>& a, std::ptrdiff_t k)
{
    std::size_t length = 0;
    aligned_vector<T> data = diagonals(a, k, length);
    return tensor<T>({length}, std::move(data));
}

template <class T>
tensor<T> traces_of(const tensor<T>& a, std::ptrdiff_t k)
{
    std::size_t length = 0;
    const aligned_vector<T> data = diagonals(a, k, length);
    shape_list lead(a.shape.begin(), a.shape.end() - 2);
    const std::size_t count = detail::element_count(lead);
    return tensor<T>(std::move(lead), detail::sums(data.data(), {count, length, 1}));
}

} // namespace

// Fills in blocks short enough for plain stores: as nothing is read, non-temporal ones gain
// nothing.
tensor<double> filled_with(double value, shape_list&& shape)
{
    const std::size_t count = tensor_size(shape);
    if (value == 0 && !std::signbit(value))
        return tensor<double>(std::move(shape), detail::zeros<double>(count));
    constexpr std::uint8_t yes = 1;
    aligned_vector<double> data = detail::uninitialized<double>(count);
    constexpr std::size_t block = 4096;
    const auto fill = detail::numbers_in_force().choices[0];
    for (std::size_t i = 0; i < count; i += block)
        fill(&yes, &value, &value, data.data() + i, std::min(block, count - i));
    return tensor<double>(std::move(shape), std::move(data));
}

PyObject* eye(const binding::call_arguments& call)
{
    static constexpr binding::signature<4> signature{"eye", {"n", "m", "k", "complex"}};
    return ones_call(signature, call, ones_at::diagonal);
}

PyObject* tri(const binding::call_arguments& call)
{
    static constexpr binding::signature<4> signature{"tri", {"n", "m", "k", "complex"}};
    return ones_call(signature, call, ones_at::lower);
}

PyObject* diag(const binding::call_arguments& call)
{
    static constexpr binding::signature<2> signature{"diag", {"v", "k"}};
    const auto [given, diagonal] = signature.bind(call);
    const operand v(given);
    const std::ptrdiff_t k = diagonal_parameter(diagonal, "k");
    if (v.rank() != 1 && v.rank() != 2)
        binding::fail(PyExc_ValueError, "diag takes a vector or a matrix, not a tensor of rank " +
                                            std::to_string(v.rank()));
    return by_type(v, [&](const auto& x) {
        return v.rank() == 1 ? diagonal_matrix(x, k) : wrap(diagonal_of(x, k));
    });
}

PyObject* trace(const binding::call_arguments& call)
{
    static constexpr binding::signature<2> signature{"trace", {"a", "offset"}};
    const auto [given, offset] = signature.bind(call);
    const operand a(given);
    const std::ptrdiff_t k = diagonal_parameter(offset, "offset");
    if (a.rank() < 2)
        binding::fail(PyExc_ValueError,
                      "trace takes a matrix or a stack of them, not a tensor of rank " +
                          std::to_string(a.rank()));
    return by_type(a, [&](const auto& x) { return number_or_tensor(traces_of(x, k)); });
}

PyObject* filled(const binding::call_arguments& call)
{
    static constexpr binding::signature<2> signature{"filled", {"shape", "value"}};
    const auto [extents, value] = signature.bind(call);
    const double number = real_parameter(value, "value", 0.0);
    shape_list shape = shape_parameter(extents);
    return wrap(
        unlocked(tensor_size(shape), [&] { return filled_with(number, std::move(shape)); }));
}

} // namespace numerical::package

#include "numerical/elementwise/arithmetic.hpp"

#include "numerical/elementwise/arithmetic_kernels.hpp"
#include "numerical/elementwise/unary.hpp"
#include "numerical/elementwise/vector_boundary.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/broadcast.hpp"

#include <algorithm>
#include <complex>

namespace numerical {
namespace detail {

const arithmetic_kernels& arithmetic_in_force()
{
    return avx2_in_force(gemm_path_current()) ? avx2_unfused_arithmetic : portable_arithmetic;
}

} // namespace detail

namespace {

using detail::as_doubles;
using detail::complex;
using detail::row_form;
using detail::rows_by_form;

// The addresses of one row's operands and result.
template <class T>
struct row_place
{
    row_form form;
    const T* left;
    const T* right;
    T* out;

    row_place after(std::size_t n) const
    {
        return {.form = form,
                .left = form == row_form::right ? left : left + n,
                .right = form == row_form::left ? right : right + n,
                .out = out + n};
    }
};

template <class Row, class T>
auto run(const rows_by_form<Row>& rows, const row_place<T>& at, std::size_t n)
{
    return rows.by_form[static_cast<int>(at.form)](as_doubles(at.left), as_doubles(at.right),
                                                   as_doubles(at.out), n);
}

// Applies the kernels `few` to rows of less than 16 elements and `many` to longer ones.
template <class Row, class T>
tensor<T> by_rows(const rows_by_form<Row>& few, const rows_by_form<Row>& many, const tensor<T>& a,
                  const tensor<T>& b)
{
    return detail::broadcast_rows<T>(
        a, b, [&few, &many](row_form form, const T* x, const T* y, T* out, std::size_t n) {
            const rows_by_form<Row>& rows = n < 16 ? few : many;
            const row_place<T> at{.form = form, .left = x, .right = y, .out = out};
            const std::size_t lead = detail::before_boundary(out, n);
            if (lead == 0) {
                run(rows, at, n);
                return;
            }
            run(rows, at, lead);
            run(rows, at.after(lead), n - lead);
        });
}

// Computes a row again by `full`, the built-in operator with the rules of C99 Annex G.
template <class Full>
void recover(const row_place<complex>& at, std::size_t n, Full full)
{
    const std::size_t step_left = at.form == row_form::right ? 0 : 1;
    const std::size_t step_right = at.form == row_form::left ? 0 : 1;
    for (std::size_t j = 0; j < n; ++j)
        at.out[j] = full(at.left[j * step_left], at.right[j * step_right]);
}

// Computes a row by the vector formula, a block at a time. A block in which the formula may have
// failed is recomputed by `full` while it is still in L1.
template <class Full>
void checked_row(const rows_by_form<detail::checked_row>& rows, std::size_t block,
                 row_place<complex> at, std::size_t n, Full full)
{
    for (std::size_t count = detail::before_boundary(at.out, n); n != 0;) {
        if (run(rows, at, count))
            recover(at, count, full);
        at = at.after(count);
        n -= count;
        count = std::min(block, n);
    }
}

void product_row(const row_place<complex>& at, std::size_t n)
{
    constexpr std::size_t block = 512;
    checked_row(detail::arithmetic_in_force().products, block, at, n,
                [](const complex& x, const complex& y) { return x * y; });
}

// A quotient by the full rules takes as long as a dozen by the vector formula: hence the small
// blocks.
void quotient_row(const row_place<complex>& at, std::size_t n)
{
    constexpr std::size_t block = 64;
    const auto full = [](const complex& x, const complex& y) { return x / y; };
    if (detail::avx2_in_force(detail::gemm_path_current()))
        checked_row(detail::avx2_unfused_complex_quotients, block, at, n, full);
    else
        recover(at, n, full);
}

void complex_row(arithmetic_operation operation, const row_place<complex>& at, std::size_t n)
{
    if (operation == arithmetic_operation::divide)
        quotient_row(at, n);
    else if (operation == arithmetic_operation::multiply)
        product_row(at, n);
    else
        run(detail::arithmetic_in_force().complex[static_cast<int>(operation)], at, n);
}

template <class Row, class T>
tensor<T> by_rows(const rows_by_form<Row>& rows, const tensor<T>& a, const tensor<T>& b)
{
    return by_rows(rows, rows, a, b);
}

tensor<double> by_operator(arithmetic_operation operation, const tensor<double>& a,
                           const tensor<double>& b)
{
    const auto& rows = detail::arithmetic_in_force().real[static_cast<int>(operation)];
    if (operation == arithmetic_operation::divide &&
        detail::gemm_path_current() == detail::avx512_path)
        return by_rows(rows, detail::avx512_quotients, a, b);
    return by_rows(rows, a, b);
}

tensor<complex> by_operator(arithmetic_operation operation, const tensor<complex>& a,
                            const tensor<complex>& b)
{
    if (operation == arithmetic_operation::divide || operation == arithmetic_operation::multiply)
        return detail::broadcast_rows<complex>(
            a, b,
            [operation](row_form form, const complex* x, const complex* y, complex* out,
                        std::size_t n) {
                complex_row(operation, {.form = form, .left = x, .right = y, .out = out}, n);
            });
    return by_rows(detail::arithmetic_in_force().complex[static_cast<int>(operation)], a, b);
}

tensor<double> square(const tensor<double>& a)
{
    return by_operator(arithmetic_operation::multiply, a, a);
}

// By the textbook formula, without recovery of infinities.
tensor<complex> square(const tensor<complex>& a)
{
    return by_rows(detail::arithmetic_in_force().products, a, a);
}

template <class T>
tensor<T> reciprocal(const tensor<T>& a)
{
    const tensor<T> one({}, {T(1)});
    return by_operator(arithmetic_operation::divide, one, a);
}

// The elements of a row as complex numbers; a real row is widened into `block`.
const complex* widened(const complex* row, std::size_t, complex*)
{
    return row;
}

const complex* widened(const double* row, std::size_t n, complex* block)
{
    std::copy_n(row, n, block);
    return block;
}

template <class T, class U>
tensor<complex> mixed_arithmetic(arithmetic_operation operation, const tensor<T>& a,
                                 const tensor<U>& b)
{
    constexpr std::size_t block = 256;
    complex left[block]; // outside the row loop: a complex array is cleared where it is declared
    complex right[block];
    const auto mixed_row = [&, operation](row_form form, const T* x, const U* y, complex* out,
                                          std::size_t n) {
        for (std::size_t first = 0; first < n; first += block) {
            const std::size_t count = std::min(block, n - first);
            const bool left_moves = form != row_form::right;
            const bool right_moves = form != row_form::left;
            const complex* in_left =
                widened(left_moves ? x + first : x, left_moves ? count : 1, left);
            const complex* in_right =
                widened(right_moves ? y + first : y, right_moves ? count : 1, right);
            complex_row(operation,
                        {.form = form, .left = in_left, .right = in_right, .out = out + first},
                        count);
        }
    };
    return detail::broadcast_rows<complex>(a, b, mixed_row);
}

template <class T>
tensor<T> power(const tensor<T>& a, const tensor<T>& b)
{
    const bool single = b.data.size() == 1 && a.shape.size() >= b.shape.size();
    if (!single)
        return pow(a, b);
    const T exponent = b.data[0]; // complex: equal to a real number if the imaginary part is zero
    if (exponent == 2.0)
        return square(a);
    if (exponent == 0.5)
        return square_roots(a);
    if (exponent == -1.0)
        return reciprocal(a);
    return pow(a, b);
}

} // namespace

template <class T>
tensor<T> arithmetic(arithmetic_operation operation, const tensor<T>& a, const tensor<T>& b)
{
    if (operation == arithmetic_operation::power)
        return power(a, b);
    return by_operator(operation, a, b);
}

tensor<complex> arithmetic(arithmetic_operation operation, const tensor<double>& a,
                           const tensor<complex>& b)
{
    return mixed_arithmetic(operation, a, b);
}

tensor<complex> arithmetic(arithmetic_operation operation, const tensor<complex>& a,
                           const tensor<double>& b)
{
    return mixed_arithmetic(operation, a, b);
}

template tensor<double> arithmetic(arithmetic_operation, const tensor<double>&,
                                   const tensor<double>&);
template tensor<complex> arithmetic(arithmetic_operation, const tensor<complex>&,
                                    const tensor<complex>&);

} // namespace numerical

#pragma once

// Systems with a triangle of a matrix or its transpose, for any number of right-hand sides.
//
// The triangle is cut in halves: the first half of the unknowns is solved, a product subtracts them
// from the other equations, and the second half is solved. All work except that of the small
// triangles on the diagonal is then in products of large blocks, and a single right-hand side reads
// the triangle once. Backward stable for each right-hand side (Higham 2002, section 8.1). Results
// don't depend on the number of threads. T = double or std::complex<double>.

#include "numerical/gemm/block_view.hpp"
#include "numerical/systems/forms.hpp"

#include <cstddef>

namespace numerical {

enum class triangle_half { lower, upper };
enum class triangle_diagonal { stored, ones };

// The lower or upper triangle of the square matrix `of`, with its diagonal or with ones in its
// place. Other elements are never used.
template <class T>
struct triangle
{
    detail::block_view<const T> of;
    triangle_half half;
    triangle_diagonal diagonal = triangle_diagonal::stored;

    bool is_lower() const { return half == triangle_half::lower; }

    bool has_ones() const { return diagonal == triangle_diagonal::ones; }
};

// Up to this many right-hand sides are substituted one by one, with the same bits as each alone.
constexpr std::size_t substituted_one_by_one = 3;

// Whether an element on the diagonal, by which substitution divides, is zero.
template <class T>
bool is_singular(const triangle<T>& t);

// X := M⁻¹·X, where M is the triangle, its transpose or its adjoint. The rows of X are contiguous,
// x.stride = x.cols. Nothing is checked: a zero on the diagonal gives infinities or NaN.
template <class T>
void solve_triangle(const triangle<T>& t, matrix_form form, detail::block_view<T> x);

// X := M·X in the same way, vector by vector.
template <class T>
void multiply_triangle(const triangle<T>& t, matrix_form form, detail::block_view<T> x);

// 1/(‖M‖₁·‖M⁻¹‖₁) for the triangle M, the second norm estimated; 0 if it is singular.
template <class T>
double reciprocal_condition(const triangle<T>& t);

} // namespace numerical

#pragma once

// The inner step of an LU panel, in an AVX2 and an AVX-512 form. Declarations only, so it may be
// included from any target. Counts are in elements; complex data is interleaved (real, imaginary).

#include <cstddef>

namespace numerical::detail {

// Applies a run of factored columns of L to columns right of it. Columns are `stride` apart; `l`
// and `dest` point at their first columns, both at the row of the run's first pivot, from which
// `rows` rows are counted down. For each column c of `dest` the first `run` elements become
// elements of U, u_t = c_t - sum of u_s·l_s[t] over s < t, and the others lose the sum of u_t·l_t,
// in ascending order of t, each step fused (complex: by the real part of u_t, then by the imaginary
// part). 0 < run <= column_run.
//
// The AVX2 form works on the rows below the run in whole vectors, so that up to panel_padding
// elements after the last row are overwritten with meaningless values; a column must end in as many
// spare elements. None is written if the rows below the run are a multiple of four.
constexpr std::size_t column_run = 4;
constexpr std::size_t panel_padding = 3;

void avx2_apply_columns(std::size_t run, const double* l, double* dest, std::size_t dest_columns,
                        std::size_t stride, std::size_t rows);
void avx512_apply_columns(std::size_t run, const double* l, double* dest, std::size_t dest_columns,
                          std::size_t stride, std::size_t rows);
void avx2_apply_complex_columns(std::size_t run, const double* l, double* dest,
                                std::size_t dest_columns, std::size_t stride, std::size_t rows);
void avx512_apply_complex_columns(std::size_t run, const double* l, double* dest,
                                  std::size_t dest_columns, std::size_t stride, std::size_t rows);

// One step of the elimination of real columns, in a pass: the elements below the pivot of the run's
// last column, which the columns before have been applied to, are divided by it, and the run is
// applied to the column right of it as above. Returns the row, counted from the run's first pivot,
// of the first element of greatest magnitude below the run in that column; NaNs are passed over,
// unless the first is one: then it is the first. run < rows, and nothing after a column's last row
// is touched.
std::size_t avx2_eliminate_next_column(std::size_t run, double* l, std::size_t stride,
                                       std::size_t rows);
std::size_t avx512_eliminate_next_column(std::size_t run, double* l, std::size_t stride,
                                         std::size_t rows);

} // namespace numerical::detail

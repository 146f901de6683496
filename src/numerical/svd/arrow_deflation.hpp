#pragma once

// The columns of an arrow, a first row z over a diagonal, that need no solving.

#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/merge_columns.hpp"

#include <cstddef>
#include <vector>

namespace numerical::detail {

// The two solved halves of an n × m problem, torn at row k: columns 1 .. k of the vectors belong
// to the upper half, columns k + 1 .. n - 1 to the lower one, and column 0 to the torn row.
struct torn_problem
{
    std::size_t k;
    double alpha; // the torn row's diagonal entry
    double beta;  // and its coupling to the right
    aligned_vector<double> z;
};

// The rows in which a column of a basis may be non-zero.
constexpr unsigned int upper_rows = 1;
constexpr unsigned int torn_row = 2;
constexpr unsigned int lower_rows = 4;

// Where an arrow's entry z is negligible, the column is a singular vector already. Where two
// diagonal entries are equal to rounding, or one is as good as the zero of column 0, a rotation
// makes one of the two z vanish.
class arrow_deflation
{
public:
    arrow_deflation(const aligned_vector<double>& diagonal, torn_problem& torn, std::size_t m);

    merge_partition partition;
    std::vector<unsigned int> left_type;
    std::vector<unsigned int> right_type;
    std::vector<column_rotation> left_rotations;
    std::vector<column_rotation> right_rotations;

private:
    void deflate_against_first(aligned_vector<double>& z, std::size_t column);
    void deflate_pair(aligned_vector<double>& z, std::size_t prev, std::size_t column);
};

} // namespace numerical::detail

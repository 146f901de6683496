#pragma once

// The problems at the leaves of divide and conquer.

#include "numerical/eigen/merge_columns.hpp"
#include "numerical/eigen/plane_rotation.hpp"
#include "numerical/svd/bidiagonal_qr.hpp"
#include "numerical/svd/bidiagonal_vectors.hpp"

#include <cmath>
#include <cstddef>
#include <vector>

namespace numerical::detail {

constexpr std::size_t leaf_steps = 30; // for each value, at most

// n diagonal entries, and couplings up to the column after the last one where `extra` is 1.
struct bidiagonal_problem
{
    const double* d;
    const double* e;
    std::size_t n;
    std::size_t extra;

    std::size_t columns() const { return n + extra; }
};

inline plane_rotation rotation_by_hypot(double x, double y)
{
    return rotation_of(x, y, std::hypot(x, y));
}

// A problem whose largest entry a power of two has brought to [0.5, 1), so that the tolerances of
// the iteration and of the merges are relative to it.
class scaled_problem
{
public:
    explicit scaled_problem(const bidiagonal_problem& of);

    bidiagonal_problem problem() const
    {
        return {
            .d = entries.d.data(), .e = entries.e.data(), .n = entries.d.size(), .extra = extra};
    }

    void scale_back(double* values) const;

    bidiagonal_entries entries; // with zeros beyond the last coupling

private:
    std::size_t extra;
    int exponent = 0;
};

// A problem for the iteration. Only the wanted rows of v are rotated: all, or the first and the
// last one.
class bidiagonal_leaf
{
public:
    explicit bidiagonal_leaf(const bidiagonal_problem& problem);

    void iterate();
    static void iterate(bidiagonal_leaf& a, bidiagonal_leaf& b);

    // After the iteration: singular values ascending, and their vectors.
    void place(double* values, const bidiagonal_vectors& vectors) const;

private:
    scaled_problem scaled;
    std::vector<column_rotation> absorbing;
    bidiagonal_operations operations;

    void place_right(const block_view<double>& v, bool complete) const;
};

} // namespace numerical::detail

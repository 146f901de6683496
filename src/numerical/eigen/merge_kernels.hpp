#pragma once

// The loops over pairs of poles and roots in a merge of the eigenproblem, which divisions bound, in
// two forms with the same bits: nothing is fused, and every element has its own order. Root q is
// origin[q] + tau[q]; the distance of a pole x from it is (x - origin[q]) - tau[q].
// Paired kernels have two quotients or more from one division, for results whose bits are free:
// what is said of the single ones holds of them but for the rounding. Declarations only, so it may
// be included from any target.

#include <cstddef>

namespace numerical::detail {

enum class quotient_form { single, paired };

// Poles d and roots of a rank-one problem. Borrowed.
struct pole_root_pairs
{
    const double* d;
    const double* origin;
    const double* tau;
};

struct merge_kernels
{
    // product[i] *= distance(d[first + i], root j)/(d[first + i] - d[j]) for i < count, j ascending
    // over [from, to).
    void (*multiply_ratios)(double* product, const pole_root_pairs& pairs, std::size_t first,
                            std::size_t count, std::size_t from, std::size_t to);

    // sums[q] += (z[p]/distance(d[p], root first + q))² for q < count, p ascending over [0, size).
    void (*add_squares)(double* sums, const pole_root_pairs& pairs, const double* z,
                        std::size_t size, std::size_t first, std::size_t count);

    // row[q] = z/distance(pole, root q)/norms[q] for q < count.
    void (*divide_row)(double* row, const pole_root_pairs& pairs, double z, double pole,
                       const double* norms, std::size_t count);
};

extern const merge_kernels portable_merge_kernels;
extern const merge_kernels avx2_unfused_merge_kernels;

// multiply_ratios takes four ratios as the quotient of two products, from the first j on;
// add_squares two elements as z·y/(x·y), and divide_row one as z over the product of distance and
// norm. What is left of an even number is single.
extern const merge_kernels portable_paired_merge_kernels;
extern const merge_kernels avx2_unfused_paired_merge_kernels;

} // namespace numerical::detail

#pragma once

// A list of row operations as the kernels take it. Consecutive chains of one direction become a
// wave over the rows where they overlap; the part of a chain ahead of the wave is applied before
// it, the part behind it afterwards, chain by chain. Both commute with the parts of the other
// chains that they overtake, as they have no row in common with them, so every row still sees its
// operations in the order of the list.

#include "numerical/aligned_vector.hpp"
#include "numerical/eigen/row_operations.hpp"
#include "numerical/gemm/kernels/rotations.hpp"

#include <cstddef>
#include <vector>

namespace numerical::detail {

// One pass over a strip: a wave, a single chain, or one operation by itself.
struct row_pass
{
    enum class shape { wave, chain, single };

    shape kind;
    rotation_wave rotations; // of a wave or chain
    row_operation single;
};

class row_operation_plan
{
public:
    explicit row_operation_plan(row_operation_span operations);
    row_operation_plan(const row_operation_plan&) = delete;
    row_operation_plan& operator=(const row_operation_plan&) = delete;

    std::vector<row_pass> passes;

private:
    // A chain along neighbouring rows. `position` counts rows in the direction of the chain and is
    // that of the moving row of the first rotation.
    struct chain
    {
        const row_operation* first;
        std::size_t length;
        std::ptrdiff_t step;
        std::ptrdiff_t position;
    };

    aligned_vector<double> coefficients;
    double* next_pair; // of the coefficients, not set from here on

    static bool is_chain(row_operation_span operations, const row_operation_run& run);
    static chain chain_of(row_operation_span operations, const row_operation_run& run);
    void add_chains(const chain* chains, std::size_t count);
    bool add_wave(const chain* chains);
    void add_chain(const chain& whole, std::ptrdiff_t from, std::ptrdiff_t to);
    void add_pass(row_pass::shape kind, std::ptrdiff_t step, std::ptrdiff_t from,
                  std::ptrdiff_t to);

    // In a descending chain the moving row is the second one, which the kernels take for the first:
    // the rotation is the same with the sign of s turned.
    void add_pair(const row_operation& rotation, double sign)
    {
        next_pair[0] = rotation.c;
        next_pair[1] = sign * rotation.s;
        next_pair += 2;
    }
};

} // namespace numerical::detail

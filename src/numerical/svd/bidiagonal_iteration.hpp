#pragma once

// The implicitly shifted QR iteration on the two diagonals of a bidiagonal matrix.

#include "numerical/aligned_vector.hpp"
#include "numerical/svd/bidiagonal_operations.hpp"

#include <cstddef>
#include <utility>

namespace numerical::detail {

class bidiagonal_iteration
{
public:
    // Adds to the operations.
    bidiagonal_iteration(aligned_vector<double>& diagonal, aligned_vector<double>& superdiagonal,
                         std::size_t order, std::size_t step_limit,
                         bidiagonal_operations operations)
        : recorded(std::move(operations)), d(diagonal), e(superdiagonal), n(order),
          max_steps(step_limit), remaining(order)
    {
    }

    void run();

    // Two of them, step by step in turn.
    static void run(bidiagonal_iteration& first, bidiagonal_iteration& second);

    bidiagonal_operations recorded;

private:
    // A chase over the block lo .. hi, whose next rotations are those of columns and rows `row` and
    // `row` + 1. Entries of the block that turn out negligible on the way are only noted.
    struct chase
    {
        std::size_t lo;
        std::size_t hi;
        std::size_t row;
        double f;
        double g;
        double d_above; // d[row-1]
        double e_above; // |e[row-2]|, 0 at the top
        bool deflates;
    };

    bool begin_chase();
    void run_on();
    std::size_t block_start(std::size_t hi);
    std::size_t zero_on_diagonal(std::size_t lo, std::size_t hi);
    void deflate_at_bottom(std::size_t lo, std::size_t hi);
    void split_after(std::size_t k, std::size_t hi);
    std::pair<double, double> first_bulge(std::size_t lo, std::size_t hi) const;
    void start(std::size_t lo, std::size_t hi);
    [[gnu::always_inline]] void rotate(chase& at);
    bool end_chase();
    void finish(std::size_t hi);

    aligned_vector<double>& d;
    aligned_vector<double>& e;
    std::size_t n;
    std::size_t max_steps;
    std::size_t steps = 0; // over the whole call
    std::size_t remaining; // entries from here on are final
    chase current;
};

} // namespace numerical::detail

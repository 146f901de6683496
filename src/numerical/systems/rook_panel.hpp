#pragma once

// A panel of the factorization P·A·Pᵀ = L·D·Lᴴ: some columns of L, whose pivots are chosen among
// all rows and columns that are left.
//
// One array holds all: above the diagonal and on it the trailing matrix, below it the finished
// columns of L.
//
//              first last
//            [ .   .   .   .  ]
//      first [ l   w   w   w  ]   The columns W of a panel are updated one by one, when the pivot
//       last [ l   w   a   a  ]   search reaches them, and L = W·D⁻¹ is kept apart. The trailing
//            [ l   w   .   a  ]   matrix stays as it is until the panel is done.
//
// W itself isn't kept: later columns of the panel need a row of it each, the trailing matrix all of
// it, and L·D gives both back to the rounding error that L has.
//
// Until then no rows change places either: those of pivots are zeros in the columns that follow.
//
// A column that the search left without a pivot is kept too, and the next search begins with it:
// it needs only what the pivots since have added. So a panel brings hardly more columns up to date
// than it factors, where searches that begin anew take almost twice as many.

#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/scalar.hpp"
#include "numerical/spread_stride.hpp"
#include "numerical/systems/indefinite.hpp"

#include <array>
#include <cstddef>
#include <vector>

namespace numerical::detail {

struct row_exchange
{
    std::size_t row;
    std::size_t other_row;
};

// A row, and with it a column, that gives its place to a pivot.
struct row_move
{
    std::size_t to;
    std::size_t from;
};

template <class T>
class rook_panel
{
public:
    rook_panel(block_view<const T> upper_triangle, std::size_t panel_width,
               indefinite_decomposition<T>& factors);

    // Factors columns from `from` on and returns the panel's end, which a block of order 2 may
    // extend by one column.
    std::size_t factor(std::size_t from);

    // L of the last panel with its ones and zeros, columns lying as rows, whose elements have come
    // to their places.
    block_view<T> l{nullptr, 0, 0};
    std::vector<row_exchange> exchanges; // that bring the pivots' rows to the panel, one by one
    std::vector<row_move> moves; // what they do to rows beyond it, by places in ascending order

private:
    // A column of the trailing matrix that has lost the products with some columns of the panel.
    struct searched_column
    {
        T* values;
        std::size_t row;   // its number in A; `nowhere` for none
        std::size_t terms; // columns of the panel whose products it has lost
        std::size_t visit; // number of the search's last visit
    };

    struct largest_element
    {
        double size;
        std::size_t place;
    };

    static constexpr std::size_t kept_columns = 4;
    static constexpr std::size_t nowhere = static_cast<std::size_t>(-1);

    int path = gemm_path_current();
    block_view<const T> triangle; // holds the trailing matrix
    symmetry kind;
    std::size_t n;
    std::size_t width;
    indefinite_decomposition<T>& result;
    aligned_vector<T> store;        // of L and the searched columns
    aligned_vector<double> sizes;   // of the elements of a complex column
    aligned_vector<T> coefficients; // of the products that a column loses
    std::array<searched_column, kept_columns> searched;
    std::vector<std::size_t> pivots; // rows, one for each column of the panel
    std::size_t visits = 0;
    std::size_t first = 0;      // column of A at which the panel begins
    std::size_t first_left = 0; // no row before it is left for a pivot

    std::size_t stride() const { return spread_stride<T>(n); }

    // Runs of the panel's columns begin on a line. What they hold before the panel is of no use.
    std::size_t line_of_first() const { return first / line_elements<T> * line_elements<T>; }

    T mirrored(const T& z) const { return kind == symmetry::hermitian ? conjugate(z) : z; }

    void begin(std::size_t from);
    bool is_pivot(std::size_t row) const;
    std::size_t first_visited();
    searched_column& visit(std::size_t row);
    void load(searched_column& column, std::size_t row);
    void set_coefficients(std::size_t from, std::size_t row);
    void bring_up_to_date(searched_column& column);
    double size_of_diagonal(const searched_column& column) const;
    largest_element largest_beside_diagonal(searched_column& column);
    largest_element largest_of(const double* numbers);
    largest_element largest_of(const complex* numbers);
    void take(searched_column& column);
    void take_next_pivot();
    void divide_by_number(std::size_t t, const T* of_w);
    void divide_by_block(std::size_t t, const T* c, const T* d);
    void find_exchanges();
    void exchange_rows();
};

} // namespace numerical::detail

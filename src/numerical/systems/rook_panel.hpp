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
//       last [ l   w   a   a  ]   search reaches them, and -W and L = W·D⁻¹ are kept apart. The
//            [ l   w   .   a  ]   trailing matrix stays as it is until the panel is done.
//
// Until then no rows change places either: those of pivots are zeros in the columns that follow.
//
// A column that the search left without a pivot is kept too, and the next search begins with it:
// it needs only what the pivots since have added. So a panel brings hardly more columns up to date
// than it factors, where searches that begin anew take almost twice as many.

#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/kernels/block_quotients.hpp"
#include "numerical/gemm/kernels/searched_column.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/scalar.hpp"
#include "numerical/spread_stride.hpp"
#include "numerical/systems/indefinite.hpp"

#include <array>
#include <cstddef>
#include <initializer_list>
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
    block_view<T> minus_w{nullptr, 0, 0}; // -W, mirrored, in the rows beyond the panel
    std::vector<row_exchange> exchanges;  // that bring the pivots' rows to the panel, one by one
    std::vector<row_move> moves; // what they do to rows beyond it, by places in ascending order

private:
    // A column of the trailing matrix that has lost the products with some columns of the panel.
    struct searched_column
    {
        T* values;
        std::size_t row;           // its number in A; `nowhere` for none
        std::size_t terms;         // columns of the panel whose products it has lost
        std::size_t visit;         // number of the search's last visit
        largest_in_column largest; // its largest element beside the diagonal
    };

    static constexpr std::size_t kept_columns = 4;
    static constexpr std::size_t nowhere = static_cast<std::size_t>(-1);

    int path = gemm_path_current();
    block_view<const T> triangle; // holds the trailing matrix
    symmetry kind;
    std::size_t n;
    std::size_t width;
    indefinite_decomposition<T>& result;
    aligned_vector<T> store;        // of L, W, the searched columns and the masks
    aligned_vector<double> sizes;   // of the elements of a complex column
    aligned_vector<T> coefficients; // of the products that a column loses
    std::array<searched_column, kept_columns> searched;
    std::vector<std::size_t> pivots; // rows, one for each column of the panel
    T* left = nullptr;               // masks: the rows that aren't pivots,
    T* open = nullptr;               // and those of them that the search compares
    std::size_t visits = 0;
    std::size_t first = 0;      // column of A at which the panel begins
    std::size_t first_left = 0; // no row before it is left for a pivot

    std::size_t stride() const { return spread_stride<T>(n); }

    // Runs of the panel's columns begin on a line. What they hold before the panel is of no use;
    // the masks leave it out.
    std::size_t line_of_first() const { return first / line_elements<T> * line_elements<T>; }

    T mirrored(const T& z) const { return kind == symmetry::hermitian ? conjugate(z) : z; }

    void begin(std::size_t from);
    bool is_pivot(std::size_t row) const;
    std::size_t first_visited();
    searched_column& visit(std::size_t row);
    void load(searched_column& column, std::size_t row);
    void bring_up_to_date(searched_column& column);
    double size_of_diagonal(const searched_column& column) const;
    largest_in_column largest_beside_diagonal(searched_column& column,
                                              const largest_in_column& found);
    largest_in_column largest_modulus_beside_diagonal(searched_column& column);
    void take(searched_column& column);
    void take_next_pivot();
    template <class Number>
    block_quotients<Number> block_at(std::size_t t, std::initializer_list<const T*> w);
    void divide_by_number(std::size_t t, const T* of_w);
    void divide_by_pair(std::size_t t, const T* c, const T* d);
    void find_exchanges();
    void exchange_rows();
};

} // namespace numerical::detail

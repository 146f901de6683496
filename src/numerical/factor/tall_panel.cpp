#include "numerical/factor/tall_panel.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/factor/qr.hpp"
#include "numerical/factor/reflector.hpp"
#include "numerical/factor/reflector_products.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/gemm/kernels/reflected_dots.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/runtime/interruption.hpp"
#include "numerical/scalar.hpp"
#include "numerical/spread_stride.hpp"
#include "numerical/storage.hpp"
#include "numerical/thread_scratch.hpp"

#include <algorithm>
#include <cmath>

namespace numerical::detail {
namespace {

// A vector of such a square norm is left as it is: its products with the shortest columns and the
// longest stay within range.
constexpr double least_moderate_square = 0x1p-40;
constexpr double greatest_moderate_square = 0x1p40;

// A real panel by columns. A reflector takes the place of its column from the diagonal down, but
// isn't brought to unit length: H = I - τ·v·vᵀ. It is applied one pass late, in the pass that forms
// the dots with the next one; only the next reflector's own column is brought up to date before.
class column_panel
{
public:
    explicit column_panel(const tall_panel<double>& of);

    void factorize();

private:
    const tall_panel<double>& panel;
    int path = gemm_path_current();
    std::size_t width;
    std::size_t top; // rows above the block
    std::size_t height;
    thread_scratch<double, column_panel> memory;
    block_view<double> columns; // row l is column l of the panel
    double taus[tall_panel_columns] = {};
    double diagonal[tall_panel_columns];
    double factors[tall_panel_columns] = {};
    double dots[tall_panel_columns];

    void load();
    void make_reflector_of(std::size_t j);
    void make_any_reflector_of(std::size_t j);
    void reflect_late(std::size_t j);
    void store_r() const;
    void store_vectors() const;
    void store_factor() const;
};

column_panel::column_panel(const tall_panel<double>& of)
    : panel(of), width(of.below.cols), top(of.tops == nullptr ? 0 : width),
      height(top + of.below.rows),
      memory(width * spread_stride<double>(height)), columns{memory.data(), width, height,
                                                             spread_stride<double>(height)}
{
}

void column_panel::load()
{
    for (std::size_t l = 0; l < width && top != 0; ++l) {
        double* const column = columns.row(l);
        for (std::size_t i = 0; i <= l; ++i)
            column[i] = panel.r(i, l);
        set_zero(column + l + 1, width - l - 1);
    }
    transpose_into<double>(columns.sub(0, width, top, height), panel.below);
}

// The square of the length of v = x - β·e₁ is 2·‖x‖·(‖x‖ + |x₀|).
void column_panel::make_reflector_of(std::size_t j)
{
    double* const x = columns.row(j) + j;
    const std::size_t length = height - j;
    const double square = long_dot_on(path, x, x, length);
    if (!(least_moderate_square <= square && square <= greatest_moderate_square))
        return make_any_reflector_of(j);
    const double norm = std::sqrt(square);
    diagonal[j] = std::copysign(norm, -x[0]);
    taus[j] = 1 / (norm * (norm + std::abs(x[0])));
    x[0] -= diagonal[j];
}

// Of unit length, for any x.
void column_panel::make_any_reflector_of(std::size_t j)
{
    double* const x = columns.row(j) + j;
    aligned_vector<double> v(x, x + (height - j));
    const double before = x[0];
    diagonal[j] = before;
    make_reflector(v);
    if (v.empty())
        return;
    taus[j] = 2;
    const double dot = long_dot_on(path, v.data(), x, v.size());
    diagonal[j] = before - 2 * dot * v[0];
    std::copy(v.begin(), v.end(), x);
}

// Applies reflector j - 1 to the columns right of column j, and forms their dots with reflector j.
void column_panel::reflect_late(std::size_t j)
{
    const std::size_t next = j + 1;
    if (next == width)
        return;
    if (j == 0) {
        for (std::size_t l = next; l < width; ++l)
            dots[l] = long_dot_on(path, columns.row(0), columns.row(l), height);
    } else {
        const double* const late = columns.row(j - 1) + j - 1;
        for (std::size_t l = next; l < width; ++l)
            columns(l, j - 1) += factors[l] * late[0];
        reflected_dots_on(path, {.columns = columns.row(next) + j,
                                 .stride = columns.stride,
                                 .count = width - next,
                                 .length = height - j,
                                 .factors = factors + next,
                                 .u = late + 1,
                                 .v = columns.row(j) + j,
                                 .dots = dots + next});
    }
    for (std::size_t l = next; l < width; ++l)
        factors[l] = -taus[j] * dots[l];
}

void column_panel::factorize()
{
    load();
    for (std::size_t j = 0; j < width; ++j) {
        check_for_interruption();
        if (j != 0)
            scaled_add_on(path, columns.row(j) + j - 1, columns.row(j - 1) + j - 1, factors[j],
                          height - j + 1);
        make_reflector_of(j);
        reflect_late(j);
    }
    store_r();
    store_vectors();
    store_factor();
}

void column_panel::store_r() const
{
    for (std::size_t i = 0; i < width; ++i) {
        panel.r(i, i) = diagonal[i];
        for (std::size_t j = i + 1; j < width; ++j)
            panel.r(i, j) = columns(j, i);
    }
}

void column_panel::store_vectors() const
{
    transpose_into<double>(panel.below, columns.sub(0, width, top, height));
    for (std::size_t i = 0; i < width; ++i)
        if (top != 0)
            panel.tops[i] = columns(i, i);
        else
            set_zero(panel.below.row(i) + i + 1, width - i - 1);
}

// T from its columns: T[0..i)[i] = -τᵢ·T[0..i)[0..i)·G[0..i)[i], with G = VᵀV (Schreiber and Van
// Loan 1989). Tops are diagonal and add nothing above the diagonal of G.
void column_panel::store_factor() const
{
    double gram[tall_panel_columns * tall_panel_columns] = {};
    const block_view<double> g{gram, width, width};
    if (top == 0)
        add_upper_gram<double>(panel.below, g);
    else
        add_dots_from<double>(0, panel.below, panel.below, g);
    fill_factor<double>(panel.minus_factor, {gram, width, width}, taus);
    for (std::size_t i = 0; i < width; ++i)
        negate_run(panel.minus_factor.row(i), panel.minus_factor.row(i), width);
}

} // namespace

template <>
void factor_tall_panel(const tall_panel<double>& panel)
{
    column_panel(panel).factorize();
}

template <>
void factor_tall_panel(const tall_panel<complex>& panel)
{
    const std::size_t width = panel.below.cols;
    const std::size_t top = panel.tops == nullptr ? 0 : width;
    aligned_vector<complex> store = uninitialized<complex>((top + panel.below.rows) * width);
    const block_view<complex> stacked{store.data(), top + panel.below.rows, width};
    for (std::size_t i = 0; i < top; ++i) {
        set_zero(stacked.row(i), i);
        std::copy_n(&panel.r(i, i), width - i, &stacked(i, i));
    }
    for (std::size_t i = 0; i < panel.below.rows; ++i)
        std::copy_n(panel.below.row(i), width, stacked.row(top + i));
    const reflector_block<complex> block = factor_qr_panel(stacked, 0);
    const block_view<const complex> v{block.vectors.data(), block.rows, width};
    for (std::size_t i = 0; i < width; ++i) {
        std::copy_n(&stacked(i, i), width - i, &panel.r(i, i));
        negate_run(panel.minus_factor.row(i), block.factor.data() + i * width, width);
    }
    for (std::size_t i = 0; i < top; ++i)
        panel.tops[i] = v(i, i);
    for (std::size_t i = 0; i < panel.below.rows; ++i)
        std::copy_n(v.row(top + i), width, panel.below.row(i));
}

} // namespace numerical::detail

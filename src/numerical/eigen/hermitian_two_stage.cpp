#include "numerical/eigen/hermitian_two_stage.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/kernels/gemv.hpp"
#include "numerical/gemm/kernels/ger.hpp"
#include "numerical/gemm/vector_dispatch.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/scalar.hpp"

#include <algorithm>
#include <array>
#include <complex>
#include <utility>

namespace numerical::detail {
namespace {

// Columns that go through the chase together: enough to fill vectors, few enough for L2.
constexpr std::size_t chased_columns = 32;

// T = Φ·|T|·Φᴴ, where |T| has the moduli of the subdiagonal.
template <class T>
aligned_vector<T> phases_of(hermitian_band<T>& band)
{
    aligned_vector<T> phases(band.order, T(1));
    for (std::size_t i = 0; i + 1 < band.order; ++i)
        phases[i + 1] = finite_product(phase_of(band(i + 1, i)), phases[i]);
    return phases;
}

// X := X - 2·v·(vᴴX).
template <class T>
void reflect_rows(int path, const T* v, block_view<T> x)
{
    std::array<T, greatest_hermitian_band_width> weights{};
    std::array<T, chased_columns> sums{};
    for (std::size_t i = 0; i < x.rows; ++i)
        weights[i] = negated(conjugate(v[i]));
    subtract_products_on(path, sums.data(), weights.data(), x.first, x.stride, x.rows, x.cols);
    for (std::size_t i = 0; i < x.rows; ++i)
        weights[i] = 2.0 * v[i];
    subtract_from_rows_on(path, x.first, x.stride, x.rows, weights.data(), sums.data(), x.cols);
}

// X := Q₂·X, the last sweep first. Tiles of columns are independent.
template <class T>
void apply_chase(const chase_reflectors<T>& chase, block_view<T> x)
{
    const int path = gemm_path_current();
    const auto apply_to_tile = [&](std::size_t t) {
        const std::size_t from = t * chased_columns;
        const std::size_t to = std::min(from + chased_columns, x.cols);
        for (std::size_t s = x.rows - 2; s-- > 0;)
            for (std::size_t k = 0; k < chase.steps(s); ++k)
                reflect_rows(path, chase.at(s, k),
                             x.sub(chase.first_row(s, k), chase.end_row(s, k), from, to));
    };
    parallel_for(ceil_div(x.cols, chased_columns), x.rows * x.rows * chased_columns / 16,
                 apply_to_tile);
}

} // namespace

template <class T>
two_stage_reduction<T> reduce_in_two_stages(aligned_vector<T> a, std::size_t n, std::size_t width,
                                            aligned_vector<double>& d, aligned_vector<double>& e)
{
    std::vector<reflector_block<T>> panels;
    auto band = reduce_to_hermitian_band(std::move(a), n, width, panels);
    chase_reflectors<T> chase = narrow_keeping_reflectors(band, d, e);
    return {std::move(panels), std::move(chase), phases_of(band)};
}

template <class T>
aligned_vector<T> columns_in_matrix_basis(const two_stage_reduction<T>& reduction,
                                          const aligned_vector<double>& given, std::size_t n)
{
    const std::size_t count = given.size() / n;
    aligned_vector<T> columns = uninitialized<T>(given.size());
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = 0; j < count; ++j)
            columns[i * count + j] = given[j * n + i] * reduction.phases[i];
    apply_chase<T>(reduction.chase, {columns.data(), n, count});
    for (auto panel = reduction.panels.rbegin(); panel != reduction.panels.rend(); ++panel)
        apply_reflector_block<block_operator::direct>(*panel, columns, count, 0, count);
    return columns;
}

template two_stage_reduction<double> reduce_in_two_stages(aligned_vector<double>, std::size_t,
                                                          std::size_t, aligned_vector<double>&,
                                                          aligned_vector<double>&);
template two_stage_reduction<complex> reduce_in_two_stages(aligned_vector<complex>, std::size_t,
                                                           std::size_t, aligned_vector<double>&,
                                                           aligned_vector<double>&);
template aligned_vector<double> columns_in_matrix_basis(const two_stage_reduction<double>&,
                                                        const aligned_vector<double>&, std::size_t);
template aligned_vector<complex> columns_in_matrix_basis(const two_stage_reduction<complex>&,
                                                         const aligned_vector<double>&,
                                                         std::size_t);

} // namespace numerical::detail

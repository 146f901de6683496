#include "numerical/nonsymmetric/early_deflation.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/factor/reflector.hpp"
#include "numerical/nonsymmetric/block_exchange.hpp"
#include "numerical/nonsymmetric/deflation_test.hpp"
#include "numerical/nonsymmetric/multishift_qr.hpp"
#include "numerical/nonsymmetric/standard_block.hpp"
#include "numerical/scalar.hpp"
#include "numerical/strided/transpose.hpp"

#include <algorithm>
#include <cmath>

namespace numerical::detail {
namespace {

template <class T>
class deflation_window
{
public:
    deflation_window(block_view<const T> block, const T& before)
        : order(block.rows), spike(before), t(order),
          adjoint(order), window{t.copy(block), adjoint.identity(order)}
    {
    }

    bool find_schur_form();
    std::size_t count_deflated();
    aligned_vector<complex> leading_eigenvalues(std::size_t count) const;
    void restore_hessenberg(std::size_t count);

    T first_of_spike() const { return finite_product(spike, window.z(0, 0)); }

    const schur_views<T>& views() const { return window; }

private:
    bool is_settled(std::size_t k, std::size_t block) const;
    void reflect(const aligned_vector<T>& v, std::size_t row, std::size_t col_from,
                 std::size_t row_to);

    const std::size_t order;
    const T spike;
    padded_square<T> t;
    padded_square<T> adjoint;
    const schur_views<T> window;
};

template <class T>
bool deflation_window<T>::find_schur_form()
{
    for (std::size_t i = 2; i < order; ++i)
        for (std::size_t j = 0; j + 1 < i; ++j)
            window.h(i, j) = T(0);
    return qr_iteration(window, schur_extent::whole, qr_step_limit(order)) == 0;
}

// A block has converged if its element of the spike is negligible compared to its eigenvalue, or to
// the subdiagonal element before the window if the eigenvalue is zero.
template <class T>
bool deflation_window<T>::is_settled(std::size_t k, std::size_t block) const
{
    double size = rough_modulus(window.h(k, k));
    double element = rough_modulus(finite_product(spike, window.z(k, 0)));
    if (block == 2) {
        size += std::sqrt(rough_modulus(window.h(k + 1, k))) *
                std::sqrt(rough_modulus(window.h(k, k + 1)));
        element = std::max(element, rough_modulus(finite_product(spike, window.z(k + 1, 0))));
    }
    if (size == 0)
        size = rough_modulus(spike);
    return element <= std::max(negligible_magnitude(order), unit_roundoff * size);
}

// Tests the blocks from the bottom up; one that has not converged is moved to the top of the
// untested ones.
template <class T>
std::size_t deflation_window<T>::count_deflated()
{
    std::size_t end = order;   // rows from here on have converged
    std::size_t unsettled = 0; // rows before it have been found not to
    while (end > unsettled) {
        const std::size_t block =
            end >= unsettled + 2 && window.h(end - 1, end - 2) != T(0) ? 2 : 1;
        if (is_settled(end - block, block)) {
            end -= block;
            continue;
        }
        const std::size_t at = move_block_up(window, end - block, unsettled);
        if (at != unsettled)
            break; // blocks that could not be exchanged stay in their place
        unsettled += block;
    }
    return order - end;
}

template <class T>
aligned_vector<complex> deflation_window<T>::leading_eigenvalues(std::size_t count) const
{
    aligned_vector<complex> values;
    for (std::size_t k = 0; k < count; ++k) {
        if constexpr (std::is_same_v<T, double>)
            if (k + 1 < count && window.h(k + 1, k) != 0) {
                const auto [first, second] =
                    eigenvalues_of_standard({window.h(k, k), window.h(k, k + 1), window.h(k + 1, k),
                                             window.h(k + 1, k + 1)});
                values.push_back(first);
                values.push_back(second);
                ++k;
                continue;
            }
        values.push_back(window.h(k, k));
    }
    return values;
}

// The similarity by the reflector v of rows and columns [row, row + v.size()).
template <class T>
void deflation_window<T>::reflect(const aligned_vector<T>& v, std::size_t row, std::size_t col_from,
                                  std::size_t row_to)
{
    const std::size_t end = row + v.size();
    reflect_rows(window.h.sub(row, end, col_from, order), v);
    reflect_rows(window.z.sub(row, end, 0, order), v);
    aligned_vector<T> conjugated(v.size());
    std::transform(v.begin(), v.end(), conjugated.begin(),
                   [](const T& element) { return conjugate(element); });
    reflect_columns(window.h.sub(0, row_to, row, end), conjugated);
}

// A reflector reduces the spike of the first `count` rows to its first element; further ones
// restore the Hessenberg form that it destroys.
template <class T>
void deflation_window<T>::restore_hessenberg(std::size_t count)
{
    aligned_vector<T> x(count);
    for (std::size_t i = 0; i < count; ++i)
        x[i] = window.z(i, 0);
    make_reflector(x);
    if (x.empty())
        return;
    reflect(x, 0, 0, count);
    for (std::size_t k = 0; k + 2 < count; ++k) {
        x.resize(count - k - 1);
        for (std::size_t i = k + 1; i < count; ++i)
            x[i - k - 1] = window.h(i, k);
        if (std::all_of(x.begin() + 1, x.end(), [](const T& e) { return e == T(0); }))
            continue;
        window.h(k + 1, k) = householder_in_place(x);
        for (std::size_t i = k + 2; i < count; ++i)
            window.h(i, k) = T(0);
        reflect(x, k + 1, k + 1, count);
    }
}

} // namespace

template <class T>
early_deflation deflate_early(const schur_views<T>& s, std::size_t top, std::size_t end,
                              bool has_spike, const similarity_reach& reach,
                              far_storage<T>& storage)
{
    const block_view<T> block = s.h.sub(top, end, top, end);
    deflation_window<T> window(block, has_spike ? s.h(top, top - 1) : T(0));
    if (!window.find_schur_form())
        return {false, 0, {}};
    const std::size_t deflated = has_spike ? window.count_deflated() : end - top;
    const std::size_t rest = end - top - deflated;
    early_deflation result{true, deflated, window.leading_eigenvalues(rest)};
    if (deflated == 0)
        return result;
    if (rest > 0)
        window.restore_hessenberg(rest);
    const schur_views<T>& found = window.views();
    for (std::size_t i = 0; i < block.rows; ++i)
        std::copy_n(found.h.row(i), block.cols, block.row(i));
    if (has_spike)
        s.h(top, top - 1) = rest > 0 ? window.first_of_spike() : T(0);
    update_far<T>(s, found.z, top, reach, storage);
    return result;
}

template early_deflation deflate_early(const schur_views<double>&, std::size_t, std::size_t, bool,
                                       const similarity_reach&, far_storage<double>&);
template early_deflation deflate_early(const schur_views<complex>&, std::size_t, std::size_t, bool,
                                       const similarity_reach&, far_storage<complex>&);

} // namespace numerical::detail

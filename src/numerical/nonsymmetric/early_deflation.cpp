#include "numerical/nonsymmetric/early_deflation.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/factor/reflector.hpp"
#include "numerical/nonsymmetric/block_exchange.hpp"
#include "numerical/nonsymmetric/deflation_test.hpp"
#include "numerical/nonsymmetric/left_components.hpp"
#include "numerical/nonsymmetric/multishift_qr.hpp"
#include "numerical/nonsymmetric/standard_block.hpp"
#include "numerical/scalar.hpp"
#include "numerical/strided/transpose.hpp"

#include <algorithm>
#include <cmath>

namespace numerical::detail {
namespace {

// How far above the threshold an estimate may be: it is as uncertain as the eigenvectors are.
constexpr double candidate_margin = 16;

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
    double threshold(std::size_t k, std::size_t block) const;
    bool is_settled(std::size_t k, std::size_t block) const;
    std::vector<char> candidates() const;
    std::size_t move_down(std::size_t k, std::size_t end, std::vector<char>& promising);
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
double deflation_window<T>::threshold(std::size_t k, std::size_t block) const
{
    double size = rough_modulus(window.h(k, k));
    if (block == 2)
        size += std::sqrt(rough_modulus(window.h(k + 1, k))) *
                std::sqrt(rough_modulus(window.h(k, k + 1)));
    if (size == 0)
        size = rough_modulus(spike);
    return std::max(negligible_magnitude(order), unit_roundoff * size);
}

template <class T>
bool deflation_window<T>::is_settled(std::size_t k, std::size_t block) const
{
    double element = rough_modulus(finite_product(spike, window.z(k, 0)));
    if (block == 2)
        element = std::max(element, rough_modulus(finite_product(spike, window.z(k + 1, 0))));
    return element <= threshold(k, block);
}

// Whether the block of each row may have converged. At the bottom its element of the spike would be
// the spike times the first component of its left eigenvector, a unit vector: a block for which
// that stays far above the threshold isn't moved there.
template <class T>
std::vector<char> deflation_window<T>::candidates() const
{
    const std::vector<double> shares = first_of_left_vectors<T>(window.h, window.z);
    const double size_of_spike = rough_modulus(spike);
    std::vector<char> promising(order);
    for (std::size_t k = 0; k < order; ++k) {
        const std::size_t block = block_order<T>(window.h, k);
        const double least = threshold(k, block) + unit_roundoff * size_of_spike;
        const bool hopeless = shares[k] * size_of_spike > candidate_margin * least;
        for (std::size_t row = k; row < k + block; ++row)
            promising[row] = !hopeless;
        k += block - 1;
    }
    return promising;
}

// Exchanges the block in row k, and its flags, with those below it until it ends before row `end`
// or an exchange is refused. Returns the row that it has come to.
template <class T>
std::size_t deflation_window<T>::move_down(std::size_t k, std::size_t end,
                                           std::vector<char>& promising)
{
    for (;;) {
        const std::size_t moving = block_order<T>(window.h, k);
        const std::size_t next = k + moving;
        if (next == end)
            return k;
        const std::size_t below = block_order<T>(window.h, next);
        if (!exchange_blocks(window, k, moving, below))
            return k;
        char* const flags = promising.data() + k;
        std::rotate(flags, flags + moving, flags + moving + below);
        k += below;
    }
}

// Tests the block at the bottom of those that are left, then moves down the next one that may have
// converged.
template <class T>
std::size_t deflation_window<T>::count_deflated()
{
    std::vector<char> promising = candidates();
    std::size_t end = order; // rows from here on have converged
    while (end > 0) {
        const std::size_t last = end >= 2 && window.h(end - 1, end - 2) != T(0) ? 2 : 1;
        if (is_settled(end - last, last)) {
            end -= last;
            continue;
        }
        std::fill_n(&promising[end - last], last, char(0));
        std::size_t k = end;
        while (k > 0 && !promising[k - 1])
            --k;
        if (k == 0)
            break;
        const std::size_t block = k >= 2 && window.h(k - 1, k - 2) != T(0) ? 2 : 1;
        const std::size_t at = move_down(k - block, end, promising);
        const std::size_t moved = block_order<T>(window.h, at);
        if (at + moved != end)
            std::fill_n(&promising[at], moved, char(0));
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

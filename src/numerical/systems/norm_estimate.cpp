#include "numerical/systems/norm_estimate.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/systems/moduli.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <type_traits>
#include <utility>
#include <vector>

namespace numerical {
namespace detail {
namespace {

constexpr std::size_t most_columns = 2;
constexpr int most_iterations = 5;

double sign_of(double x)
{
    return x < 0 ? -1 : 1;
}

complex sign_of(const complex& z)
{
    return phase_of(z);
}

// Pseudorandom signs, the same in every run: bits of Weyl's sequence of the golden ratio.
double scattered_sign(std::size_t i)
{
    return (i + 1) * 0x9e3779b97f4a7c15U >> 63 == 0 ? 1 : -1;
}

template <class T>
class one_norm_estimator
{
public:
    explicit one_norm_estimator(std::size_t order)
        : n(order), columns(std::min(most_columns, order)), store(n * columns), signs(n * columns),
          former_signs(n * columns)
    {
    }

    double run(const block_operator_on_place<T>& multiply,
               const block_operator_on_place<T>& multiply_adjoint);

private:
    std::size_t n;
    std::size_t columns;
    aligned_vector<T> store;
    aligned_vector<T> signs;
    aligned_vector<T> former_signs;
    std::vector<std::size_t> tried;                // columns of B whose norms are known
    std::array<std::size_t, most_columns> units{}; // those in X

    block_view<T> x() { return {store.data(), n, columns}; }

    void start();
    std::array<double, most_columns> column_norms();
    void take_signs();
    bool is_parallel(const aligned_vector<T>& s, std::size_t j, const aligned_vector<T>& to,
                     std::size_t k) const;
    bool has_new_signs();
    bool choose_units(bool has_best, std::size_t best);
};

template <class T>
void one_norm_estimator<T>::start()
{
    const double last = n > 1 ? double(n - 1) : 1;
    for (std::size_t i = 0; i < n; ++i) {
        x()(i, 0) = 1 / double(n);
        if (columns > 1) // of 1-norm 1 as the other
            x()(i, 1) = (i % 2 == 0 ? 1 : -1) * (1 + double(i) / last) / (1.5 * double(n));
    }
}

template <class T>
std::array<double, most_columns> one_norm_estimator<T>::column_norms()
{
    std::array<double, most_columns> norms{};
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = 0; j < columns; ++j)
            norms[j] += modulus(x()(i, j));
    return norms;
}

template <class T>
void one_norm_estimator<T>::take_signs()
{
    std::swap(signs, former_signs);
    std::transform(store.begin(), store.end(), signs.begin(),
                   [](const T& z) { return sign_of(z); });
}

// Whether column j of the signs s is plus or minus column k of `to`.
template <class T>
bool one_norm_estimator<T>::is_parallel(const aligned_vector<T>& s, std::size_t j,
                                        const aligned_vector<T>& to, std::size_t k) const
{
    const T ratio = s[j] * to[k];
    for (std::size_t i = 1; i < n; ++i)
        if (s[i * columns + j] * to[i * columns + k] != ratio)
            return false;
    return true;
}

// Returns false if every column of signs is parallel to an earlier one, which only real signs can
// be: such a column gives no new information. Otherwise parallel columns are replaced by other
// signs.
template <class T>
bool one_norm_estimator<T>::has_new_signs()
{
    if constexpr (!std::is_same_v<T, double>)
        return true;
    std::array<bool, most_columns> is_old{};
    for (std::size_t j = 0; j < columns; ++j)
        for (std::size_t k = 0; k < columns; ++k)
            is_old[j] = is_old[j] || is_parallel(signs, j, former_signs, k);
    if (std::all_of(is_old.begin(), is_old.begin() + std::ptrdiff_t(columns),
                    [](bool old) { return old; }))
        return false;
    if (columns > 1 && !is_old[0])
        is_old[1] = is_old[1] || is_parallel(signs, 1, signs, 0);
    for (std::size_t j = 0; j < columns; ++j)
        if (is_old[j])
            for (std::size_t i = 0; i < n; ++i)
                signs[i * columns + j] = scattered_sign(i);
    return true;
}

// X becomes the unit vectors of the largest rows of the gradient Bᴴ·S. Returns false if these
// cannot improve the bound: the largest row is the best column, or all of them were tried.
template <class T>
bool one_norm_estimator<T>::choose_units(bool has_best, std::size_t best)
{
    aligned_vector<double> heights(n);
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = 0; j < columns; ++j)
            heights[i] = std::max(heights[i], modulus(x()(i, j)));
    if (has_best && *std::max_element(heights.begin(), heights.end()) == heights[best])
        return false;
    std::vector<std::size_t> order(n);
    std::iota(order.begin(), order.end(), std::size_t{0});
    const std::size_t wanted = std::min(n, columns + tried.size());
    std::partial_sort(order.begin(), order.begin() + std::ptrdiff_t(wanted), order.end(),
                      [&](std::size_t i, std::size_t k) {
                          return heights[i] != heights[k] ? heights[i] > heights[k] : i < k;
                      });
    const auto was_tried = [&](std::size_t i) {
        return std::find(tried.begin(), tried.end(), i) != tried.end();
    };
    if (std::all_of(order.begin(), order.begin() + std::ptrdiff_t(columns), was_tried))
        return false;
    order.resize(wanted);
    std::erase_if(order, was_tried);
    set_zero(store.data(), store.size());
    for (std::size_t j = 0; j < columns; ++j) {
        units[j] = order[std::min(j, order.size() - 1)];
        x()(units[j], j) = T(1);
    }
    tried.insert(tried.end(), units.begin(), units.begin() + std::ptrdiff_t(columns));
    return true;
}

template <class T>
double one_norm_estimator<T>::run(const block_operator_on_place<T>& multiply,
                                  const block_operator_on_place<T>& multiply_adjoint)
{
    double estimate = 0;
    std::size_t best = 0;
    start();
    for (int k = 1;; ++k) {
        multiply(x());
        const auto norms = column_norms();
        const std::size_t largest = columns > 1 && norms[1] > norms[0] ? 1 : 0;
        const double found = norms[largest];
        if (!std::isfinite(norms[0] + norms[columns - 1]))
            return norms[0] + norms[columns - 1];
        if (k >= 2 && found <= estimate)
            return estimate;
        best = units[largest];
        estimate = found;
        take_signs();
        if (k > most_iterations || (k >= 2 && !has_new_signs()))
            return estimate;
        store = signs;
        multiply_adjoint(x());
        if (!choose_units(k >= 2, best))
            return estimate;
    }
}

} // namespace
} // namespace detail

template <class T>
double estimate_one_norm(std::size_t n, const block_operator_on_place<T>& multiply,
                         const block_operator_on_place<T>& multiply_adjoint)
{
    return n == 0 ? 0 : detail::one_norm_estimator<T>(n).run(multiply, multiply_adjoint);
}

template <class T>
double one_norm(detail::block_view<const T> a)
{
    aligned_vector<double> sums(a.cols);
    aligned_vector<double> moduli(a.cols);
    for (std::size_t i = 0; i < a.rows; ++i)
        detail::add_moduli(sums.data(), a.row(i), a.cols, moduli.data());
    return sums.empty() ? 0 : *std::max_element(sums.begin(), sums.end());
}

double reciprocal_condition(std::size_t n, double norm, double norm_of_inverse)
{
    if (n == 0)
        return 1;
    if (norm == 0 || !std::isfinite(norm) || !std::isfinite(norm_of_inverse))
        return 0;
    return 1 / norm_of_inverse / norm;
}

template double estimate_one_norm(std::size_t, const block_operator_on_place<double>&,
                                  const block_operator_on_place<double>&);
template double estimate_one_norm(std::size_t, const block_operator_on_place<detail::complex>&,
                                  const block_operator_on_place<detail::complex>&);
template double one_norm(detail::block_view<const double>);
template double one_norm(detail::block_view<const detail::complex>);

} // namespace numerical

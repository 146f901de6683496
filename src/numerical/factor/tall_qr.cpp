#include "numerical/factor/tall_qr.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/counts.hpp"
#include "numerical/gemm/block_view.hpp"
#include "numerical/runtime/parallel_for.hpp"
#include "numerical/storage.hpp"

#include <algorithm>
#include <complex>
#include <utility>

namespace numerical::detail {
namespace {

// A block and its part of Q fill L2 or little more. Longer blocks would leave the columns of a
// panel no room in L1.
constexpr std::size_t block_elements = 131072;
constexpr std::size_t most_block_rows = 768;

// Two chains where each is long enough, and more of longer ones: joining their triangles costs
// time.
constexpr std::size_t least_chain = 4; // in columns
constexpr std::size_t long_chain = 8;
constexpr std::size_t most_chains = 4;

// More blocks one after the other would let the errors of the triangle add up.
constexpr std::size_t most_chained_blocks = 16;

std::size_t block_rows(std::size_t n)
{
    return std::max(std::min(block_elements / n, most_block_rows), n);
}

std::size_t chains_of(std::size_t rows, std::size_t n)
{
    if (rows < 2 * least_chain * n)
        return 1;
    return std::max(std::clamp<std::size_t>(rows / (long_chain * n), 2, most_chains),
                    rows / (most_chained_blocks * block_rows(n)));
}

} // namespace

template <class T>
bool is_tall(std::size_t rows, std::size_t columns)
{
    return columns >= least_tall_columns && columns <= most_tall_columns &&
           rows >= least_tall_aspect * columns && rows * columns >= least_tall_elements<T>;
}

template <class T>
tall_qr<T>::tall_qr(aligned_vector<T> a, std::size_t row_count, std::size_t columns)
    : r(zeros<T>(columns * columns)), rows(row_count), n(columns), store(std::move(a)),
      chains(chains_of(rows, n)), steps(chains), triangles(chains), joints(chains)
{
    for (std::size_t c = 1; c < chains; ++c)
        triangles[c] = zeros<T>(n * n);
    // Each writes its own rows and triangle.
    parallel_for(chains, chain_work(n), [&](std::size_t c) { factorize_chain(c); });
    for (std::size_t c = 1; c < chains; ++c) {
        joints[c] = tall_step<T>(triangle(c), block_shape::triangle);
        joints[c].factorize(triangle(0));
    }
}

// To read a chain's reflectors takes as long as some products with each.
template <class T>
std::size_t tall_qr<T>::chain_work(std::size_t columns) const
{
    constexpr std::size_t products_per_unit = 20;
    return rows / chains * n * std::max(columns, products_per_unit) * (sizeof(T) / sizeof(double)) /
           products_per_unit;
}

template <class T>
block_view<T> tall_qr<T>::triangle(std::size_t c)
{
    return {c == 0 ? r.data() : triangles[c].data(), n, n};
}

template <class T>
void tall_qr<T>::factorize_chain(std::size_t c)
{
    const std::size_t from = chain_begin(c);
    const std::size_t height = chain_begin(c + 1) - from;
    const std::size_t blocks = std::max<std::size_t>(height / block_rows(n), 1);
    const block_view<T> chain{store.data() + from * n, height, n};
    for (std::size_t b = 0; b < blocks; ++b) {
        const block_view<T> block = chain.sub(height * b / blocks, height * (b + 1) / blocks, 0, n);
        steps[c].emplace_back(block, b == 0 ? block_shape::first : block_shape::full);
        steps[c].back().factorize(triangle(c));
    }
}

// Where R's part of B lies in a chain.
template <class T>
block_view<T> tall_qr<T>::top_of(std::size_t c, block_view<T> b) const
{
    return b.sub(chain_begin(c), chain_begin(c) + n, 0, b.cols);
}

template <class T>
block_view<T> tall_qr<T>::rows_of(const tall_step<T>& step, block_view<T> b) const
{
    const std::size_t first = std::size_t(step.block().first - store.data()) / n;
    return b.sub(first, first + step.block().rows, 0, b.cols);
}

template <class T>
void tall_qr<T>::apply_adjoint(block_view<T> b) const
{
    const auto apply_chain = [&](std::size_t c) { // writes the chain's rows of B
        for (const tall_step<T>& step : steps[c])
            step.apply_adjoint(top_of(c, b), rows_of(step, b));
    };
    parallel_for(chains, chain_work(b.cols), apply_chain);
    for (std::size_t c = 1; c < chains; ++c)
        joints[c].apply_adjoint(top_of(0, b), top_of(c, b));
}

template <class T>
void tall_qr<T>::apply(block_view<T> b) const
{
    for (std::size_t c = chains; c-- > 1;)
        joints[c].apply(top_of(0, b), top_of(c, b));
    const auto apply_chain = [&](std::size_t c) { // writes the chain's rows of B
        for (auto step = steps[c].rbegin(); step != steps[c].rend(); ++step)
            step->apply(top_of(c, b), rows_of(*step, b));
    };
    parallel_for(chains, chain_work(b.cols), apply_chain);
}

template <class T>
aligned_vector<T> tall_qr<T>::form(const aligned_vector<T>& phases) &&
{
    r = zeros<T>(n * n);
    for (std::size_t i = 0; i < n; ++i)
        r[i * n + i] = phases[i];
    for (std::size_t c = chains; c-- > 1;)
        joints[c].form(triangle(0));
    const auto form_chain = [&](std::size_t c) { // writes the chain's rows and triangle
        for (auto step = steps[c].rbegin(); step != steps[c].rend(); ++step)
            step->form(triangle(c));
    };
    parallel_for(chains, chain_work(n), form_chain);
    return std::move(store);
}

template bool is_tall<double>(std::size_t, std::size_t);
template bool is_tall<std::complex<double>>(std::size_t, std::size_t);
template class tall_qr<double>;
template class tall_qr<std::complex<double>>;

} // namespace numerical::detail

#include "numerical/elementwise/masks.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/gemm/path.hpp"
#include "numerical/scalar.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/broadcast.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

namespace numerical {
namespace detail {

const boolean_kernels& booleans_in_force()
{
    return avx2_in_force(gemm_path_current()) ? avx2_unfused_booleans : portable_booleans;
}

} // namespace detail

booleans evaluated(number_predicate predicate, const tensor<double>& a)
{
    aligned_vector<std::uint8_t> data = detail::uninitialized<std::uint8_t>(a.data.size());
    const auto kernel = detail::booleans_in_force().predicates[static_cast<int>(predicate)];
    kernel(a.data.data(), data.data(), data.size());
    return booleans(a.shape, std::move(data));
}

booleans evaluated(number_predicate predicate, const tensor<std::complex<double>>& a)
{
    constexpr std::size_t block = 512; // numbers; the results for both parts stay in L1
    const bool both =
        predicate == number_predicate::is_finite || predicate == number_predicate::is_zero;
    const auto kernel = detail::booleans_in_force().predicates[static_cast<int>(predicate)];
    const auto* parts = detail::as_doubles(a.data.data());
    aligned_vector<std::uint8_t> data = detail::uninitialized<std::uint8_t>(a.data.size());
    std::array<std::uint8_t, 2 * block> of_parts;
    for (std::size_t first = 0; first < data.size(); first += block) {
        const std::size_t count = std::min(block, data.size() - first);
        kernel(parts + 2 * first, of_parts.data(), 2 * count);
        for (std::size_t i = 0; i < count; ++i) {
            const int sum = of_parts[2 * i] + of_parts[2 * i + 1];
            data[first + i] = sum > (both ? 1 : 0) ? 1 : 0;
        }
    }
    return booleans(a.shape, std::move(data));
}

booleans boolean_of(const tensor<double>& a)
{
    return evaluated(number_predicate::is_true, a);
}

booleans boolean_of(const tensor<std::complex<double>>& a)
{
    return evaluated(number_predicate::is_true, a);
}

std::optional<booleans> booleans_of_mask(const tensor<double>& a)
{
    aligned_vector<std::uint8_t> data = detail::uninitialized<std::uint8_t>(a.data.size());
    if (!detail::booleans_in_force().booleans_of_mask(a.data.data(), data.data(), data.size()))
        return std::nullopt;
    return booleans(a.shape, std::move(data));
}

booleans combined(boolean_operation operation, const booleans& a, const booleans& b)
{
    const auto& rows = detail::booleans_in_force().operations[static_cast<int>(operation)];
    return detail::broadcast_rows<std::uint8_t>(
        a, b,
        [&](detail::row_form form, const std::uint8_t* x, const std::uint8_t* y, std::uint8_t* out,
            std::size_t n) { rows.by_form[static_cast<int>(form)](x, y, out, n); });
}

booleans negated(const booleans& a)
{
    return combined(boolean_operation::logical_xor, a, booleans({}, {1}));
}

std::size_t count_of_true(const booleans& a)
{
    return detail::booleans_in_force().count_true(a.data.data(), a.data.size());
}

tensor<double> numbers_of(const booleans& a)
{
    aligned_vector<double> data = detail::uninitialized<double>(a.data.size());
    detail::booleans_in_force().numbers(a.data.data(), data.data(), data.size());
    return tensor<double>(a.shape, std::move(data));
}

} // namespace numerical

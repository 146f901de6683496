#include "numerical/elementwise/masks.hpp"

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

const truth_kernels& truths_in_force()
{
    return avx2_in_force(gemm_path_current()) ? avx2_unfused_truths : portable_truths;
}

} // namespace detail

truths answers_to(number_question question, const tensor<double>& a)
{
    std::vector<std::uint8_t> data = detail::uninitialized<std::uint8_t>(a.data.size());
    const auto kernel = detail::truths_in_force().questions[static_cast<int>(question)];
    kernel(a.data.data(), data.data(), data.size());
    return truths(a.shape, std::move(data));
}

truths answers_to(number_question question, const tensor<std::complex<double>>& a)
{
    constexpr std::size_t block = 512; // numbers whose parts' answers stay in L1
    const bool both =
        question == number_question::is_finite || question == number_question::is_zero;
    const auto kernel = detail::truths_in_force().questions[static_cast<int>(question)];
    const auto* parts = detail::as_doubles(a.data.data());
    std::vector<std::uint8_t> data = detail::uninitialized<std::uint8_t>(a.data.size());
    std::array<std::uint8_t, 2 * block> of_parts;
    for (std::size_t first = 0; first < data.size(); first += block) {
        const std::size_t count = std::min(block, data.size() - first);
        kernel(parts + 2 * first, of_parts.data(), 2 * count);
        for (std::size_t i = 0; i < count; ++i) {
            const int sum = of_parts[2 * i] + of_parts[2 * i + 1];
            data[first + i] = sum > (both ? 1 : 0) ? 1 : 0;
        }
    }
    return truths(a.shape, std::move(data));
}

truths truth_of(const tensor<double>& a)
{
    return answers_to(number_question::is_true, a);
}

truths truth_of(const tensor<std::complex<double>>& a)
{
    return answers_to(number_question::is_true, a);
}

std::optional<truths> truths_of_mask(const tensor<double>& a)
{
    std::vector<std::uint8_t> data = detail::uninitialized<std::uint8_t>(a.data.size());
    if (!detail::truths_in_force().truths_of_mask(a.data.data(), data.data(), data.size()))
        return std::nullopt;
    return truths(a.shape, std::move(data));
}

truths combined(truth_operation operation, const truths& a, const truths& b)
{
    const auto& rows = detail::truths_in_force().operations[static_cast<int>(operation)];
    return detail::broadcast_rows<std::uint8_t>(
        a, b,
        [&](detail::row_form form, const std::uint8_t* x, const std::uint8_t* y, std::uint8_t* out,
            std::size_t n) { rows.by_form[static_cast<int>(form)](x, y, out, n); });
}

truths negated(const truths& a)
{
    return combined(truth_operation::logical_xor, a, truths({}, {1}));
}

std::size_t count_of_true(const truths& a)
{
    return detail::truths_in_force().count_true(a.data.data(), a.data.size());
}

tensor<double> numbers_of(const truths& a)
{
    std::vector<double> data = detail::uninitialized<double>(a.data.size());
    detail::truths_in_force().numbers(a.data.data(), data.data(), data.size());
    return tensor<double>(a.shape, std::move(data));
}

} // namespace numerical

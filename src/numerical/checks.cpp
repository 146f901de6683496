#include "numerical/checks.hpp"

#include "numerical/errors.hpp"
#include "numerical/scalar.hpp"

#include <algorithm>
#include <array>

namespace numerical::detail {

void throw_product_overflow()
{
    throw dimension_error("dimension product overflows std::size_t");
}

std::size_t element_count(const shape_list& shape)
{
    std::size_t count = 1;
    for (std::size_t axis = shape.size(); axis-- > 0;)
        count = checked_mul(count, shape[axis]);
    return count;
}

std::string shape_text(const shape_list& shape)
{
    std::string text = "(";
    for (std::size_t axis = 0; axis < shape.size(); ++axis) {
        if (axis != 0)
            text += ", ";
        text += std::to_string(shape[axis]);
    }
    text += shape.size() == 1 ? ",)" : ")";
    return text;
}

namespace {

// x·0 is a zero for finite x and NaN otherwise; the sums in lanes let the compiler use vectors.
bool all_finite(const double* x, std::size_t n)
{
    constexpr std::size_t lanes = 8;
    std::array<double, lanes> zeros{};
    std::size_t i = 0;
    for (; i + lanes <= n; i += lanes)
        for (std::size_t l = 0; l < lanes; ++l)
            zeros[l] += x[i + l] * 0.0;
    for (; i < n; ++i)
        zeros[0] += x[i] * 0.0;
    return std::all_of(zeros.begin(), zeros.end(), [](double zero) { return zero == 0; });
}

template <class T>
void require_finite_run(const T* first, std::size_t count, const char* prefix)
{
    if (!all_finite(reinterpret_cast<const double*>(first), count * sizeof(T) / sizeof(double)))
        throw non_finite_error(std::string(prefix) + ": the matrix holds an infinite or NaN entry");
}

} // namespace

template <class T>
void require_finite(const matrix<T>& a, const char* prefix)
{
    require_finite_run(a.data.data(), a.data.size(), prefix);
}

template <class T>
void require_finite_lower(const matrix<T>& a, const char* prefix)
{
    for (std::size_t i = 0; i < a.rows; ++i)
        require_finite_run(a.data.data() + i * a.cols, i + 1, prefix);
}

template void require_finite(const matrix<double>&, const char*);
template void require_finite(const matrix<complex>&, const char*);
template void require_finite_lower(const matrix<double>&, const char*);
template void require_finite_lower(const matrix<complex>&, const char*);

} // namespace numerical::detail

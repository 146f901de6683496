#include "numerical/strided/selection.hpp"

#include "numerical/aligned_vector.hpp"
#include "numerical/checks.hpp"
#include "numerical/errors.hpp"
#include "numerical/storage.hpp"
#include "numerical/strided/broadcast.hpp"

#include <algorithm>
#include <complex>
#include <cstring>
#include <functional>
#include <numeric>
#include <type_traits>

namespace numerical {
namespace {

std::size_t count_of(const selection& of)
{
    std::size_t count = 1;
    for (const std::size_t extent : of.shape)
        count = detail::checked_mul(count, extent);
    return count;
}

// Offset of step i of a loop.
std::ptrdiff_t place(const selection_loop& loop, const std::ptrdiff_t* table, std::size_t i)
{
    return loop.by_table ? table[i] : static_cast<std::ptrdiff_t>(i) * loop.stride;
}

// Calls row(offset) for the innermost loop, once for each step of the loops around it.
template <class Row>
void each_row(const selection& of, const Row& row)
{
    const std::size_t outer = of.loops.size() - 1;
    shape_list index(outer, 0);
    for (;;) {
        std::ptrdiff_t offset = of.origin;
        for (std::size_t l = 0; l < outer; ++l)
            offset += place(of.loops[l], of.table.data(), index[l]);
        row(offset);
        std::size_t l = outer;
        while (l > 0 && ++index[l - 1] == of.loops[l - 1].count)
            index[--l] = 0;
        if (l == 0)
            return;
    }
}

template <class T>
void copy_strided(const T* from, std::ptrdiff_t stride, std::size_t count, T* to)
{
    if (stride == 1) {
        std::memcpy(static_cast<void*>(to), from, count * sizeof(T));
        return;
    }
    for (std::size_t i = 0; i < count; ++i)
        to[i] = from[static_cast<std::ptrdiff_t>(i) * stride];
}

template <class T>
void copy_by_table(const T* from, const std::ptrdiff_t* table, std::size_t count, T* to)
{
    for (std::size_t i = 0; i < count; ++i)
        to[i] = from[table[i]];
}

// The offsets of the values, which broadcast to the selection, expressed as a selection: the same
// loops with other strides.
template <class T>
selection places_of_values(const selection& at, const tensor<T>& values)
{
    const std::size_t rank = at.shape.size();
    bool fits = values.shape.size() <= rank;
    for (std::size_t axis = 0; fits && axis < values.shape.size(); ++axis) {
        const std::size_t extent = at.shape[rank - values.shape.size() + axis];
        fits = values.shape[axis] == 1 || values.shape[axis] == extent;
    }
    if (!fits)
        throw dimension_error("values of shape " + detail::shape_text(values.shape) +
                              " cannot be broadcast to the selected shape " +
                              detail::shape_text(at.shape));
    const shape_list strides = detail::broadcast_strides(values.shape, rank);
    selection places;
    places.shape = at.shape;
    std::size_t axis = 0;
    for (const selection_loop& loop : at.loops) {
        if (!loop.by_table) {
            places.loops.push_back(
                {loop.count, static_cast<std::ptrdiff_t>(strides[axis++]), false});
            continue;
        }
        places.loops.push_back({loop.count, 0, true});
        places.table.resize(loop.count);
        for (std::size_t i = 0; i < loop.count; ++i) {
            std::size_t rest = i;
            std::size_t offset = 0;
            for (std::size_t j = axis + at.table_rank; j-- > axis;) {
                offset += rest % at.shape[j] * strides[j];
                rest /= at.shape[j];
            }
            places.table[i] = static_cast<std::ptrdiff_t>(offset);
        }
        axis += at.table_rank;
    }
    return places;
}

template <class T, class F>
void update_each(T* data, const selection& at, const T* values, const selection& places,
                 const F& change)
{
    const selection_loop& inner = at.loops.back();
    const selection_loop& inner_values = places.loops.back();
    aligned_vector<std::ptrdiff_t> first_values;
    each_row(places, [&](std::ptrdiff_t offset) { first_values.push_back(offset); });
    std::size_t row = 0;
    each_row(at, [&](std::ptrdiff_t offset) {
        const std::ptrdiff_t value = first_values[row++];
        for (std::size_t i = 0; i < inner.count; ++i)
            change(data[offset + place(inner, at.table.data(), i)],
                   values[value + place(inner_values, places.table.data(), i)]);
    });
}

double lower(double x, double y)
{
    return x != x || x < y ? x : y;
}

double higher(double x, double y)
{
    return x != x || x > y ? x : y;
}

template <class T>
void update(T* data, const selection& at, update_operation operation, const T* values,
            const selection& places)
{
    const auto each = [&](const auto& change) { update_each(data, at, values, places, change); };
    if (operation == update_operation::set)
        return each([](T& x, const T& y) { x = y; });
    if (operation == update_operation::add)
        return each([](T& x, const T& y) { x += y; });
    if (operation == update_operation::multiply)
        return each([](T& x, const T& y) { x *= y; });
    if constexpr (std::is_same_v<T, double>) { // complex numbers have no order
        if (operation == update_operation::minimum)
            each([](T& x, const T& y) { x = lower(x, y); });
        else
            each([](T& x, const T& y) { x = higher(x, y); });
    }
}

} // namespace

template <class T>
tensor<T> gather(const tensor<T>& a, const selection& from)
{
    const std::size_t count = count_of(from);
    aligned_vector<T> data = detail::uninitialized<T>(count);
    if (count != 0) {
        const selection_loop& inner = from.loops.back();
        T* to = data.data();
        each_row(from, [&](std::ptrdiff_t offset) {
            if (inner.by_table)
                copy_by_table(a.data.data() + offset, from.table.data(), inner.count, to);
            else
                copy_strided(a.data.data() + offset, inner.stride, inner.count, to);
            to += inner.count;
        });
    }
    return tensor<T>(from.shape, std::move(data));
}

template <class T>
tensor<T> gather_along(const tensor<T>& a, std::size_t axis, const positions& places, counted from)
{
    const auto split = a.shape.begin() + static_cast<std::ptrdiff_t>(axis);
    shape_list shape(a.shape.begin(), split);
    shape.insert(shape.end(), places.shape.begin(), places.shape.end());
    shape.insert(shape.end(), split + 1, a.shape.end());
    const std::size_t inner = a.strides[axis];
    const auto extent = static_cast<std::ptrdiff_t>(a.shape[axis]);
    aligned_vector<T> data = detail::uninitialized<T>(detail::element_count(shape));
    T* to = data.data();
    const std::size_t stretch = a.shape[axis] * inner;
    const auto counted_from_front = [=](std::ptrdiff_t place) {
        return static_cast<std::size_t>(place < 0 ? place + extent : place);
    };
    for (const T* run = a.data.data(); to != data.data() + data.size(); run += stretch)
        if (inner == 1 && from == counted::from_front)
            to = std::transform(places.data.begin(), places.data.end(), to,
                                [run](std::ptrdiff_t place) { return run[place]; });
        else if (inner == 1)
            to = std::transform(
                places.data.begin(), places.data.end(), to,
                [&](std::ptrdiff_t place) { return run[counted_from_front(place)]; });
        else
            for (const std::ptrdiff_t place : places.data)
                to = std::copy_n(run + counted_from_front(place) * inner, inner, to);
    return tensor<T>(std::move(shape), std::move(data));
}

template <class T>
tensor<T> gather_each_along(const tensor<T>& a, std::size_t axis, const positions& places)
{
    const std::size_t inner = a.strides[axis];
    const std::size_t extent = a.shape[axis];
    const std::size_t taken = places.shape[axis] * inner;
    aligned_vector<T> data = detail::uninitialized<T>(places.data.size());
    const T* run = a.data.data();
    for (std::size_t first = 0; first < data.size(); first += taken, run += extent * inner)
        for (std::size_t j = 0; j < taken; j += inner)
            for (std::size_t k = 0; k < inner; ++k) {
                const std::ptrdiff_t place = places.data[first + j + k];
                const auto at =
                    static_cast<std::size_t>(place) + (place < 0 ? extent : std::size_t{0});
                data[first + j + k] = run[at * inner + k];
            }
    return tensor<T>(places.shape, std::move(data));
}

// Every element is written to the next free place, which advances only behind selected ones, so
// that no branch depends on the mask.
template <class T>
tensor<T> gather_masked(const tensor<T>& a, const booleans& mask, std::size_t count)
{
    aligned_vector<T> data = detail::uninitialized<T>(count);
    std::size_t to = 0;
    for (std::size_t i = 0; to < count; ++i) {
        data[to] = a.data[i];
        to += mask.data[i];
    }
    return tensor<T>({count}, std::move(data));
}

template <class T>
tensor<T> updated(const tensor<T>& a, const selection& at, update_operation operation,
                  const tensor<T>& values)
{
    const selection places = places_of_values(at, values);
    aligned_vector<T> data = detail::copy_of(a.data.data(), a.data.size());
    if (count_of(at) != 0)
        update(data.data(), at, operation, values.data.data(), places);
    return tensor<T>(a.shape, std::move(data));
}

template tensor<double> gather_along(const tensor<double>&, std::size_t, const positions&, counted);
template tensor<std::complex<double>> gather_along(const tensor<std::complex<double>>&, std::size_t,
                                                   const positions&, counted);
template tensor<double> gather_each_along(const tensor<double>&, std::size_t, const positions&);
template tensor<std::complex<double>> gather_each_along(const tensor<std::complex<double>>&,
                                                        std::size_t, const positions&);
template positions gather_along(const positions&, std::size_t, const positions&, counted);
template tensor<double> gather_masked(const tensor<double>&, const booleans&, std::size_t);
template tensor<std::complex<double>> gather_masked(const tensor<std::complex<double>>&,
                                                    const booleans&, std::size_t);
template positions gather_masked(const positions&, const booleans&, std::size_t);
template positions gather(const positions&, const selection&);
template tensor<double> gather(const tensor<double>&, const selection&);
template tensor<std::complex<double>> gather(const tensor<std::complex<double>>&, const selection&);
template tensor<double> updated(const tensor<double>&, const selection&, update_operation,
                                const tensor<double>&);
template tensor<std::complex<double>> updated(const tensor<std::complex<double>>&, const selection&,
                                              update_operation,
                                              const tensor<std::complex<double>>&);

} // namespace numerical

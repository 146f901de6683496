#include "module/typestr.hpp"

#include <algorithm>

namespace numerical::boundary {
namespace {

bool size_fits(char kind, std::size_t size)
{
    switch (kind) {
    case 'b':
        return size == 1;
    case 'i':
    case 'u':
        return size == 1 || size == 2 || size == 4 || size == 8;
    case 'f':
        return size == 4 || size == 8;
    case 'c':
        return size == 8 || size == 16;
    default:
        return false;
    }
}

bool is_digit(char c)
{
    return '0' <= c && c <= '9';
}

} // namespace

std::optional<element_type> parse_typestr(std::string_view text)
{
    if (text.size() < 3 || text.size() > 4)
        return std::nullopt;
    const char order = text[0];
    const char kind = text[1];
    const std::string_view digits = text.substr(2);
    if (!std::all_of(digits.begin(), digits.end(), is_digit))
        return std::nullopt;
    std::size_t size = 0;
    for (const char digit : digits)
        size = 10 * size + static_cast<std::size_t>(digit - '0');
    const bool known_order =
        order == '<' || order == '=' || order == '>' || (order == '|' && size == 1);
    if (!known_order || !size_fits(kind, size))
        return std::nullopt;
    return element_type{kind, size, order == '>' && size > 1};
}

} // namespace numerical::boundary

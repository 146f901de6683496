// Every text: what is accepted is one of the element types there are, written as the protocol does.

#include "module/typestr.hpp"

#include <cstdint>
#include <cstdlib>
#include <set>
#include <string>

namespace {

const std::set<std::string> types{"b1", "i1", "i2", "i4", "i8", "u1", "u2",
                                  "u4", "u8", "f4", "f8", "c8", "c16"};

// The digits without leading zeros, of which two characters have room for one.
std::string plain(std::string_view digits)
{
    return std::to_string(std::stoul(std::string(digits)));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto made = numerical::boundary::parse_typestr(text);
    const bool has_digits =
        size >= 3 && size <= 4 && text.find_first_not_of("0123456789", 2) == std::string_view::npos;
    const bool is_type = has_digits && types.count(text[1] + plain(text.substr(2))) == 1;
    const bool one_byte = is_type && plain(text.substr(2)) == "1";
    const bool is_valid = is_type && (text[0] == '<' || text[0] == '=' || text[0] == '>' ||
                                      (text[0] == '|' && one_byte));
    if (made.has_value() != is_valid)
        std::abort();
    if (made && (made->kind != text[1] || std::to_string(made->size) != plain(text.substr(2)) ||
                 made->swap != (text[0] == '>' && !one_byte)))
        std::abort();
    return 0;
}

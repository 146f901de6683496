#include "numerical/shape_list.hpp"

namespace numerical {

void shape_list::move_to_heap(std::size_t wanted)
{
    auto wider = std::make_unique_for_overwrite<std::size_t[]>(wanted);
    std::copy(begin(), end(), wider.get());
    many = std::move(wider);
    room = wanted;
}

} // namespace numerical

#pragma once

namespace numerical {

// The order of an element's sum in a substitution: that of a triangle's blocks, which are
// subtracted one after the other as their unknowns are found; or any, so that halves of the
// triangle may be subtracted as a whole, in deep products, which load and store the right-hand
// sides less often.
enum class block_sums { in_order, in_any_order };

} // namespace numerical

#pragma once

// Arguments as booleans. A Tensor that keeps booleans lends them; for any other object they are
// computed.

#include "module/kept_booleans.hpp"
#include "package/operand.hpp"

#include <optional>
#include <utility>

namespace numerical::package {

using boundary::booleans_in;
using boundary::wrap; // of booleans too

// Booleans, borrowed or owned.
class boolean_operand
{
public:
    explicit boolean_operand(const booleans& lent) : another(&lent) {}

    explicit boolean_operand(booleans&& made) : own(std::move(made)) {}

    const booleans& operator*() const { return another != nullptr ? *another : *own; }

    const booleans* operator->() const { return &**this; }

private:
    const booleans* another = nullptr;
    std::optional<booleans> own;
};

// True where an element isn't zero; for any operand.
boolean_operand booleans_of(PyObject* object);

// The booleans of an operand of zeros and ones; nothing for any other object.
std::optional<boolean_operand> mask_of(PyObject* object);

// A new Tensor of the booleans, or Python's bool if they have rank 0.
PyObject* boolean_or_mask(booleans&& mask);

} // namespace numerical::package

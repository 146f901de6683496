#pragma once

// Arguments as truths. A Tensor that keeps truths lends them; of all others they are made.

#include "module/kept_truths.hpp"
#include "package/operand.hpp"

#include <optional>
#include <utility>

namespace numerical::package {

using boundary::truths_in;
using boundary::wrap; // of truths too

// Truths that are another's or its own.
class truth_operand
{
public:
    explicit truth_operand(const truths& lent) : another(&lent) {}

    explicit truth_operand(truths&& made) : own(std::move(made)) {}

    const truths& operator*() const { return another != nullptr ? *another : *own; }

    const truths* operator->() const { return &**this; }

private:
    const truths* another = nullptr;
    std::optional<truths> own;
};

// True where an element isn't zero, for any operand.
truth_operand truths_of(PyObject* object);

// The mask that an operand of zeros and ones is; nothing for any other.
std::optional<truth_operand> mask_of(PyObject* object);

// A new Tensor of the truths, or Python's bool where they have rank 0.
PyObject* truth_or_mask(truths&& mask);

} // namespace numerical::package

#pragma once

// The buffers of the merges of divide and conquer. They live for a whole recursion and only grow:
// the last merges are the largest, so that all but a few find their memory already in place. Each
// thread keeps the largest blocks for its next recursion, up to 32 MiB in all: otherwise the first
// writes of fresh pages would take a tenth of the time at orders of some hundreds.

#include "numerical/eigen/merge_kernels.hpp"

#include <cstddef>
#include <memory>

namespace numerical::detail {

struct workspace_buffer
{
    std::unique_ptr<double[]> data;
    std::size_t capacity = 0;

    workspace_buffer() = default;
    workspace_buffer(const workspace_buffer&) = delete;
    workspace_buffer& operator=(const workspace_buffer&) = delete;
    ~workspace_buffer(); // leaves the memory to the thread's next one
};

// At least `size` elements, with whatever they hold. New memory is first touched in parallel, in
// the pattern of its later use.
double* workspace_of(workspace_buffer& buffer, std::size_t size);

// What the calling thread keeps.
std::size_t kept_workspace_bytes();

// What a merge of order n with K active columns needs, m of them active in a group of rows, and
// n - K deflated:
struct merge_workspace
{
    quotient_form quotients = quotient_form::single; // of all merges of a recursion

    workspace_buffer small;    // K × K: small vectors, where they are kept
    workspace_buffer old_rows; // rows × (m + n - K): the columns of one group of rows
    workspace_buffer new_rows; // m × K: the small vectors' rows that go with the active ones
};

} // namespace numerical::detail

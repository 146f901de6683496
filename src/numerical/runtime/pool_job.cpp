#include "numerical/runtime/pool_job.hpp"

#include "numerical/runtime/spin.hpp"

#include <algorithm>
#include <utility>

namespace numerical::detail {

void pool_job::post(chunk_runner loop, const void* loop_context, const loop_split& split,
                    std::size_t home_set)
{
    run = loop;
    context = loop_context;
    count = split.count;
    chunk = split.chunk;
    chunks = split.chunks;
    control = floating_control::current();
    home.store(home_set, std::memory_order_relaxed);
    done_by_helpers.store(0, std::memory_order_relaxed);
    done_by_caller = 0;
    if (errors.size() < chunks)
        errors.resize(chunks);
    // The number begins anew after its highest value, as the word does.
    const std::uint64_t next = (ticket / one_number + 1) * one_number;
    ticket = next + split.helpers * one_seat + chunks * one_at_back;
}

void pool_job::run_chunk(std::size_t slot) noexcept
{
    try {
        run(context, slot * chunk, std::min((slot + 1) * chunk, count));
    } catch (...) {
        errors[slot] = std::current_exception();
        failed.store(true, std::memory_order_relaxed);
    }
}

void pool_job::work_as_caller() noexcept
{
    std::uint64_t now = ticket;
    while (has_chunk(now)) {
        if (!ticket.compare_exchange_weak(now, now + one_in_front))
            continue;
        run_chunk(front(now));
        ++done_by_caller;
        now = ticket;
    }
}

// Once its chunk is reported as done, the job may be over and the next one posted.
void pool_job::work_as_helper(std::uint32_t wanted) noexcept
{
    std::uint64_t seat = one_seat; // to be taken with the first chunk
    std::uint64_t now = ticket;
    while (number_of(now) == wanted && has_chunk(now) && (seat == 0 || has_seat(now))) {
        if (!ticket.compare_exchange_weak(now, now - seat - one_at_back))
            continue;
        if (seat != 0)
            control.adopt();
        seat = 0;
        run_chunk(back(now) - 1);
        done_by_helpers.fetch_add(1);
        if (caller_sleeps) {
            const std::lock_guard lock(mutex);
            finished.notify_all();
        }
        now = ticket;
    }
}

std::exception_ptr pool_job::wait_until_finished()
{
    const auto all_done = [this] { return done_by_helpers == chunks - done_by_caller; };
    if (!spin_through_computation(all_done)) {
        std::unique_lock lock(mutex);
        caller_sleeps = true;
        finished.wait(lock, all_done);
        caller_sleeps = false;
    }
    if (!failed.exchange(false))
        return nullptr;
    std::exception_ptr first;
    for (std::size_t slot = chunks; slot-- > 0;)
        if (std::exception_ptr error = std::exchange(errors[slot], nullptr))
            first = std::move(error);
    return first;
}

} // namespace numerical::detail

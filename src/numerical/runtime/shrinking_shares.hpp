#pragma once

#include <cstddef>

namespace numerical::detail {

// The shares into which a sequence of work is cut for a loop on threads. The caller of a loop takes
// its shares from the front and the other threads take theirs from the back (pool_job.hpp):
// towards where they meet shares become smaller, so that all threads end at about the same time.
struct shrinking_shares
{
    static constexpr std::size_t of_each_thread = 4;

    std::size_t all; // work of the sequence
    std::size_t threads;
    std::size_t of_caller = all / threads;

    std::size_t count() const { return threads == 1 ? 1 : of_each_thread * threads; }

    // The work up to the end of so many shares.
    std::size_t up_to(std::size_t shares) const
    {
        if (shares >= count())
            return all;
        if (shares <= of_each_thread) {
            const std::size_t left = of_each_thread - shares;
            return of_caller - of_caller * left * left / (of_each_thread * of_each_thread);
        }
        const std::size_t others = count() - of_each_thread;
        const std::size_t taken = shares - of_each_thread;
        return of_caller + (all - of_caller) * taken * taken / (others * others);
    }
};

} // namespace numerical::detail

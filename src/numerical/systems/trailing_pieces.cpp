#include "numerical/systems/trailing_pieces.hpp"

#include "numerical/runtime/parallel_for.hpp"

namespace numerical::detail {
namespace {

constexpr std::size_t most_rows = 512; // of a piece
constexpr std::size_t cut_rows = 64;   // pieces begin at multiples of it
constexpr std::size_t shares_each = 4; // of a thread

// The last one ends with the pieces.
std::size_t most_shares(std::size_t threads)
{
    return threads == 1 ? 1 : shares_each * threads;
}

// Of so many rows those of the first `shares` shares. The caller of a loop takes its shares from
// the front and the other threads take theirs from the back (pool_job.hpp): towards where they meet
// shares become smaller, so that all threads end at about the same time.
std::size_t rows_of_shares(std::size_t shares, std::size_t threads, std::size_t rows)
{
    if (threads == 1)
        return rows;
    const std::size_t of_caller = rows / threads;
    if (shares <= shares_each) {
        const std::size_t left = shares_each - shares;
        return of_caller - of_caller * left * left / (shares_each * shares_each);
    }
    const std::size_t others = shares_each * (threads - 1);
    const std::size_t of_others = std::min(shares - shares_each, others);
    return of_caller + (rows - of_caller) * of_others * of_others / (others * others);
}

} // namespace

std::span<const strip_piece> trailing_pieces::share(std::size_t i) const
{
    const std::size_t begin = i == 0 ? 0 : share_ends[i - 1];
    return std::span(pieces).subspan(begin, share_ends[i] - begin);
}

void trailing_pieces::cut_strip(const strip_piece& strip, std::size_t rows_before,
                                std::size_t threads)
{
    const auto rows_up_to = [&](std::size_t row) { return rows_before + (row - strip.row); };
    const auto rows_of_share = [&] {
        return rows_of_shares(share_ends.size() + 1, threads, all_rows);
    };
    const std::size_t least_cut = round_up(strip.row, cut_rows) + cut_rows;
    for (std::size_t row = strip.row; row < strip.last_row;) {
        const std::size_t left = std::max(rows_of_share(), rows_up_to(row)) - rows_up_to(row);
        const std::size_t wanted = row + std::clamp(left, cut_rows, most_rows);
        const std::size_t cut = std::max(wanted / cut_rows * cut_rows, least_cut);
        const std::size_t end = cut > strip.column ? strip.last_row : cut;
        pieces.push_back({row, end, strip.column});
        row = end;
        const bool ends_share = rows_of_share() < rows_up_to(row) + cut_rows;
        if (ends_share && share_ends.size() + 1 < most_shares(threads))
            share_ends.push_back(pieces.size());
    }
}

void trailing_pieces::cut(std::size_t from, std::size_t n)
{
    pieces.clear();
    share_ends.clear();
    all_rows = 0;
    for (std::size_t column = from; column < n; column = strip_end(column, n))
        all_rows += strip_end(column, n) - from;
    const std::size_t threads = allowed_threads();
    std::size_t rows = 0;
    for (std::size_t column = from; column < n; column = strip_end(column, n)) {
        const strip_piece strip{from, strip_end(column, n), column};
        cut_strip(strip, rows, threads);
        rows += strip.last_row - from;
    }
    if (!pieces.empty() && (share_ends.empty() || share_ends.back() < pieces.size()))
        share_ends.push_back(pieces.size());
}

} // namespace numerical::detail

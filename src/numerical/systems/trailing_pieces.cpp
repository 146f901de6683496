#include "numerical/systems/trailing_pieces.hpp"

#include "numerical/runtime/parallel_for.hpp"
#include "numerical/runtime/shrinking_shares.hpp"

namespace numerical::detail {
namespace {

constexpr std::size_t most_rows = 512; // of a piece
constexpr std::size_t cut_rows = 64;   // pieces begin at multiples of it

} // namespace

std::span<const strip_piece> trailing_pieces::share(std::size_t i) const
{
    const std::size_t begin = i == 0 ? 0 : share_ends[i - 1];
    return std::span(pieces).subspan(begin, share_ends[i] - begin);
}

void trailing_pieces::cut_strip(const strip_piece& strip, std::size_t rows_before,
                                const shrinking_shares& cut_at)
{
    const auto rows_up_to = [&](std::size_t row) { return rows_before + (row - strip.row); };
    const auto share_end = [&] { return cut_at.up_to(share_ends.size() + 1); };
    const std::size_t least_cut = round_up(strip.row, cut_rows) + cut_rows;
    for (std::size_t row = strip.row; row < strip.last_row;) {
        const std::size_t left = std::max(share_end(), rows_up_to(row)) - rows_up_to(row);
        const std::size_t wanted = row + std::clamp(left, cut_rows, most_rows);
        const std::size_t cut = std::max(wanted / cut_rows * cut_rows, least_cut);
        const std::size_t end = cut > strip.column ? strip.last_row : cut;
        pieces.push_back({row, end, strip.column});
        row = end;
        const bool ends_share = share_end() < rows_up_to(row) + cut_rows;
        if (ends_share && share_ends.size() + 1 < cut_at.count())
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
    const shrinking_shares cut_at{.all = all_rows, .threads = allowed_threads()};
    std::size_t rows = 0;
    for (std::size_t column = from; column < n; column = strip_end(column, n)) {
        const strip_piece strip{from, strip_end(column, n), column};
        cut_strip(strip, rows, cut_at);
        rows += strip.last_row - from;
    }
    if (!pieces.empty() && (share_ends.empty() || share_ends.back() < pieces.size()))
        share_ends.push_back(pieces.size());
}

} // namespace numerical::detail

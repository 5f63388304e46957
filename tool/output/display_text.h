#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace audiomatch {

/// The text as people see it: what a terminal would obey or can't show is
/// escaped. That are control characters (`\n`, `\x1b`, `\u0085`), those that turn
/// the direction of writing or break lines (`\u202e`), and bytes that aren't
/// UTF-8 (`\xff`).
std::string printable(std::string_view text);

/// Columns that a printable text takes on a terminal: two for a wide character,
/// none for one that combines with the one before it.
std::size_t displayWidth(std::string_view text) noexcept;

/// A printable text in at most `width` columns, from 1 on: a longer one has its
/// middle replaced by an ellipsis, so that a path keeps its file's name. No
/// character loses what combines with it.
std::string shortened(std::string_view text, std::size_t width);

}  // namespace audiomatch

#include "tool/output/display_text.h"

#include <fmt/core.h>
#include <utf8proc.h>

#include <algorithm>
#include <vector>

namespace audiomatch {
namespace {

constexpr std::string_view kEllipsis = "…";

/// A character of a text: what it is, and the bytes it takes.
struct Character {
  utf8proc_int32_t code;  ///< negative for a byte that isn't UTF-8
  std::string_view bytes;
};

/// The first character of a text that isn't empty.
Character firstCharacter(std::string_view text) noexcept {
  utf8proc_int32_t code = -1;
  const utf8proc_ssize_t size =
      utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                       static_cast<utf8proc_ssize_t>(text.size()), &code);
  if (size <= 0) return {-1, text.substr(0, 1)};
  return {code, text.substr(0, static_cast<std::size_t>(size))};
}

bool isPlainAscii(char byte) noexcept { return byte >= ' ' && byte <= '~'; }

bool turnsWriting(utf8proc_int32_t code) noexcept {
  return (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
}

std::string escaped(const Character& character) {
  const utf8proc_int32_t code = character.code;
  if (code == '\n') return "\\n";
  if (code == '\r') return "\\r";
  if (code == '\t') return "\\t";
  if (code >= 0x80) return fmt::format("\\u{:04x}", code);
  // An ASCII character, or a byte that is none.
  return fmt::format("\\x{:02x}", static_cast<unsigned char>(character.bytes.front()));
}

bool needsEscape(utf8proc_int32_t code) noexcept {
  if (code < 0 || turnsWriting(code)) return true;
  const utf8proc_category_t category = utf8proc_category(code);
  return category == UTF8PROC_CATEGORY_CC || category == UTF8PROC_CATEGORY_ZL ||
         category == UTF8PROC_CATEGORY_ZP;
}

std::size_t widthOf(utf8proc_int32_t code) noexcept {
  return code < 0 ? 1 : static_cast<std::size_t>(std::max(utf8proc_charwidth(code), 0));
}

/// What stays together on the screen: a character with what combines with it.
struct Cluster {
  std::string_view bytes;
  std::size_t width;
};

std::vector<Cluster> clustersOf(std::string_view text) {
  std::vector<Cluster> clusters;
  utf8proc_int32_t before = -1;
  utf8proc_int32_t state = 0;
  while (!text.empty()) {
    const Character character = firstCharacter(text);
    text.remove_prefix(character.bytes.size());
    const bool joins = before >= 0 && character.code >= 0 &&
                       !utf8proc_grapheme_break_stateful(before, character.code, &state);
    if (joins) {
      Cluster& last = clusters.back();
      last.bytes = {last.bytes.data(), last.bytes.size() + character.bytes.size()};
      last.width += widthOf(character.code);
    } else {
      clusters.push_back({character.bytes, widthOf(character.code)});
    }
    before = character.code;
  }
  return clusters;
}

/// Clusters from `first` on, as many as fit, in one piece.
template <typename Iterator>
Iterator fitting(Iterator first, Iterator last, std::size_t width) {
  while (first != last && first->width <= width) width -= first++->width;
  return first;
}

}  // namespace

std::string printable(std::string_view text) {
  if (std::ranges::all_of(text, isPlainAscii)) return std::string(text);
  std::string shown;
  while (!text.empty()) {
    const Character character = firstCharacter(text);
    text.remove_prefix(character.bytes.size());
    shown += needsEscape(character.code) ? escaped(character) : std::string(character.bytes);
  }
  return shown;
}

std::size_t displayWidth(std::string_view text) noexcept {
  if (std::ranges::all_of(text, isPlainAscii)) return text.size();
  std::size_t width = 0;
  while (!text.empty()) {
    const Character character = firstCharacter(text);
    text.remove_prefix(character.bytes.size());
    width += widthOf(character.code);
  }
  return width;
}

std::string shortened(std::string_view text, std::size_t width) {
  if (displayWidth(text) <= width) return std::string(text);
  const std::vector<Cluster> clusters = clustersOf(text);
  const std::size_t room = width - 1;
  const auto head = fitting(clusters.begin(), clusters.end(), room / 2);
  const auto tail = fitting(clusters.rbegin(), clusters.rend(), room - room / 2);
  std::string result;
  for (auto cluster = clusters.begin(); cluster != head; ++cluster) result += cluster->bytes;
  result += kEllipsis;
  for (auto cluster = tail.base(); cluster != clusters.end(); ++cluster) result += cluster->bytes;
  return result;
}

}  // namespace audiomatch

#include "tool/database_check.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "match/database_file.h"
#include "match/database_format.h"

namespace audiomatch {
namespace {

/// Reads past `size` bytes; false when the file ends first.
bool skip(audio::DatabaseFile& file, std::uint64_t size) {
  std::array<char, 4096> dropped;
  while (size > 0) {
    const std::size_t piece = std::min<std::uint64_t>(size, dropped.size());
    if (file.read(dropped.data(), piece) != piece) return false;
    size -= piece;
  }
  return true;
}

}  // namespace

bool mayBecomeDatabase(const std::filesystem::path& path) {
  audio::DatabaseFile file(path.c_str());
  // Whether it can be written is for others to find out.
  if (!file.isOpen() || file.remaining() == 0) return true;
  const std::uint32_t names = file.readCount();
  for (std::uint32_t i = 0; i < names; ++i) {
    bool whole = false;
    const std::uint64_t length = file.readCount(&whole);
    if (!whole || !skip(file, length + 1)) return false;
  }
  const std::uint32_t table_size = file.readCount();
  const std::uint32_t time_slots = file.readCount();
  return table_size == audio::kTableSize && time_slots == audio::kTimeSlots;
}

}  // namespace audiomatch

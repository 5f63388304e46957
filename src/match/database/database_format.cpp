#include "match/database/database_format.h"

#include <utility>

namespace audio {

bool readCount(ByteSource& source, std::uint32_t& count) noexcept {
  unsigned char bytes[kCountBytes] = {};
  const std::size_t got = source.read(bytes, sizeof bytes);
  count = loadLittleEndian<std::uint32_t>(bytes);
  return got == sizeof bytes;
}

// Piece by piece, since L may be anything.
bool readName(ByteSource& source, std::string* name) {
  std::uint32_t length = 0;
  if (!readCount(source, length)) return false;
  std::uint64_t missing = std::uint64_t{length} + 1;
  char piece[4096];
  while (missing > 0) {
    const std::size_t size =
        missing < sizeof piece ? static_cast<std::size_t>(missing) : sizeof piece;
    if (source.read(piece, size) != size) return false;
    if (name) name->append(piece, size);
    missing -= size;
  }
  // Without a zero byte the whole block is the name.
  if (const std::size_t end = name ? name->find('\0') : std::string::npos;
      end != std::string::npos) {
    name->resize(end);
    name->shrink_to_fit();
  }
  return true;
}

namespace {

bool readNames(ByteSource& source, std::vector<std::string>* names) {
  std::uint32_t name_count = 0;
  readCount(source, name_count);
  if (names) names->clear();
  const std::uint64_t remaining = source.remaining();
  if (remaining > 0 && remaining < std::uint64_t{name_count} * (kCountBytes + 1)) return false;
  for (std::uint32_t i = 0; i < name_count; ++i) {
    std::string name;
    if (!readName(source, names ? &name : nullptr)) return false;
    if (names) names->push_back(std::move(name));
  }
  return true;
}

}  // namespace

bool readHeader(ByteSource& source, std::vector<std::string>* names) {
  if (!readNames(source, names)) return false;
  std::uint32_t table_size = 0;
  std::uint32_t time_slots = 0;
  readCount(source, table_size);
  readCount(source, time_slots);
  return table_size == kTableSize && time_slots == kTimeSlots;
}

}  // namespace audio

#include <algorithm>

#include "plain_match.h"

namespace plain {

namespace {

/// What is left to read of a file.
struct Reader {
  const std::vector<std::uint8_t>& bytes;
  /// Index of the next byte.
  std::size_t position = 0;

  // The bytes from there to the end.
  std::uint64_t left() const { return bytes.size() - position; }

  // The next number of that many bytes, lowest byte first; those behind the file's end count as 0.
  std::uint64_t number(int width) {
    std::uint64_t value = 0;
    for (int i = 0; i < width && left() > 0; ++i) {
      value += std::uint64_t(bytes[position]) << (8 * i);
      ++position;
    }
    return value;
  }
};

}  // namespace

// Reads a length L and a block of L + 1 bytes, whose bytes before the first zero are the name.
// False if the file ends before the block does.
static bool readName(Reader& reader, std::string& name) {
  if (reader.left() < 4) return false;
  const std::uint64_t block = reader.number(4) + 1;
  if (reader.left() < block) return false;
  const auto start = reader.bytes.begin() + std::ptrdiff_t(reader.position);
  const auto end = start + std::ptrdiff_t(block);
  name.assign(start, std::find(start, end, 0));
  reader.position += block;
  return true;
}

// Reads a count and that many entries; those that the file has not got are 0. False for a count
// of more than 1 GiB of entries which are not there.
static bool readBucket(Reader& reader, std::vector<std::uint64_t>& bucket) {
  const std::uint64_t count = reader.number(4);
  const std::uint64_t size = 8 * count;
  if (size > 1073741824 && size > reader.left()) return false;
  bucket.resize(count);
  for (std::uint64_t& entry : bucket) {
    entry = reader.number(8);
  }
  return true;
}

// The file: the number of names, the names, the two magic numbers, a bucket for every hash key.
// It may end anywhere among the buckets.
static bool readFile(Reader& reader, Database& db) {
  const std::uint64_t name_count = reader.number(4);
  for (std::uint64_t i = 0; i < name_count; ++i) {
    std::string name;
    if (!readName(reader, name)) return false;
    db.names.push_back(name);
  }
  const std::uint64_t table_size = reader.number(4);
  const std::uint64_t time_slots = reader.number(4);
  if (table_size != 1048576 || time_slots != 16384) return false;
  db.buckets.resize(table_size);
  for (std::vector<std::uint64_t>& bucket : db.buckets) {
    if (!readBucket(reader, bucket)) return false;
  }
  return true;
}

// What a bad file gave before its fault stays in the database.
bool loadDatabase(const std::vector<std::uint8_t>& fileBytes, Database& db, Log& log) {
  db = Database();
  Reader reader{fileBytes};
  if (readFile(reader, db)) return true;
  return fail(log, "load a bad db.");
}

// The name at the index, which may lie outside the names, as nothing checks the entries.
std::string audioName(const Database& db, std::int32_t audioIndex, Log& log) {
  if (audioIndex < 0) return "";
  std::string name;
  if (std::size_t(audioIndex) < db.names.size()) name = db.names[std::size_t(audioIndex)];
  say(log, "\n###### Best Match is %s.\n", name.c_str());
  return name;
}

// The hit of a packed entry with the query feature: the entry's audio, and its time less the
// feature's, modulo 2^32.
static Hit hitOf(std::uint64_t entry, const Feature& feature) {
  const std::uint32_t time = std::uint32_t(entry % 16384);
  const std::uint32_t audio = std::uint32_t(entry / 16384);
  return {std::int32_t(audio), std::int32_t(time - feature.startTime)};
}

// A feature hits every entry of the bucket of its key; a key beyond the buckets hits none.
std::vector<Hit> extractHits(const Database& db, const std::vector<Feature>& features) {
  std::vector<Hit> hits;
  for (const Feature& feature : features) {
    if (feature.hashKey >= db.buckets.size()) continue;
    for (const std::uint64_t entry : db.buckets[feature.hashKey]) {
      hits.push_back(hitOf(entry, feature));
    }
  }
  return hits;
}

// Attributes stand in the order of the features that take them, so each is taken by the first
// feature with its key, counting from the feature that took the attribute before it. If there is
// none, it and all after it stay untaken.
std::vector<Hit> attributeHits(const std::vector<Feature>& features,
                               const std::vector<Attribute>& attributes) {
  std::vector<Hit> hits(attributes.size());
  auto taker = features.begin();
  for (std::size_t j = 0; j < attributes.size(); ++j) {
    taker = std::find_if(taker, features.end(), [&](const Feature& feature) {
      return feature.hashKey == attributes[j].hashKey;
    });
    if (taker == features.end()) break;
    hits[j] = hitOf(attributes[j].hashValue, *taker);
  }
  return hits;
}

}  // namespace plain

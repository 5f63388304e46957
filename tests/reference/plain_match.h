/// From features to the best matching audio.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "plain_features.h"
#include "plain_log.h"

namespace plain {

/// Reference audio to match against. A packed entry holds a time in bits 0 to 13, in frames, and
/// an audio index in bits 14 to 45; the bits above mean nothing.
struct Database {
  /// The name of every audio, by audio index.
  std::vector<std::string> names;
  /// By hash key: the packed entries of all reference features with that key, in the file's order.
  /// 2^20 buckets, or none before a file was read.
  std::vector<std::vector<std::uint64_t>> buckets;
};

/// Reads a database from the bytes of its file; false, after a message, for a bad one.
bool loadDatabase(const std::vector<std::uint8_t>& fileBytes, Database& db, Log& log);

/// The audio's name, said in a message; empty beyond the names. For a negative index it is empty
/// without a message.
std::string audioName(const Database& db, std::int32_t audioIndex, Log& log);

/// A feature that already brings a database entry found under its key.
struct Attribute {
  /// A packed entry, as in a database's bucket.
  std::uint64_t hashValue = 0;
  /// The feature's hash.
  std::uint32_t hashKey = 0;
  bool operator==(const Attribute&) const = default;
};

/// A reference feature with the key of a query feature; as it is by default, a placeholder.
struct Hit {
  /// The reference's audio index.
  std::int32_t audio_index = -1;
  /// Frames from the query feature to the reference feature.
  std::int32_t time_offset = 2147483647;
};

/// The hits of a query in a database, by query feature, then in the order of the bucket.
std::vector<Hit> extractHits(const Database& db, const std::vector<Feature>& features);

/// One hit per attribute; a placeholder for each attribute that no feature takes.
std::vector<Hit> attributeHits(const std::vector<Feature>& features,
                               const std::vector<Attribute>& attributes);

/// The size of a large set of hits whose offsets agree, searched for with draws from the process's
/// lrand48, up to one more than `maxIterations`. Takes at least one hit, in ascending order of
/// offsets.
std::uint32_t countConsistentHits(const std::vector<Hit>& hits, std::uint32_t maxIterations = 60);

/// What scoring finds.
struct Score {
  /// The audio with the most agreeing hits.
  std::int32_t audio_index = -1;
  /// How clearly it won: 0 for a tie with the second, 1 if there is no second.
  float discrimination = 1.0f;
};

/// Scores at least one hit; their order among each other doesn't matter. Draws from lrand48.
Score scoreHits(const std::vector<Hit>& hits, Log& log);

/// What one query comes to.
struct Answer {
  /// Whether an audio was found.
  bool matched = false;
  /// The score, if it came to scoring.
  std::optional<Score> score;
  /// What is said on the way.
  Log messages;
};

/// The answer to the features of a recording.
Answer answerFromDatabase(const Database& db, const std::vector<Feature>& features);

/// The answer to features that come with their entries.
Answer answerFromAttributes(const std::vector<Feature>& features,
                            const std::vector<Attribute>& attributes);

/// Answers one query after the other. Every operation says its messages into the log.
struct Matcher {
  explicit Matcher(Log& messages) : log(messages) {}
  /// Borrows the database, null standing for a missing path, and starts a fresh extractor.
  bool init(const Database* db);
  /// Matches a recording against the database.
  bool matchAudio(const Audio* recording);
  /// The best match's name; empty without a database or a match.
  std::string bestMatchName();
  /// 0, 1 or 2, for how clearly the match won.
  std::int32_t level() const;
  /// Matches features with attributes; the discrimination goes to a non-null pointer on success.
  bool matchByFeaturesAndAttributes(const std::vector<Feature>& features,
                                    const std::vector<Attribute>& attributes,
                                    float* discriminationOut);

  /// Null before init, or if init was given none.
  const Database* database = nullptr;
  /// Made by init. Its resampler carries over from query to query.
  std::optional<Extractor> extractor;
  /// Of the latest query that came to scoring; queries that fail earlier leave it.
  std::int32_t best_match_index = -1;
  /// Of the latest query that came to scoring, but 1 again as soon as a recording is loaded.
  float discrimination = 1.0f;
  Log& log;

 private:
  bool carry(const Answer& answer);
};

}  // namespace plain

#include "plain_match.h"

namespace plain {

// Without hits there is nothing to score. A negative audio index is none.
Answer answerFromDatabase(const Database& db, const std::vector<Feature>& features) {
  Answer answer;
  const std::vector<Hit> hits = extractHits(db, features);
  if (hits.empty()) {
    say(answer.messages, "hit results is empty.");
    say(answer.messages, "extract all hits from database failed.");
    return answer;
  }
  say(answer.messages, "features num: %d", int(features.size()));
  say(answer.messages, "attribute num: %d", int(hits.size()));
  answer.score = scoreHits(hits, answer.messages);
  answer.matched = answer.score->audio_index >= 0;
  if (!answer.matched) say(answer.messages, "matched failed.");
  return answer;
}

// Only -1, the index of the placeholders, is none: the other negative indices are those of large
// stream identifiers.
Answer answerFromAttributes(const std::vector<Feature>& features,
                            const std::vector<Attribute>& attributes) {
  Answer answer;
  if (features.empty()) {
    say(answer.messages, "audio features is empty.");
    return answer;
  }
  if (attributes.empty()) {
    say(answer.messages, "audio attributes is empty.");
    return answer;
  }
  answer.score = scoreHits(attributeHits(features, attributes), answer.messages);
  answer.matched = answer.score->audio_index != -1;
  if (!answer.matched) say(answer.messages, "matched failed.");
  return answer;
}

// What an answer leaves behind: its messages, and its score even if that is no match.
bool Matcher::carry(const Answer& answer) {
  log.insert(log.end(), answer.messages.begin(), answer.messages.end());
  if (answer.score) {
    best_match_index = answer.score->audio_index;
    discrimination = answer.score->discrimination;
  }
  return answer.matched;
}

// A matcher without a database is none the less ready.
bool Matcher::init(const Database* db) {
  if (!db) say(log, "input db_path is null.");
  database = db;
  extractor.emplace(false, log);
  return true;
}

// The answer to the features of the recording, if there is a database to ask. A recording whose
// features can't be had is answered by the extractor's messages alone.
bool Matcher::matchAudio(const Audio* recording) {
  if (!database) return fail(log, "query data base is NULL.");
  discrimination = 1.0f;
  if (!recording) return fail(log, "input a NULL audio data.");
  if (!extractor->load(recording) || !extractor->extract()) return false;
  return carry(answerFromDatabase(*database, extractor->features));
}

// The name of the audio that won last.
std::string Matcher::bestMatchName() {
  if (!database) return "";
  return audioName(*database, best_match_index, log);
}

// 0 below 0.35, 1 below 0.5, else 2, compared in single precision.
std::int32_t Matcher::level() const {
  if (discrimination < 0.35f) return 0;
  if (discrimination < 0.5f) return 1;
  return 2;
}

// Neither a database nor a recording is needed, and the discrimination isn't set back first.
bool Matcher::matchByFeaturesAndAttributes(const std::vector<Feature>& features,
                                           const std::vector<Attribute>& attributes,
                                           float* discriminationOut) {
  const bool matched = carry(answerFromAttributes(features, attributes));
  if (matched && discriminationOut) *discriminationOut = discrimination;
  return matched;
}

}  // namespace plain

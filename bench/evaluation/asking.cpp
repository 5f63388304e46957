#include "asking.h"

#include <fmt/format.h>

#include <algorithm>
#include <random>
#include <stdexcept>
#include <string_view>

#include "chance.h"
#include "conditions.h"
#include "match/audio_matcher.h"

namespace bench {
namespace {

/// A question's answers by one matcher.
class Asker {
 public:
  Asker(const Collection& collection, const Listed& recording, std::size_t further)
      : collection_(collection), further_(further), is_chance_(collection.names.size(), true) {
    if (!matcher_.init(collection.database)) throw std::bad_alloc();
    for (std::size_t i = 0; i < is_chance_.size(); ++i) {
      // A copy at another speed is a stranger to it, and yet no chance.
      const std::string& name = collection.names[i];
      is_chance_[i] = name != recording.name && !name.starts_with(recording.name + "@");
    }
  }

  std::vector<audio::Match> candidates(const Question& question) {
    // So that no answer depends on those before.
    if (!matcher_.forgetHistory()) throw std::bad_alloc();
    if (question.features.empty()) return {};
    matcher_.matchFeatures(question.features);
    if (further_ == 0 || matcher_.candidates().empty()) return matcher_.candidates();
    collection_.database->extractHits(question.features, hits_);
    std::mt19937_64 random(question.excerpt * 1000 + question.condition);
    return growByChance(hits_, matcher_.candidates(), further_, is_chance_, random);
  }

  std::string_view nameOf(const audio::Match& match) const {
    const auto index = static_cast<std::size_t>(match.audio_index);
    if (index >= collection_.names.size()) return "chance";
    return collection_.names[index];
  }

 private:
  const Collection& collection_;
  std::size_t further_;
  std::vector<bool> is_chance_;
  audio::AudioMatcher matcher_;
  std::vector<audio::AudioHashHit> hits_;
};

}  // namespace

std::string answers(const Collection& collection, const Listed& recording,
                    const std::vector<Question>& questions, std::size_t further) {
  Asker asker(collection, recording, further);
  std::string lines;
  for (const Question& question : questions) {
    const std::vector<audio::Match> found = asker.candidates(question);
    const audio::Match none{};
    const audio::Match& best = found.empty() ? none : found.front();
    const std::string_view name = found.empty() ? "" : asker.nameOf(best);
    const auto other = std::ranges::find_if(
        found, [&](const audio::Match& match) { return asker.nameOf(match) != name; });
    lines += fmt::format("{},{},{},{},{},{},{},{},{},{}\n", recording.kind, recording.name,
                         question.excerpt, allConditions()[question.condition].name,
                         question.seconds, question.features.size(), name, best.matched_num,
                         found.size() > 1 ? found[1].matched_num : 0,
                         other == found.end() ? 0 : other->matched_num);
  }
  return lines;
}

}  // namespace bench

#include "asking.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <new>
#include <random>
#include <string_view>
#include <utility>

#include "chance.h"
#include "conditions.h"
#include "match/audio_matcher.h"
#include "tool/recognition/recogniser.h"

namespace bench {
namespace {

/// A collection, or a larger one that chance makes of it, as one recording asks it.
class Asker {
 public:
  Asker(const Collection& collection, const Listed& recording, std::size_t further)
      : collection_(collection), further_(further), is_chance_(collection.names.size()) {
    std::vector<std::string> names = collection.names;
    for (std::size_t i = 0; i < is_chance_.size(); ++i) {
      // A copy at another speed is a stranger to it, and yet no chance.
      is_chance_[i] = names[i] != recording.name && !names[i].starts_with(recording.name + "@");
    }
    const std::size_t count = names.size() * (1 + further);
    while (names.size() < count) names.push_back(fmt::format("chance {}", names.size()));
    found_.names = std::make_shared<audiomatch::ReferenceNames>(std::move(names), 0);
  }

  /// Looks a question up.
  void ask(const Question& question) {
    found_.hits.clear();
    if (question.features.empty()) return;
    collection_.database->extractHits(question.features, found_.hits);
    if (further_ == 0) return;
    std::mt19937_64 random(question.excerpt * 1000 + question.condition);
    found_.hits = growByChance(found_.hits, is_chance_, further_, random);
  }

  /// The engine's candidates.
  std::vector<audio::Match> candidates(const Question& question) {
    // So that no answer depends on those before.
    if (!matcher_.forgetHistory()) throw std::bad_alloc();
    matcher_.matchHits(question.features, found_.hits);
    return matcher_.candidates();
  }

  /// The name that the tool gives it; empty where it isn't recognised.
  std::string named(const Question& question) const {
    const audiomatch::Answer answer =
        audiomatch::judgeHits(question.features, found_, audiomatch::kThresholds);
    return answer.verdict.recognised ? answer.verdict.candidates[0].name : "";
  }

  std::string_view nameOf(const audio::Match& match) const {
    return found_.names->name(match.audio_index);
  }

 private:
  const Collection& collection_;
  std::size_t further_;
  std::vector<bool> is_chance_;
  audio::AudioMatcher matcher_;
  audiomatch::FoundHits found_;
};

}  // namespace

std::string answers(const Collection& collection, const Listed& recording,
                    const std::vector<Question>& questions, std::size_t further) {
  Asker asker(collection, recording, further);
  std::string lines;
  for (const Question& question : questions) {
    asker.ask(question);
    const std::vector<audio::Match> found = asker.candidates(question);
    const audio::Match none{};
    const audio::Match& best = found.empty() ? none : found.front();
    const std::string_view name = found.empty() ? "" : asker.nameOf(best);
    const auto other = std::ranges::find_if(
        found, [&](const audio::Match& match) { return asker.nameOf(match) != name; });
    lines += fmt::format("{},{},{},{},{},{},{},{},{},{},{}\n", recording.kind, recording.name,
                         question.excerpt, allConditions()[question.condition].name,
                         question.seconds, question.features.size(), name, best.matched_num,
                         found.size() > 1 ? found[1].matched_num : 0,
                         other == found.end() ? 0 : other->matched_num, asker.named(question));
  }
  return lines;
}

}  // namespace bench

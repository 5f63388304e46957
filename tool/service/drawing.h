#pragma once

#include <cstdint>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <vector>

#include "tool/recognition/channel_verdict.h"
#include "tool/recognition/recogniser.h"
#include "tool/service/http_message.h"
#include "tool/service/question.h"

namespace audiomatch {

/// What it takes to draw a question and its answer: the engine's own spectrogram
/// and peaks of the recording, and the hits of the best candidate. Does nothing
/// unless it is asked for. All may throw std::bad_alloc.
class Drawing {
 public:
  /// @param question  outlives this object
  Drawing(const HttpRequest& request, const Question& question)
      : is_wanted_(wantsDrawing(request)), question_(question) {}

  /// Notes the hits of the best candidate, unless there are some of an answer that
  /// recognised, or of one before that didn't.
  void showHits(const Answer& answer, const FoundHits& found);
  void showHits(const ChannelAnswer& answer, const std::vector<audio::AudioAttribute>& found,
                const std::function<std::optional<OnAir>(std::uint32_t)>& on_air);

  /// Adds it as the key "drawing".
  void addTo(nlohmann::ordered_json& answer) const;

 private:
  bool hasRoom(bool recognised);

  bool is_wanted_;
  const Question& question_;
  nlohmann::ordered_json hits_;
  bool recognised_ = false;  // by the answer whose hits these are
};

}  // namespace audiomatch

#include "tool/recognition/listening.h"

#include <memory>
#include <utility>
#include <vector>

#include "tool/base/interrupt.h"
#include "tool/base/parallel.h"

namespace audiomatch {
namespace {

/// Answers for the next windows, as many as there are jobs.
class WindowAnswers {
 public:
  WindowAnswers(SoundSource& source, const References& references, const Listening& listening)
      : windows_(source, listening.grid), jobs_(listening.jobs) {
    for (unsigned i = 0; i < jobs_; ++i) {
      recognisers_.push_back(std::make_unique<Recogniser>(references, listening.thresholds));
    }
  }

  struct Next {
    WindowAnswer answer;
    std::vector<TimeSpan> silences;
  };

  /// Empty after the last window.
  std::vector<Next> next(double settled) {
    std::vector<Window> windows;
    while (windows.size() < jobs_) {
      std::optional<Window> window = windows_.next(settled);
      if (!window) break;
      windows.push_back(std::move(*window));
    }
    std::vector<Next> answers(windows.size());
    const auto recognise = [&](std::size_t i) {
      Recogniser& recogniser = *recognisers_[i];
      Answer answer = recogniser.recognise(*windows[i].sound);
      answers[i] = {{windows[i].span, std::move(answer), recogniser.features(), recogniser.found()},
                    std::move(windows[i].silences)};
    };
    forEachParallel(windows.size(), jobs_, recognise, [] {});
    return answers;
  }

 private:
  ListeningWindows windows_;
  unsigned jobs_;
  std::vector<std::unique_ptr<Recogniser>> recognisers_;
};

}  // namespace

void listen(SoundSource& source, const References& references, const Listening& listening,
            const Timeline::Report& report, const std::function<bool(const HeardSoFar&)>& follow) {
  WindowAnswers windows(source, references, listening);
  Timeline timeline(listening.thresholds, report);
  try {
    for (auto answers = windows.next(0.0); !answers.empty();
         answers = windows.next(timeline.settled())) {
      for (auto& [answer, silences] : answers) {
        const TimeSpan window = answer.span;
        const auto& candidates = answer.answer.verdict.candidates;
        const std::int32_t agreeing = candidates.empty() ? 0 : candidates[0].agreeing;
        timeline.add(std::move(answer), silences);
        if (!follow({window, agreeing, timeline.now()})) return timeline.end();
      }
    }
  } catch (const Interrupted&) {
    // What was heard by then was heard.
    timeline.end();
    throw;
  }
  timeline.end();
}

}  // namespace audiomatch

#include "tool/recognition/match_job.h"

#include <cmath>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "tool/base/interrupt.h"
#include "tool/input/fingerprint_file.h"
#include "tool/input/recording.h"
#include "tool/output/messages.h"
#include "tool/output/progress.h"
#include "tool/recognition/speed_search.h"

namespace audiomatch {
namespace {

/// Collects what a timeline comes to.
class TimelineRows {
 public:
  TimelineRows(std::string file, const RowSink& rows) : file_(std::move(file)), rows_(rows) {}

  void add(const Heard& heard) {
    const MatchRow row{.file = file_,
                       .heard = heard,
                       .features = {},
                       .hits = {},
                       .percent_faster = {},
                       .error = {}};
    if (row.isRecognised()) code_ = ExitCode::kSuccess;
    rows_(row);
  }

  ExitCode code() const noexcept { return code_; }

 private:
  std::string file_;
  const RowSink& rows_;
  ExitCode code_ = ExitCode::kNoMatch;
};

ExitCode matchTimeline(SoundSource& source, const std::string& file, const References& references,
                       const MatchJob& job, const RowSink& rows) {
  TimelineRows timeline(file, rows);
  Progress progress = Progress::ofSound(
      job.show_progress, static_cast<double>(source.promisedFrames()) / source.sampleRate());
  listen(
      source, references, job.listening, [&](const Heard& heard) { timeline.add(heard); },
      [&](const HeardSoFar& heard) {
        progress.reach(heard.window.to);
        return true;
      });
  return timeline.code();
}

std::size_t framesOf(double seconds, const SoundSource& source) {
  return static_cast<std::size_t>(std::llround(seconds * source.sampleRate()));
}

bool promisesToBeLong(const SoundSource& source) {
  return source.promisedFrames() > framesOf(kLongestWhole, source);
}

/// Nothing when the recording turns out to be long.
std::optional<std::vector<std::int16_t>> readShort(SoundSource& source) {
  std::vector<std::int16_t> samples;
  const std::size_t most = framesOf(kLongestWhole, source);
  samples.reserve(source.roomFor(most + 1));
  if (source.read(samples, most + 1) > most) return std::nullopt;
  return samples;
}

ExitCode matchWhole(const audio::AudioData& recording, const std::string& file,
                    const References& references, const MatchJob& job, const RowSink& rows) {
  Recogniser recogniser(references, job.listening.thresholds);
  SpeedSearch search(recogniser, job.speed);
  Progress progress(job.show_progress && job.speed > 0.0, search.speeds() - 1);
  const auto [answer, percent] = search.recognise(recording, [&] { progress.step(); });
  const double seconds = static_cast<double>(recording.dataLen()) / recording.sampleRate();
  if (!answer.problem.empty()) report(answer.problem, file);
  MatchRow row = rowOf(file, seconds, answer);
  if (job.speed > 0.0) row.percent_faster = percent;
  rows(row);
  return answer.code;
}

/// Matches a fingerprint that was made before.
ExitCode matchFingerprint(Fingerprint fingerprint, const std::string& file,
                          const References& references, const MatchJob& job, const RowSink& rows) {
  Recogniser recogniser(references, job.listening.thresholds);
  const Answer answer = recogniser.recognise(std::move(fingerprint.features));
  if (!answer.problem.empty()) report(answer.problem, file);
  rows(rowOf(file, fingerprint.seconds, answer));
  return answer.code;
}

ExitCode matchSound(std::unique_ptr<SoundSource> source, const std::filesystem::path& file,
                    const References& references, const MatchJob& job, const RowSink& rows) {
  const bool by_windows = job.shape == MatchJob::Shape::kTimeline ||
                          (job.shape == MatchJob::Shape::kByLength && promisesToBeLong(*source));
  if (!by_windows) {
    const std::optional<std::vector<std::int16_t>> samples = readShort(*source);
    if (samples && samples->empty()) throw FileError(file, "holds no sound");
    if (samples) {
      const auto recording = toAudio(*samples, source->channels(), source->sampleRate());
      const ExitCode code = matchWhole(*recording, file.string(), references, job, rows);
      return worse(code, reportDamage(file, source->damage()));
    }
    source = openSound(file, job.sound);
  }
  const ExitCode code = matchTimeline(*source, file.string(), references, job, rows);
  return worse(code, reportDamage(file, source->damage()));
}

/// Says why a recording can't be matched; the fault may be the references'.
ExitCode failed(const std::filesystem::path& recording, const FileError& error,
                const RowSink& rows) {
  report(error);
  rows(failedRow(recording.string(), error.what()));
  return ExitCode::kFailure;
}

}  // namespace

ExitCode matchFile(const InputFile& file, const References& references, const MatchJob& job,
                   const RowSink& rows) {
  const std::filesystem::path& path = file.path;
  try {
    if (std::optional<Fingerprint> fingerprint = readFingerprint(path)) {
      return matchFingerprint(std::move(*fingerprint), path.string(), references, job, rows);
    }
    if (job.shape != MatchJob::Shape::kWhole) {
      return matchSound(openSound(path, job.sound), path, references, job, rows);
    }
    const Recording recording = readRecording(path, job.sound);
    const ExitCode code = matchWhole(*recording.audio, path.string(), references, job, rows);
    return worse(code, reportDamage(path, recording.damage));
  } catch (const FileError& problem) {
    const bool is_the_recordings = problem.path() == path;
    if (!file.named && is_the_recordings) {
      warn(FileError(path, "skipped: " + std::string(problem.problem())));
      return ExitCode::kSuccess;
    }
    return failed(path, problem, rows);
  } catch (const std::bad_alloc&) {
    return failed(
        path, FileError(path, "too long for the memory there is; match it without --whole"), rows);
  }
}

ExitCode matchStandardInput(const std::optional<RawFormat>& raw, const References& references,
                            const MatchJob& job, const RowSink& rows, const RowSink& now) {
  TimelineRows timeline("-", rows);
  std::optional<Heard> latest;
  const auto follow = [&](const HeardSoFar& heard) {
    // A first window that isn't whole says little against a recording.
    const bool too_early =
        heard.now.kind == Heard::Kind::kUnknown && heard.window.to < job.listening.grid.length;
    const bool same = latest && latest->kind == heard.now.kind && latest->name == heard.now.name &&
                      (latest->kind != Heard::Kind::kRecognised || latest->from == heard.now.from);
    if (too_early || same) return true;
    latest = heard.now;
    now({.file = "-",
         .heard = heard.now,
         .features = {},
         .hits = {},
         .percent_faster = {},
         .error = {}});
    return true;
  };
  ExitCode damaged = ExitCode::kSuccess;
  try {
    const std::unique_ptr<SoundSource> source = openStandardInput(raw, job.sound);
    listen(
        *source, references, job.listening, [&](const Heard& heard) { timeline.add(heard); },
        follow);
    if (source->position() == 0) throw FileError("standard input", "holds no sound");
    damaged = reportDamage("standard input", source->damage());
  } catch (const Interrupted&) {
    // The user has heard enough.
  }
  return worse(timeline.code(), damaged);
}

}  // namespace audiomatch

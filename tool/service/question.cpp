#include "tool/service/question.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

#include "base/analysis_grid.h"
#include "feature/feature_extractor.h"
#include "feature/land_mark.h"
#include "tool/base/errors.h"
#include "tool/input/fingerprint_file.h"
#include "tool/input/recording.h"
#include "tool/service/http_error.h"
#include "tool/service/json_body.h"

namespace audiomatch {
namespace {

constexpr const char* kName = "the recording";
// Seconds that features may be said to last.
constexpr double kLongestTold = 1e9;
// What may be decoded for a question: a minute of eight channels at 48 kHz.
constexpr std::size_t kMostSamples = std::size_t{60} * 48'000 * 8;

std::uint32_t numberOf(const std::string& name, const std::string& text, std::uint32_t least,
                       std::uint32_t most) {
  std::uint32_t number = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (text.empty() || error != std::errc() || stop != end || number < least || number > most) {
    throw HttpError(400, fmt::format("{} must be a number from {} to {}", name, least, most));
  }
  return number;
}

}  // namespace

std::optional<RawFormat> rawFormatOf(const HttpRequest& request) {
  std::optional<RawFormat> raw;
  for (const auto& [name, value] : request.query) {
    if (name != "rate" && name != "channels" && name != "format") continue;
    if (!raw) raw.emplace();
    if (name == "rate") raw->rate = numberOf(name, value, audio::kLowestRate, audio::kHighestRate);
    if (name == "channels") raw->channels = numberOf(name, value, 1, 8);
    if (name != "format") continue;
    const std::vector<std::string> known = rawEncodings();
    if (std::ranges::find(known, value) == known.end()) {
      throw HttpError(400, fmt::format("format must be one of {}", fmt::join(known, ", ")));
    }
    raw->encoding = value;
  }
  return raw;
}

namespace {

[[noreturn]] void refuseFeatures() {
  throw HttpError(400,
                  "features must be a list of pairs [startTime, hashKey], hashKey below 1048576");
}

/// The features of {"features": [[startTime, hashKey], ...], "seconds": 10}.
Question fromJson(const std::string& body) {
  // A pair and its numbers for each feature, and what else is told.
  const auto json = parseJsonBody(body, 3, 3 * kMostQuestionFeatures + 100);
  const auto list = json.find("features");
  if (list == json.end() || !list->is_array()) refuseFeatures();
  if (list->size() > kMostQuestionFeatures) throw tooManyFeatures(kMostQuestionFeatures);
  Question question;
  question.features.reserve(list->size());
  for (const auto& pair : *list) {
    if (!pair.is_array() || pair.size() != 2 || !pair[0].is_number_unsigned() ||
        !pair[1].is_number_unsigned()) {
      refuseFeatures();
    }
    const auto time = pair[0].get<std::uint64_t>();
    const auto key = pair[1].get<std::uint64_t>();
    if (time > UINT32_MAX || key >= audio::kHashKeys) refuseFeatures();
    question.features.push_back(
        {static_cast<std::uint32_t>(time), static_cast<std::uint32_t>(key)});
  }
  audio::sortUnique(question.features);
  const auto seconds = json.find("seconds");
  if (seconds == json.end()) return question;
  if (seconds->is_number()) question.seconds = seconds->get<double>();
  if (!seconds->is_number() || question.seconds < 0.0 || question.seconds > kLongestTold) {
    throw HttpError(400, fmt::format("seconds must be a number from 0 to {}", kLongestTold));
  }
  return question;
}

Question fromFingerprint(const std::string& body) {
  Fingerprint fingerprint = parseFingerprint(body, "the fingerprint", kMostQuestionFeatures);
  Question question;
  question.features = std::move(fingerprint.features);
  question.seconds = fingerprint.seconds;
  return question;
}

/// All samples of a recording that isn't too long.
std::vector<std::int16_t> samplesOf(SoundSource& sound) {
  const auto most = static_cast<std::size_t>(kLongestQuestion * sound.sampleRate());
  std::vector<std::int16_t> samples;
  samples.reserve(sound.roomFor(most + 1));
  if (sound.read(samples, most + 1) > most) {
    throw HttpError(413, fmt::format("the recording is longer than {:.0f} seconds; send a piece "
                                     "of it",
                                     kLongestQuestion));
  }
  return samples;
}

Question fromSound(const HttpRequest& request, const std::optional<RawFormat>& raw) {
  const auto sound = openSoundBytes(
      request.body, kName, raw, {.ffmpeg = false, .to_mono = true, .most_samples = kMostSamples});
  const std::vector<std::int16_t> samples = samplesOf(*sound);
  if (samples.empty()) throw HttpError(415, "the recording holds no sound");
  auto recording = toAudio(samples, sound->channels(), sound->sampleRate());
  audio::FeatureExtractor extractor;
  if (!extractor.init(false) || !extractor.loadAudio(recording.get())) throw std::bad_alloc();
  Question question;
  if (extractor.extractFeatures()) question.features = extractor.getFeatures();
  question.outcome = extractor.outcome();
  if (!isAnalysable(question.outcome)) throw HttpError(415, describe(question.outcome));
  question.seconds = static_cast<double>(recording->dataLen()) / recording->sampleRate();
  question.damage = sound->damage();
  if (wantsDrawing(request)) question.sound = std::move(recording);
  return question;
}

}  // namespace

bool asksFor(const HttpRequest& request, const std::string& name) {
  const auto wish = request.query.find(name);
  if (wish == request.query.end() || wish->second == "0") return false;
  if (wish->second != "1") throw HttpError(400, name + " must be 0 or 1");
  return true;
}

HttpError notARecording(const HttpRequest& request, const FileError& error) {
  std::string hint;
  if (request.type.starts_with("multipart/")) {
    hint = "; send it as the body itself (curl --data-binary @FILE), not as a form";
  } else if (request.body.starts_with('{') && request.type != "application/json") {
    hint = "; features as JSON need Content-Type: application/json";
  }
  return {415, error.what() + hint};
}

Question readQuestion(const HttpRequest& request) {
  if (request.body.empty()) throw HttpError(400, "the body is empty; send a recording");
  try {
    const std::optional<RawFormat> raw = rawFormatOf(request);
    if (raw) return fromSound(request, raw);
    if (looksLikeFingerprint(request.body)) return fromFingerprint(request.body);
    if (request.type == "application/json") return fromJson(request.body);
    return fromSound(request, {});
  } catch (const FileError& error) {
    throw notARecording(request, error);
  } catch (const std::length_error& error) {
    throw HttpError(413, error.what());
  } catch (const std::system_error& error) {
    // Descriptors or memory, which its sound is read through.
    throw HttpError(503, std::string(error.what()) + "; try again later");
  }
}

}  // namespace audiomatch

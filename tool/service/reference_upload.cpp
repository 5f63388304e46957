#include "tool/service/reference_upload.h"

#include <fmt/core.h>

#include <memory>
#include <stdexcept>
#include <system_error>

#include "base/analysis_grid.h"
#include "match/database/database_format.h"
#include "tool/base/errors.h"
#include "tool/input/fingerprint_file.h"
#include "tool/input/sound_source.h"
#include "tool/keeping/entry_selection.h"
#include "tool/keeping/reference_analysis.h"
#include "tool/output/display_text.h"
#include "tool/service/channel_message.h"
#include "tool/service/http_error.h"
#include "tool/service/question.h"

namespace audiomatch {
namespace {

constexpr const char* kWhat = "the recording";
// Decoded: stereo at 96 kHz for as long as a reference may be.
constexpr auto kMostSamples = static_cast<std::uint64_t>(192'000 * kLongestReference);

NewReference fromSound(std::string name, const HttpRequest& request) {
  const auto sound = openSoundBytes(
      request.body, kWhat, rawFormatOf(request),
      {.strict = true, .ffmpeg = false, .to_mono = true, .most_samples = kMostSamples});
  return {std::move(name),
          ReferenceAnalyser().analyse(*sound, kWhat, kUsualRoom, kLongestReference).parts};
}

/// A fingerprint's features as a database takes them: in parts, each with times of its own.
NewReference fromFingerprint(std::string name, const std::string& body) {
  const Fingerprint fingerprint = parseFingerprint(body, "the fingerprint", kMostReferenceFeatures);
  NewReference reference{std::move(name), {}};
  for (const audio::AudioFeature& feature : fingerprint.features) {
    if (audio::secondsOfFrames(feature.startTime) > kLongestReference) {
      throw HttpError(413, fmt::format("longer than {:.0f} seconds", kLongestReference));
    }
    const std::uint32_t part = feature.startTime / audio::kTimeSlots;
    if (part >= reference.parts.size()) reference.parts.resize(part + 1);
    reference.parts[part].push_back({feature.startTime % audio::kTimeSlots, feature.hashKey});
  }
  if (reference.parts.empty()) throw HttpError(415, "the fingerprint has no features");
  for (auto& part : reference.parts) selectEntries(part, kUsualEntries);
  return reference;
}

}  // namespace

std::string requireName(const std::string& name) {
  if (name.empty() || name.size() > kLongestName || printable(name) != name) {
    throw HttpError(400, fmt::format("give it a name of 1 to {} bytes, ?name=NAME, in UTF-8 and "
                                     "without control characters",
                                     kLongestName));
  }
  return name;
}

NewReference readReference(const HttpRequest& request) {
  const auto given = request.query.find("name");
  std::string name = requireName(given == request.query.end() ? "" : given->second);
  if (request.body.empty()) throw HttpError(400, "the body is empty; send a recording");
  try {
    if (!rawFormatOf(request) && looksLikeFingerprint(request.body)) {
      return fromFingerprint(std::move(name), request.body);
    }
    return fromSound(std::move(name), request);
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

#include <bit>

#include "plain_signal.h"

namespace plain {

// Only the first zero is named.
bool shapeAudio(Audio& audio, std::uint32_t channels, std::uint32_t rate, std::uint32_t len,
                Log& log) {
  if (channels == 0) return fail(log, "input a invalid channel num = 0.");
  if (rate == 0) return fail(log, "input a invalid sample rate = 0.");
  if (len == 0) return fail(log, "input a invalid sample count = 0.");
  audio.rate = rate;
  audio.rows.assign(channels, std::vector<float>(len, 0.0f));
  return true;
}

// Every sample is scaled by 1/32767, rounded to single precision, so that 32767 becomes 1.
Audio fromPcm(const std::int16_t* interleaved, std::uint32_t channels, std::uint32_t len,
              std::uint32_t rate, Log& log) {
  const float scale = std::bit_cast<float>(0x38000100u);
  Audio audio;
  if (!shapeAudio(audio, channels, rate, len, log)) return audio;
  say(log, "audio channels = %d.", int(audio.channels()));
  say(log, "audio sample rate = %d.", int(audio.rate));
  say(log, "audio data len = %d.", int(audio.len()));
  for (std::size_t channel = 0; channel < channels; ++channel) {
    for (std::size_t i = 0; i < len; ++i) {
      audio.rows[channel][i] = scale * float(interleaved[i * channels + channel]);
    }
  }
  return audio;
}

// A single channel is itself. Several are summed from the first channel to the last and multiplied
// by the reciprocal of their number, which is not the same bits as a division.
Audio mixToMono(const Audio& audio) {
  if (audio.channels() == 1) return audio;
  const float reciprocal = 1.0f / float(audio.channels());
  Audio mono;
  mono.rate = audio.rate;
  mono.rows.resize(1);
  for (std::size_t i = 0; i < audio.len(); ++i) {
    float sum = 0.0f;
    for (const std::vector<float>& row : audio.rows) {
      sum += row[i];
    }
    mono.rows[0].push_back(sum * reciprocal);
  }
  return mono;
}

}  // namespace plain

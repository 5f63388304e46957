#include "tool/input/sndfile_decoder.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <mutex>
#include <string_view>
#include <utility>

#include "tool/input/ogg_end.h"

namespace audiomatch {
namespace {

// A file that is nothing but damage mustn't take for ever.
constexpr unsigned kMostProblems = 100;

constexpr const char* kHole = "pages are missing";

// As far as the place of a hole can be told.
constexpr std::size_t kOggFrames = 512;

// What libsndfile promises where it doesn't know the length is beyond.
constexpr std::uint64_t kMostFrames = std::uint64_t{1} << 46;

// Programs that write WAV into a pipe promise this many bytes or more.
constexpr std::uint64_t kUnknownBytes = 0x7FFF'0000;

/// True for formats whose decoder works in floats; the others hold integers.
bool decodesToFloat(int format) noexcept {
  switch (format & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_FLOAT:
    case SF_FORMAT_DOUBLE:
    case SF_FORMAT_VORBIS:
    case SF_FORMAT_OPUS:
    case SF_FORMAT_MPEG_LAYER_I:
    case SF_FORMAT_MPEG_LAYER_II:
    case SF_FORMAT_MPEG_LAYER_III:
      return true;
    default:
      return false;
  }
}

/// The number that follows `label` in the text; 0 for none.
std::uint64_t numberBehind(std::string_view text, std::string_view label) noexcept {
  const std::size_t place = text.find(label);
  if (place == std::string_view::npos) return 0;
  text.remove_prefix(std::min(text.find_first_not_of(' ', place + label.size()), text.size()));
  std::uint64_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

/// What libsndfile's parser and decoder had to say so far.
std::string logOf(SNDFILE* file) {
  std::array<char, 4096> buffer;
  const int size = sf_command(file, SFC_GET_LOG_INFO, buffer.data(), buffer.size());
  return {buffer.data(), static_cast<std::size_t>(std::clamp<int>(size, 0, buffer.size() - 1))};
}

/// Holes met between the pages of an Ogg file, which only the log tells.
std::size_t holesIn(SNDFILE* file) {
  constexpr std::string_view kNote = "reports a hole";
  const std::string log = logOf(file);
  std::size_t holes = 0;
  for (std::size_t at = log.find(kNote); at != std::string::npos; at = log.find(kNote, at + 1))
    ++holes;
  return holes;
}

/// The decoder's error as a part of a sentence.
std::string errorOf(SNDFILE* file) {
  std::string text = sf_strerror(file);
  if (text.starts_with("Error : ")) text.erase(0, 8);
  while (text.ends_with('.')) text.pop_back();
  return text;
}

/// Frames that the header promises. libsndfile itself counts those that a cut
/// file has; what its header says stands only in the log of its parser.
std::uint64_t promisedBy(SNDFILE* file, const SF_INFO& info) {
  const std::string text = logOf(file);
  const std::string_view log = text;
  for (const char* label : {"'COMM' chunk (", "'ds64' chunk of "}) {
    if (const std::uint64_t frames = numberBehind(log, label); frames > 0) return frames;
  }
  const auto frames = static_cast<std::uint64_t>(std::max<sf_count_t>(info.frames, 0));
  for (const char* label : {"\ndata :", "\n  Data Size   :"}) {
    const std::uint64_t bytes = numberBehind(log, label);
    if (bytes >= kUnknownBytes) return 0;
    const std::string_view line = log.substr(std::min(log.find(label), log.size()));
    const std::uint64_t there = numberBehind(line.substr(0, line.find('\n', 1)), "(should be");
    if (bytes > there && there > 0 && frames < kMostFrames) {
      const double ratio = static_cast<double>(bytes) / static_cast<double>(there);
      return static_cast<std::uint64_t>(static_cast<double>(frames) * ratio);
    }
  }
  return frames < kMostFrames ? frames : 0;
}

}  // namespace

std::unique_ptr<SndfileDecoder> SndfileDecoder::open(Descriptor descriptor,
                                                     const std::optional<RawFormat>& raw) {
  std::unique_ptr<SndfileDecoder> decoder(new SndfileDecoder(std::move(descriptor)));
  if (raw) {
    decoder->info_.samplerate = static_cast<int>(raw->rate);
    decoder->info_.channels = static_cast<int>(raw->channels);
    decoder->info_.format = sndfileEncoding(raw->encoding);
  }
  if (!decoder->openFile() || decoder->info_.samplerate <= 0) return nullptr;
  decoder->decodes_to_float_ = decodesToFloat(decoder->info_.format);
  if (!raw) decoder->promised_ = promisedBy(decoder->file_.get(), decoder->info_);
  return decoder;
}

/// libsndfile keeps the cause of a failed opening in one place for the whole
/// process.
bool SndfileDecoder::openFile() {
  static std::mutex opening;
  const std::lock_guard lock(opening);
  file_.reset(sf_open_fd(descriptor_.duplicate().release(), SFM_READ, &info_, SF_TRUE));
  return file_ != nullptr;
}

std::size_t SndfileDecoder::read(std::int16_t* samples, std::size_t frames) {
  problem_.clear();
  std::size_t done = 0;
  while (done < frames && problem_.empty()) {
    const std::size_t wanted =
        isOf(SF_FORMAT_OGG) ? std::min(frames - done, kOggFrames) : frames - done;
    const std::size_t came = decode(samples + done * channels(), wanted);
    done += came;
    position_ += came;
    if (came < wanted) break;
  }
  return done;
}

/// Decodes up to `frames` frames. Those around a hole are dropped.
std::size_t SndfileDecoder::decode(std::int16_t* samples, std::size_t frames) {
  if (!file_) return 0;
  sf_count_t came = 0;
  if (decodes_to_float_) {
    floats_.resize(frames * channels());
    came = sf_readf_float(file_.get(), floats_.data(), static_cast<sf_count_t>(frames));
    const auto count = static_cast<std::ptrdiff_t>(came) * info_.channels;
    std::transform(floats_.begin(), floats_.begin() + count, samples, toPcm16);
  } else {
    came = sf_readf_short(file_.get(), samples, static_cast<sf_count_t>(frames));
  }
  const auto count = static_cast<std::size_t>(std::max<sf_count_t>(came, 0));
  if (count < frames && sf_error(file_.get()) != SF_ERR_NO_ERROR) problem_ = errorOf(file_.get());
  if (!isOf(SF_FORMAT_OGG)) return count;
  if (std::exchange(holes_, holesIn(file_.get())) < holes_) {
    problem_ = kHole;
    return 0;
  }
  if (count < frames && problem_.empty() && !oggEndIsThere(descriptor_)) problem_ = kOggEndMissing;
  return count;
}

/// FLAC's decoder doesn't recover, and behind a hole of an Ogg file the time is
/// lost: the file is opened again and searched for what can be decoded next.
/// Others, and pipes, in which one can't go back, go on from where they are.
std::optional<std::uint64_t> SndfileDecoder::resume() {
  if (++problems_ > kMostProblems || problem_ == kOggEndMissing) return {};
  const bool can_go_back = lseek(descriptor_.get(), 0, SEEK_CUR) >= 0;
  if (!can_go_back || (!isOf(SF_FORMAT_FLAC) && problem_ != kHole)) return 0;
  const auto start = static_cast<sf_count_t>(position_);
  const sf_count_t step = std::max<sf_count_t>(info_.samplerate / 100, kOggFrames);
  // Where libsndfile doesn't know the length it gives the largest number.
  const sf_count_t end = std::min(info_.frames, static_cast<sf_count_t>(kMostFrames));
  // The further away, the longer the steps.
  for (sf_count_t missing = step; start + missing < end; missing += std::max(step, missing / 10)) {
    if (const sf_count_t found = openBehind(start + missing); found > start) {
      position_ = static_cast<std::uint64_t>(found);
      return position_ - static_cast<std::uint64_t>(start);
    }
  }
  return {};
}

/// Opens the file again at or behind a frame. Returns where; -1 when nothing can
/// be decoded there.
sf_count_t SndfileDecoder::openBehind(sf_count_t target) {
  file_.reset();
  holes_ = 0;
  if (lseek(descriptor_.get(), 0, SEEK_SET) != 0 || !openFile()) return -1;
  const sf_count_t found = sf_seek(file_.get(), target, SEEK_SET);
  std::vector<std::int16_t> probe(channels());
  if (found < target || sf_readf_short(file_.get(), probe.data(), 1) != 1) return -1;
  if (isOf(SF_FORMAT_OGG)) holes_ = holesIn(file_.get());
  return found + 1;
}

}  // namespace audiomatch

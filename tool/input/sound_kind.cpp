#include "tool/input/sound_kind.h"

namespace audiomatch {
namespace {

using namespace std::string_view_literals;

/// What files of a format have at a place near their start.
struct Mark {
  std::size_t place;
  std::string_view bytes;
  SoundKind kind;
};

constexpr Mark kMarks[] = {
    {4, "ftyp"sv, SoundKind::kFfmpeg},              // MP4, M4A, MOV, 3GP
    {4, "moov"sv, SoundKind::kFfmpeg},              // MOV
    {4, "mdat"sv, SoundKind::kFfmpeg},              // MOV
    {4, "wide"sv, SoundKind::kFfmpeg},              // MOV
    {0, "\x30\x26\xB2\x75"sv, SoundKind::kFfmpeg},  // WMA, WMV
    {0, "\x1A\x45\xDF\xA3"sv, SoundKind::kFfmpeg},  // Matroska, WebM
    {8, "AVI "sv, SoundKind::kFfmpeg},
    {0, "FLV\1"sv, SoundKind::kFfmpeg},
    {0, "\0\0\1\xBA"sv, SoundKind::kFfmpeg},  // MPEG, program stream
    {0, "\xFF\xF1"sv, SoundKind::kFfmpeg},    // AAC
    {0, "\xFF\xF9"sv, SoundKind::kFfmpeg},    // AAC
    {0, "ADIF"sv, SoundKind::kFfmpeg},        // AAC
    {0, "\x0B\x77"sv, SoundKind::kFfmpeg},    // AC-3
    {0, "#!AMR"sv, SoundKind::kFfmpeg},
    {0, ".RMF"sv, SoundKind::kFfmpeg},  // RealMedia
    {0, "MAC "sv, SoundKind::kFfmpeg},  // Monkey's Audio
    {0, "wvpk"sv, SoundKind::kFfmpeg},  // WavPack
    {0, "TTA1"sv, SoundKind::kFfmpeg},
    {0, "tBaK"sv, SoundKind::kFfmpeg},
    {0, "MPCK"sv, SoundKind::kFfmpeg},  // Musepack
    {0, "MP+"sv, SoundKind::kFfmpeg},   // Musepack
    {0, "DSD "sv, SoundKind::kFfmpeg},
    {0, "FRM8"sv, SoundKind::kFfmpeg},  // DSD
    {8, "WAVEfmt \x1E\0\0\0\x55\0"sv, SoundKind::kMpeg},
    {8, "WAVE"sv, SoundKind::kEither},  // with one of many codecs
    {28, "OpusHead"sv, SoundKind::kOpus},
    {0, "OggS"sv, SoundKind::kEither},
    {0, "caff"sv, SoundKind::kEither},
    {0, "ID3"sv, SoundKind::kMpeg},  // or FLAC, AAC, ...
};

bool isAt(std::string_view start, std::size_t place, std::string_view bytes) noexcept {
  return start.size() > place && start.substr(place).starts_with(bytes);
}

/// True for the header of an MPEG audio frame: 11 bits set, and a version, a
/// layer, a bit rate and a sample rate that there are.
bool isMpegFrame(std::string_view start) noexcept {
  if (start.size() < 4) return false;
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(start[i]); };
  return byte(0) == 0xFF && (byte(1) & 0xE0) == 0xE0 && (byte(1) & 0x18) != 0x08 &&
         (byte(1) & 0x06) != 0 && (byte(2) & 0xF0) != 0xF0 && (byte(2) & 0x0C) != 0x0C;
}

}  // namespace

SoundKind soundKind(std::string_view start) noexcept {
  for (const auto& [place, bytes, kind] : kMarks) {
    if (isAt(start, place, bytes)) return kind;
  }
  if (isMpegFrame(start)) return SoundKind::kMpeg;
  // Each packet of an MPEG transport stream begins with a G.
  if (isAt(start, 0, "G") && isAt(start, 188, "G")) return SoundKind::kFfmpeg;
  return SoundKind::kSndfile;
}

bool needsGoingBack(std::string_view start) noexcept {
  return start.starts_with("fLaC") || start.starts_with("caff");
}

}  // namespace audiomatch

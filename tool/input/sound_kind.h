#pragma once

#include <cstddef>
#include <string_view>

namespace audiomatch {

/// Bytes that soundKind has to see.
inline constexpr std::size_t kTellingBytes = 189;

/// Who may be able to read a file, by its first bytes.
enum class SoundKind {
  kSndfile,  ///< libsndfile, if anyone: among others text, pictures, lists of files
  kMpeg,     ///< libmpg123, or else libsndfile or ffmpeg
  kOpus,     ///< libopusfile
  kEither,   ///< libsndfile or else ffmpeg
  kFfmpeg,   ///< ffmpeg alone
};

/// What begins with these bytes. ffmpeg is started only for what looks like a
/// format of its own: it would take minutes for a folder of pictures, and open
/// the files that a list names.
SoundKind soundKind(std::string_view start) noexcept;

/// True for formats that libsndfile reads, but not from a pipe.
bool needsGoingBack(std::string_view start) noexcept;

}  // namespace audiomatch

#pragma once

#include <functional>
#include <optional>

#include "tool/input/input_files.h"
#include "tool/input/raw_format.h"
#include "tool/input/sound_source.h"
#include "tool/recognition/listening.h"
#include "tool/recognition/match_row.h"

namespace audiomatch {

/// Seconds beyond which a recording is listened to window by window.
inline constexpr double kLongestWhole = 60.0;

/// How recordings are matched.
struct MatchJob {
  enum class Shape {
    kByLength,  ///< as a whole, or by windows when it is longer than kLongestWhole
    kWhole,     ///< as a whole, which is held in memory
    kTimeline,  ///< by windows
  };

  Listening listening;
  Shape shape = Shape::kByLength;
  SoundOptions sound;
  double speed = 0.0;          ///< per cent that a whole recording may be faster or slower by
  bool show_progress = false;  ///< through a recording that is listened to by windows
};

/// Where rows go, as they come.
using RowSink = std::function<void(const MatchRow&)>;

/// Matches a sound file, or a fingerprint that `features` wrote. What is wrong with it, or with
/// what holds the references, is a row and, reported, a message; a file that a folder had and
/// that can't be read is skipped with a message. Returns the row's code, or of a timeline kSuccess
/// when something in it is recognised. Throws Interrupted.
ExitCode matchFile(const InputFile& file, const References& references, const MatchJob& job,
                   const RowSink& rows);

/// Listens to standard input until it ends or a signal comes, likewise.
///
/// @param raw   the shape of samples without a header; none for a sound file
/// @param rows  gets what was heard, when nothing can change it
/// @param now   gets what is heard, each time that it changes: its `to` is the
///              second of the input at which that was found
ExitCode matchStandardInput(const std::optional<RawFormat>& raw, const References& references,
                            const MatchJob& job, const RowSink& rows, const RowSink& now);

}  // namespace audiomatch

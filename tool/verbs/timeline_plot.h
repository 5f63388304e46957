#pragma once

#include <filesystem>

#include "tool/base/errors.h"
#include "tool/recognition/verdict.h"
#include "tool/verbs/plot_request.h"

namespace audiomatch {

/// Draws what is heard in a recording of any length from when to when into a
/// file and prints one line on it. Throws as its steps do.
///
/// @return kLeftOut when the recording is damaged, which is reported
ExitCode plotTimeline(const PlotRequest& plot, const std::filesystem::path& database,
                      const Thresholds& thresholds);

}  // namespace audiomatch

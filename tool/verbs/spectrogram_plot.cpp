#include "tool/verbs/spectrogram_plot.h"

#include <fmt/core.h>

#include "tool/output/display_text.h"
#include "tool/output/text.h"
#include "tool/picture/picture_file.h"
#include "tool/picture/spectrogram_analysis.h"
#include "tool/picture/spectrogram_picture.h"

namespace audiomatch {

ExitCode plotSpectrogram(const PlotRequest& plot, const Stretch& stretch) {
  checkPictureFile(plot.picture);
  const SpectrogramAnalysis analysis = analyseStretch(plot.file, stretch, plot.sound);
  writePicture(plot.picture, drawSpectrogram(analysis, plot.file.filename().string(), plot.format));
  if (plot.json) {
    fmt::print("{}", jsonLine({{"picture", plot.picture.string()},
                               {"from", analysis.from},
                               {"seconds", analysis.seconds()},
                               {"peaks", analysis.peak_count},
                               {"landmarks", analysis.landmark_count}}));
  } else {
    fmt::print("{}: {:.1f} s from {:.1f} s on, {} peaks, {} landmarks\n",
               printable(plot.picture.string()), analysis.seconds(), analysis.from,
               analysis.peak_count, analysis.landmark_count);
  }
  return reportDamage(plot.file, analysis.damage);
}

}  // namespace audiomatch

#pragma once

namespace audiomatch {

/// A colour, each part from 0 to 1.
struct Colour {
  double red;
  double green;
  double blue;
};

/// A colour for each level from 0 (silent) to 1 (loudest), from near black
/// through violet and orange to pale yellow; steadily brighter, so that it
/// reads the same in grey. Levels outside are cut.
Colour colourOfLevel(double level) noexcept;

}  // namespace audiomatch

#pragma once

#include <filesystem>

#include "tool/input/fingerprint_format.h"

namespace audiomatch {

/// How a fingerprint is given out.
struct FeatureForm {
  enum class Kind { kTable, kJson, kCsv, kBinary, kBase64 };

  Kind kind = Kind::kTable;
  std::filesystem::path file = "-";  ///< of the binary form; - is standard output
};

/// Prints a fingerprint, or writes it to the file, whole or not at all. Throws
/// FileError when the file can't be written.
void writeFeatures(const Fingerprint& fingerprint, const FeatureForm& form);

}  // namespace audiomatch

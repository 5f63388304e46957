#include "tool/database_check.h"

#include <string>
#include <vector>

#include "match/database/byte_source.h"
#include "match/database/database_format.h"

namespace audiomatch {

bool mayBecomeDatabase(const std::filesystem::path& path) {
  audio::FileSource file(path.c_str());
  // Whether it can be written is for others to find out.
  if (!file.isOpen() || file.remaining() == 0) return true;
  std::vector<std::string> names;
  return audio::readHeader(file, names);
}

}  // namespace audiomatch

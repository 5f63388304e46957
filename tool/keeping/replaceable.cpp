#include "tool/keeping/replaceable.h"

#include <fmt/core.h>

#include <string>
#include <vector>

#include "match/database/byte_source.h"
#include "match/database/database_format.h"
#include "tool/base/errors.h"

namespace audiomatch {

void checkReplaceable(const std::filesystem::path& database, bool replace) {
  audio::FileSource file(database.c_str());
  // Whether it can be written is for others to find out.
  if (!file.isOpen() || file.remaining() == 0) return;
  std::vector<std::string> names;
  if (!audio::readHeader(file, &names)) {
    throw FileError(database,
                    "exists and isn't a database, so it is left alone; the database "
                    "comes first, then the recordings");
  }
  if (!replace && !names.empty()) {
    throw FileError(database,
                    fmt::format("is a database of {} audios already: add to it with `audiomatch "
                                "add`, or replace it with --replace",
                                names.size()));
  }
}

}  // namespace audiomatch

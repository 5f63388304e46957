#include "tool/keeping/replaceable.h"

#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <cerrno>
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
  const auto nameless = std::ranges::count_if(names, &std::string::empty);
  if (!replace && !names.empty()) {
    throw FileError(database,
                    fmt::format("is a database of {} audios already: add to it with `audiomatch "
                                "add`, or replace it with --replace",
                                names.size() - static_cast<std::size_t>(nameless)));
  }
}

void checkReplaceableBy(const std::filesystem::path& file, const std::string& kind,
                        const std::function<bool(std::string_view)>& isOfKind) {
  audio::FileSource there(file.c_str());
  if (!there.isOpen() && there.openingError() == ENOENT) return;
  std::array<char, 1024> bytes{};
  const std::size_t size = there.isOpen() ? there.read(bytes.data(), bytes.size()) : 0;
  if (there.isOpen() && !there.failed() && (size == 0 || isOfKind({bytes.data(), size}))) return;
  throw FileError(file, fmt::format("exists and isn't a {0}, so it is left alone; choose another "
                                    "name for the {0}",
                                    kind));
}

}  // namespace audiomatch

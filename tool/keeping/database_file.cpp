#include "tool/keeping/database_file.h"

#include <cstring>

#include "tool/base/errors.h"
#include "tool/keeping/database_check.h"

namespace audiomatch {

DatabaseFile::DatabaseFile(const std::filesystem::path& path)
    : path_(path), file_(path.c_str()), reader_(file_) {
  if (!file_.isOpen()) throw FileError(path, std::strerror(file_.openingError()));
  bytes_ = file_.remaining();
  if (!reader_.readNames()) refuse(path, *reader_.fault());
}

bool DatabaseFile::nextBucket(std::vector<std::uint64_t>& entries) {
  const bool more = reader_.nextBucket(entries);
  if (reader_.fault()) refuse(path_, *reader_.fault());
  return more;
}

}  // namespace audiomatch

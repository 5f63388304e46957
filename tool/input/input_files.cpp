#include "tool/input/input_files.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <set>

namespace audiomatch {
namespace {

namespace fs = std::filesystem;

/// Collects the files below a folder.
class FolderWalk {
 public:
  explicit FolderWalk(std::vector<FileError>& problems) : problems_(problems) {}

  void enter(const fs::path& folder) {
    std::error_code error;
    const fs::path place = fs::canonical(folder, error);
    if (!error && !entered_.insert(place).second) return;
    for (const fs::path& entry : sortedEntries(folder)) {
      const fs::file_status status = fs::status(entry, error);
      if (fs::is_directory(status)) {
        enter(entry);
      } else if (!fs::is_other(status)) {
        files_.push_back(entry);
      }
    }
  }

  std::vector<fs::path> sortedFiles() && {
    sortByBytes(files_);
    return std::move(files_);
  }

 private:
  static void sortByBytes(std::vector<fs::path>& paths) {
    std::ranges::sort(paths, {},
                      [](const fs::path& path) -> const std::string& { return path.native(); });
  }

  /// Sorted, so that of two ways to a folder the same is taken everywhere.
  std::vector<fs::path> sortedEntries(const fs::path& folder) {
    std::vector<fs::path> entries;
    std::error_code error;
    fs::directory_iterator entry(folder, error);
    for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
      entries.push_back(entry->path());
    }
    if (error) problems_.emplace_back(folder, error.message());
    sortByBytes(entries);
    return entries;
  }

  std::vector<FileError>& problems_;
  std::set<fs::path> entered_;
  std::vector<fs::path> files_;
};

/// Adds files and remembers which there are.
class Collection {
 public:
  Collection(InputFiles& inputs, const fs::path& leftOut) : inputs_(inputs) {
    std::error_code error;
    left_out_ = fs::canonical(leftOut, error);
  }

  void add(const fs::path& path, bool named) {
    std::error_code error;
    fs::path place = fs::canonical(path, error);
    // A broken link or an unnamed pipe.
    if (error) place = path;
    if (!named && place == left_out_) return;
    if (seen_.insert(place).second) {
      inputs_.files.push_back({path, named});
    } else {
      inputs_.repeated.emplace_back(path, "skipped: given before");
    }
  }

 private:
  InputFiles& inputs_;
  fs::path left_out_;
  std::set<fs::path> seen_;
};

}  // namespace

InputFiles expandInputs(const std::vector<fs::path>& arguments, const fs::path& left_out) {
  InputFiles inputs;
  Collection collection(inputs, left_out);
  for (const fs::path& argument : arguments) {
    std::error_code error;
    if (fs::is_directory(argument, error)) {
      FolderWalk walk(inputs.problems);
      walk.enter(argument);
      for (const fs::path& file : std::move(walk).sortedFiles()) collection.add(file, false);
    } else if (access(argument.c_str(), R_OK) != 0) {
      // Told now rather than after an hour's work on the others.
      inputs.problems.emplace_back(argument, std::strerror(errno));
    } else {
      collection.add(argument, true);
    }
  }
  return inputs;
}

}  // namespace audiomatch

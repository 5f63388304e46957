#include "tool/keeping/recording_names.h"

#include <sndfile.h>

#include <memory>
#include <string_view>
#include <unordered_map>

namespace audiomatch {
namespace {

namespace fs = std::filesystem;

/// The names of a file that is called `base` in its folder.
std::vector<std::string> namesFrom(const fs::path& file, const std::string& base) {
  std::vector<std::string> names = {base};
  const fs::path folder = fs::absolute(file).lexically_normal().parent_path();
  std::vector<std::string> folders;
  for (const fs::path& part : folder.relative_path()) folders.push_back(part.string());
  for (; !folders.empty(); folders.pop_back()) {
    names.push_back(folders.back() + '/' + names.back());
  }
  return names;
}

using Counts = std::unordered_map<std::string, std::size_t>;

/// The possible names of each file, with extensions where nothing else differs.
std::vector<std::vector<std::string>> possibleNames(std::span<const fs::path> files) {
  Counts stems;
  for (const fs::path& file : files) ++stems[namesOfPath(file).back()];
  std::vector<std::vector<std::string>> names;
  for (const fs::path& file : files) {
    std::vector<std::string> by_stem = namesOfPath(file);
    const bool alone = stems[by_stem.back()] == 1;
    names.push_back(alone ? std::move(by_stem) : namesFrom(file, file.filename().string()));
  }
  return names;
}

struct CloseSound {
  void operator()(SNDFILE* file) const noexcept { sf_close(file); }
};

}  // namespace

std::vector<std::string> namesOfPath(const fs::path& file) {
  return namesFrom(file, file.stem().string());
}

std::vector<std::string> distinctNames(std::span<const fs::path> files,
                                       const std::unordered_set<std::string>& taken) {
  const auto possible = possibleNames(files);
  std::vector<std::size_t> lengths(files.size());
  for (bool changed = true; changed;) {
    changed = false;
    Counts counts;
    for (std::size_t i = 0; i < files.size(); ++i) ++counts[possible[i][lengths[i]]];
    for (std::size_t i = 0; i < files.size(); ++i) {
      const std::string& name = possible[i][lengths[i]];
      if (counts[name] == 1 && !taken.contains(name)) continue;
      if (lengths[i] + 1 == possible[i].size()) continue;
      ++lengths[i];
      changed = true;
    }
  }
  std::vector<std::string> names;
  for (std::size_t i = 0; i < files.size(); ++i) names.push_back(possible[i][lengths[i]]);
  return names;
}

std::string nameFromTags(const fs::path& file) {
  SF_INFO info{};
  const std::unique_ptr<SNDFILE, CloseSound> sound(sf_open(file.c_str(), SFM_READ, &info));
  if (!sound) return {};
  const char* const artist = sf_get_string(sound.get(), SF_STR_ARTIST);
  const char* const title = sf_get_string(sound.get(), SF_STR_TITLE);
  if (!artist || !title || !*artist || !*title) return {};
  return std::string(artist) + " - " + title;
}

}  // namespace audiomatch

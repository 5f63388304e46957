#include "tool/keeping/input_list.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "match/database/byte_source.h"
#include "tool/base/errors.h"
#include "tool/base/interrupt.h"

namespace audiomatch {
namespace {

std::string readStandardInput() {
  std::string text;
  char piece[1 << 16];
  while (const std::size_t size = std::fread(piece, 1, sizeof piece, stdin)) {
    text.append(piece, size);
  }
  checkInterrupt();
  if (std::ferror(stdin)) throw FileError("standard input", std::strerror(errno));
  return text;
}

std::string readFile(const std::filesystem::path& path) {
  audio::FileSource file(path.c_str());
  if (!file.isOpen()) throw FileError(path, std::strerror(file.openingError()));
  std::string text;
  char piece[1 << 16];
  while (const std::size_t size = file.read(piece, sizeof piece)) text.append(piece, size);
  if (file.failed()) throw FileError(path, "can't be read; it may be a folder");
  return text;
}

}  // namespace

std::vector<ListedFile> readInputList(const std::filesystem::path& list, bool null) {
  const std::string text = list == "-" ? readStandardInput() : readFile(list);
  const char ending = null ? '\0' : '\n';
  std::vector<ListedFile> files;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = std::min(text.find(ending, begin), text.size());
    const std::string line = text.substr(begin, end - begin);
    begin = end + 1;
    if (line.empty()) continue;
    const std::size_t tab = null ? std::string::npos : line.find('\t');
    files.push_back({line.substr(0, tab), tab == std::string::npos ? "" : line.substr(tab + 1)});
  }
  return files;
}

}  // namespace audiomatch

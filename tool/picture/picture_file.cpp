#include "tool/picture/picture_file.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>

#include "match/database/byte_source.h"
#include "tool/base/errors.h"
#include "tool/keeping/atomic_file.h"

namespace audiomatch {
namespace {

constexpr std::string_view kPngSignature = "\x89PNG\r\n\x1a\n";
constexpr std::string_view kPdfSignature = "%PDF-";

/// True when the first element of a text in XML is a drawing's.
bool isSvg(std::string_view head) {
  if (!head.starts_with("<?xml") && !head.starts_with("<svg")) return false;
  std::size_t at = 0;
  // Past declarations and comments.
  while (at != std::string_view::npos && at + 1 < head.size() &&
         (head[at + 1] == '?' || head[at + 1] == '!')) {
    at = head.find('<', at + 1);
  }
  return at != std::string_view::npos && head.substr(at).starts_with("<svg");
}

/// True for a file that a picture may take the place of.
bool mayBecomePicture(const std::filesystem::path& path) {
  audio::FileSource file(path.c_str());
  if (!file.isOpen()) return file.openingError() == ENOENT;
  std::array<char, 1024> bytes{};
  const std::string_view head(bytes.data(), file.read(bytes.data(), bytes.size()));
  if (file.failed()) return false;
  return head.empty() || head.starts_with(kPngSignature) || head.starts_with(kPdfSignature) ||
         isSvg(head);
}

}  // namespace

PictureFormat formatOfName(const std::filesystem::path& picture) {
  std::string ending = picture.extension().string();
  std::ranges::transform(ending, ending.begin(), [](char letter) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
  });
  if (ending == ".png") return PictureFormat::kPng;
  if (ending == ".svg") return PictureFormat::kSvg;
  if (ending == ".pdf") return PictureFormat::kPdf;
  throw UsageError(picture.string() + ": a picture's name ends in .png, .svg or .pdf");
}

void checkPictureFile(const std::filesystem::path& picture) {
  const AtomicFile trial(picture);
  if (!mayBecomePicture(picture)) {
    throw FileError(picture,
                    "exists and isn't a picture, so it is left alone; choose another name for "
                    "the picture");
  }
}

void writePicture(const std::filesystem::path& picture, const std::vector<unsigned char>& bytes) {
  checkPictureFile(picture);
  AtomicFile file(picture);
  file.write(bytes.data(), bytes.size());
  file.commit();
}

}  // namespace audiomatch

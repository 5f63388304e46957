#include "tool/picture/picture_file.h"

#include <algorithm>
#include <cctype>
#include <string>
#include <string_view>

#include "tool/base/errors.h"
#include "tool/keeping/atomic_file.h"
#include "tool/keeping/replaceable.h"

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

bool isPicture(std::string_view head) {
  return head.starts_with(kPngSignature) || head.starts_with(kPdfSignature) || isSvg(head);
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
  checkReplaceableBy(picture, "picture", isPicture);
}

void writePicture(const std::filesystem::path& picture, const std::vector<unsigned char>& bytes) {
  checkPictureFile(picture);
  AtomicFile file(picture);
  file.write(bytes.data(), bytes.size());
  file.commit();
}

}  // namespace audiomatch

#include "tool/service/page.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>

#include "tool/service/http_error.h"

namespace audiomatch {
namespace {

// Nothing but what this server sends is loaded, asked or run, and nobody frames it.
constexpr const char* kPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; "
    "base-uri 'none'; form-action 'none'; frame-ancestors 'none'";

constexpr std::array<std::pair<std::string_view, const char*>, 4> kTypes = {
    {{".html", "text/html; charset=utf-8"},
     {".css", "text/css; charset=utf-8"},
     {".js", "text/javascript; charset=utf-8"},
     {".svg", "image/svg+xml"}}};

std::string typeOf(std::string_view name) {
  for (const auto& [ending, type] : kTypes) {
    if (name.ends_with(ending)) return type;
  }
  return "application/octet-stream";
}

const PageFile& fileAt(const std::string& path) {
  const std::span<const PageFile> files = pageFiles();
  if (path == "/") return files.front();
  const auto file = std::ranges::find(files, path.substr(kPagePath.size()), &PageFile::name);
  if (file == files.end()) throw HttpError(404, "there is nothing at this address");
  return *file;
}

}  // namespace

HttpResponse pageResponse(const HttpRequest& request) {
  const PageFile& file = fileAt(request.path);
  const bool is_known = request.if_none_match.find(file.etag) != std::string::npos;
  return {.status = is_known ? 304u : 200u,
          .type = typeOf(file.name),
          .body = std::string(file.bytes),
          // Asked for each time, as another version of the tool has another page.
          .headers = {{"ETag", std::string(file.etag)},
                      {"Cache-Control", "no-cache"},
                      {"Content-Security-Policy", kPolicy},
                      {"Permissions-Policy", "microphone=(self)"},
                      {"Referrer-Policy", "no-referrer"},
                      {"X-Content-Type-Options", "nosniff"}}};
}

}  // namespace audiomatch

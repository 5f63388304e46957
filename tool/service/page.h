#pragma once

#include <span>
#include <string_view>

#include "tool/service/http_message.h"

namespace audiomatch {

/// A file of the page that people open in a browser.
struct PageFile {
  std::string_view name;  ///< "page.css" and so on
  std::string_view bytes;
  std::string_view etag;  ///< quoted; another one for other bytes
};

/// All of them, the first being the page itself. They stand in tool/service/page,
/// and are put into the executable when it is built.
std::span<const PageFile> pageFiles() noexcept;

/// Where all but the page itself are found.
inline constexpr std::string_view kPagePath = "/page/";

/// The page, for "/", or the file that a path below `kPagePath` names. Throws
/// HttpError with 404 when there is none, and std::bad_alloc.
HttpResponse pageResponse(const HttpRequest& request);

}  // namespace audiomatch

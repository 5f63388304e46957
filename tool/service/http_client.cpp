#include "tool/service/http_client.h"

#include <curl/curl.h>

#include <boost/algorithm/string/predicate.hpp>
#include <memory>
#include <new>
#include <string_view>
#include <utility>

namespace audiomatch {
namespace {

constexpr long kConnectSeconds = 3;
constexpr std::size_t kLargestAnswer = std::size_t{1} << 20;

CURL* newHandle() {
  // Once for the process.
  static const CURLcode initialised = curl_global_init(CURL_GLOBAL_DEFAULT);
  CURL* handle = initialised == CURLE_OK ? curl_easy_init() : nullptr;
  if (!handle) throw std::bad_alloc();
  return handle;
}

std::size_t keep(char* bytes, std::size_t, std::size_t size, void* text) noexcept {
  auto& body = *static_cast<std::string*>(text);
  if (body.size() + size > kLargestAnswer) return 0;
  try {
    body.append(bytes, size);
  } catch (const std::bad_alloc&) {
    return 0;
  }
  return size;
}

int isCancelled(void* flag, curl_off_t, curl_off_t, curl_off_t, curl_off_t) noexcept {
  return *static_cast<const std::atomic<bool>*>(flag) ? 1 : 0;
}

struct Headers {
  ~Headers() { curl_slist_free_all(list); }
  void add(const std::string& line) {
    curl_slist* longer = curl_slist_append(list, line.c_str());
    if (!longer) throw std::bad_alloc();
    list = longer;
  }

  curl_slist* list = nullptr;
};

/// Whether a URL goes on behind its host and port, but for a slash.
bool goesOn(CURLU* parts) {
  char* text = nullptr;
  if (curl_url_get(parts, CURLUPART_PATH, &text, 0) != CURLUE_OK) throw std::bad_alloc();
  const std::unique_ptr<char, decltype(&curl_free)> path(text, curl_free);
  return std::string_view(text) != "/";
}

}  // namespace

std::string problemOfServer(const std::string& url) {
  using boost::algorithm::istarts_with;
  if (!istarts_with(url, "http://") && !istarts_with(url, "https://")) {
    return "doesn't begin with http:// or https://";
  }
  const std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> parts(curl_url(), curl_url_cleanup);
  const CURLUcode code =
      parts ? curl_url_set(parts.get(), CURLUPART_URL, url.c_str(), CURLU_DISALLOW_USER)
            : CURLUE_OUT_OF_MEMORY;
  if (code == CURLUE_OUT_OF_MEMORY) throw std::bad_alloc();
  if (code == CURLUE_USER_NOT_ALLOWED) return "has a user, which servers don't ask for";
  if (code != CURLUE_OK) return std::string("is no URL: ") + curl_url_strerror(code);
  // An empty query is none to the parser, but would swallow what is asked for.
  if (url.find_first_of("?#") != std::string::npos || goesOn(parts.get())) {
    return "has more than a host and a port";
  }
  return {};
}

HttpClient::HttpClient(std::string token) : token_(std::move(token)), handle_(newHandle()) {}

HttpClient::~HttpClient() { curl_easy_cleanup(handle_); }

HttpReply HttpClient::send(const std::string& method, const std::string& url,
                           const std::string& json, std::chrono::milliseconds patience) {
  HttpReply reply;
  Headers headers;
  headers.add("Content-Type: application/json");
  if (!token_.empty()) headers.add("Authorization: Bearer " + token_);
  curl_easy_reset(handle_);
  curl_easy_setopt(handle_, CURLOPT_URL, url.c_str());
  curl_easy_setopt(handle_, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(handle_, CURLOPT_CUSTOMREQUEST, method.c_str());
  curl_easy_setopt(handle_, CURLOPT_HTTPHEADER, headers.list);
  curl_easy_setopt(handle_, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(handle_, CURLOPT_CONNECTTIMEOUT, kConnectSeconds);
  curl_easy_setopt(handle_, CURLOPT_TIMEOUT_MS, static_cast<long>(patience.count()));
  curl_easy_setopt(handle_, CURLOPT_NOPROGRESS, 0L);
  curl_easy_setopt(handle_, CURLOPT_XFERINFOFUNCTION, isCancelled);
  curl_easy_setopt(handle_, CURLOPT_XFERINFODATA, &is_cancelled_);
  curl_easy_setopt(handle_, CURLOPT_WRITEFUNCTION, keep);
  curl_easy_setopt(handle_, CURLOPT_WRITEDATA, &reply.body);
  if (!json.empty()) {
    curl_easy_setopt(handle_, CURLOPT_POSTFIELDS, json.data());
    curl_easy_setopt(handle_, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(json.size()));
  }
  const CURLcode done = curl_easy_perform(handle_);
  long status = 0;
  curl_easy_getinfo(handle_, CURLINFO_RESPONSE_CODE, &status);
  if (done == CURLE_OK) reply.status = static_cast<unsigned>(status);
  if (done != CURLE_OK) reply.problem = curl_easy_strerror(done);
  return reply;
}

}  // namespace audiomatch

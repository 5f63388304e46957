#include "tool/service/access.h"

#include <fmt/core.h>
#include <sodium.h>

#include <boost/algorithm/string/predicate.hpp>
#include <cstring>
#include <stdexcept>
#include <string_view>

#include "match/database/byte_source.h"
#include "tool/base/errors.h"

namespace audiomatch {
namespace {

constexpr std::size_t kShortest = 16;
constexpr std::size_t kLongest = 4096;
constexpr const char* kWanted =
    "; a token is one word of at least 16 characters, for example from: openssl rand -hex 16";

/// In a time that doesn't tell how much of the token is right.
bool holds(const std::string& authorization, const std::optional<std::string>& token) {
  constexpr std::string_view kScheme = "Bearer ";
  if (!token || !boost::algorithm::istarts_with(authorization, kScheme)) return false;
  const std::string given = authorization.substr(kScheme.size());
  return given.size() == token->size() &&
         sodium_memcmp(given.data(), token->data(), given.size()) == 0;
}

}  // namespace

std::optional<std::string> readToken(const std::filesystem::path& path) {
  if (path.empty()) return {};
  audio::FileSource file(path.c_str());
  if (!file.isOpen()) throw FileError(path, std::strerror(file.openingError()));
  std::string text(kLongest + 1, '\0');
  text.resize(file.read(text.data(), text.size()));
  if (file.failed()) throw FileError(path, "can't be read; it may be a folder");
  if (text.size() > kLongest) {
    throw FileError(path, fmt::format("holds more than {} bytes{}", kLongest, kWanted));
  }
  const std::size_t first = text.find_first_not_of(" \t\r\n");
  const std::size_t last = text.find_last_not_of(" \t\r\n");
  const std::string token =
      first == std::string::npos ? std::string() : text.substr(first, last + 1 - first);
  if (token.size() < kShortest || token.find_first_of(" \t\r\n") != std::string::npos) {
    throw FileError(path, fmt::format("holds no token{}", kWanted));
  }
  return token;
}

Access::Access(const AccessFiles& files)
    : changing_(readToken(files.changing)), reading_(readToken(files.reading)) {
  // Any number of times; the first counts.
  if (sodium_init() < 0) throw std::runtime_error("libsodium, which compares tokens, can't begin");
}

bool Access::mayChange(const std::string& authorization) const {
  return changing_ ? holds(authorization, changing_) : mayRead(authorization);
}

bool Access::mayRead(const std::string& authorization) const {
  return !reading_ || holds(authorization, reading_) || holds(authorization, changing_);
}

}  // namespace audiomatch

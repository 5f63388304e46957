#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace audiomatch {

/// Who may do what: bearer tokens, each held in a file.
struct AccessFiles {
  std::filesystem::path changing;  ///< empty: who may ask may change what there is
  std::filesystem::path reading;   ///< empty: anybody may ask
};

/// The token that a file of at most 4,096 bytes holds, of at least 16 characters; blanks and
/// line ends around it don't count. Nothing for an empty path. Throws FileError for another file.
std::optional<std::string> readToken(const std::filesystem::path& path);

/// Checks tokens. Any thread.
class Access {
 public:
  /// Throws FileError as readToken does, and std::runtime_error when tokens can't be compared.
  explicit Access(const AccessFiles& files);

  /// Whether there is any token.
  bool hasTokens() const noexcept { return changing_ || reading_; }

  /// Whether an Authorization header lets its sender change things.
  bool mayChange(const std::string& authorization) const;
  /// Whether it lets him ask; who may change may ask.
  bool mayRead(const std::string& authorization) const;

 private:
  std::optional<std::string> changing_;
  std::optional<std::string> reading_;
};

}  // namespace audiomatch

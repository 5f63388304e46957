#pragma once

#include <unistd.h>

#include <string>
#include <string_view>
#include <utility>

namespace audiomatch {

/// An open file, pipe or socket, closed in the end. -1 is none.
class Descriptor {
 public:
  Descriptor() noexcept = default;
  explicit Descriptor(int number) noexcept : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(other.release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~Descriptor() {
    if (number_ >= 0) close(number_);
  }

  int get() const noexcept { return number_; }
  int release() noexcept { return std::exchange(number_, -1); }
  /// Another descriptor of the same file, at the same place in it. Throws
  /// std::system_error.
  Descriptor duplicate() const;

 private:
  int number_ = -1;
};

/// Two connected sockets. They serve as a pipe whose writer learns without a
/// signal that its reader has gone, and whose reader may look ahead. Throws
/// std::system_error.
struct SocketPair {
  SocketPair();

  Descriptor reading;
  Descriptor writing;
};

/// A file in memory that holds some bytes, at its beginning. Throws
/// std::system_error.
Descriptor memoryFile(std::string_view bytes);

/// Up to `size` bytes that come first, without taking them: of a file its first
/// ones, of a socket those that wait, for which it waits.
std::string firstBytes(const Descriptor& descriptor, std::size_t size);

}  // namespace audiomatch

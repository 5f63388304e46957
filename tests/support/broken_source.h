#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "match/database/byte_source.h"

namespace testing_support {

/// Bytes whose reading fails, or ends, after some of them.
class BrokenSource : public audio::ByteSource {
 public:
  BrokenSource(const std::vector<std::uint8_t>& bytes, std::size_t end, bool fails, bool known)
      : bytes_(bytes), end_(end), fails_(fails), known_(known) {}

  std::size_t read(void* out, std::size_t size) noexcept override {
    const std::size_t came = std::min(size, end_ - place_);
    std::copy_n(bytes_.begin() + static_cast<std::ptrdiff_t>(place_), came,
                static_cast<std::uint8_t*>(out));
    place_ += came;
    failed_ = failed_ || (fails_ && came < size);
    return came;
  }
  std::uint64_t remaining() noexcept override { return known_ ? bytes_.size() - place_ : 0; }
  bool failed() const noexcept override { return failed_; }

 private:
  const std::vector<std::uint8_t>& bytes_;
  std::size_t end_;
  bool fails_;
  bool known_;
  std::size_t place_ = 0;
  bool failed_ = false;
};

}  // namespace testing_support

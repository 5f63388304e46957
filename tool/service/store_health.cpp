#include "tool/service/store_health.h"

#include "tool/output/messages.h"

namespace audiomatch {
namespace {

constexpr std::chrono::minutes kToldFor{10};

constexpr const char* kBack[] = {"the store is back", "the store takes references again",
                                 "the store takes channels again"};

}  // namespace

void StoreHealth::failed(StoreUse use, const FileError& error) noexcept {
  const std::lock_guard lock(mutex_);
  ++failures_;
  auto& since = failed_[static_cast<std::size_t>(use)];
  if (!since) report(error);
  since = Clock::now();
}

void StoreHealth::worked(StoreUse use) noexcept {
  const std::lock_guard lock(mutex_);
  auto& since = failed_[static_cast<std::size_t>(use)];
  if (since) note(kBack[static_cast<std::size_t>(use)]);
  since.reset();
}

bool StoreHealth::isGood() const noexcept {
  const std::lock_guard lock(mutex_);
  for (std::size_t use = 0; use < failed_.size(); ++use) {
    if (!failed_[use]) continue;
    const bool is_looking = use == static_cast<std::size_t>(StoreUse::kLooking);
    if (is_looking || Clock::now() - *failed_[use] < kToldFor) return false;
  }
  return true;
}

std::uint64_t StoreHealth::failures() const noexcept {
  const std::lock_guard lock(mutex_);
  return failures_;
}

}  // namespace audiomatch

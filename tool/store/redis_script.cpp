#include "tool/store/redis_script.h"

#include <glib.h>

#include <memory>
#include <utility>

namespace audiomatch {

RedisScript::RedisScript(std::string source) : source_(std::move(source)) {
  const std::unique_ptr<gchar, decltype(&g_free)> sum(
      g_compute_checksum_for_data(G_CHECKSUM_SHA1, reinterpret_cast<const guchar*>(source_.data()),
                                  source_.size()),
      g_free);
  checksum_ = sum.get();
}

}  // namespace audiomatch

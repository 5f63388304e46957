#include "tool/input/raw_format.h"

#include <sndfile.h>

#include <algorithm>

namespace audiomatch {
namespace {

struct Encoding {
  std::string_view name;
  int format;
};

constexpr Encoding kEncodings[] = {
    {"s16le", SF_FORMAT_PCM_16 | SF_ENDIAN_LITTLE},
    {"s16be", SF_FORMAT_PCM_16 | SF_ENDIAN_BIG},
    {"s24le", SF_FORMAT_PCM_24 | SF_ENDIAN_LITTLE},
    {"s24be", SF_FORMAT_PCM_24 | SF_ENDIAN_BIG},
    {"s32le", SF_FORMAT_PCM_32 | SF_ENDIAN_LITTLE},
    {"s32be", SF_FORMAT_PCM_32 | SF_ENDIAN_BIG},
    {"f32le", SF_FORMAT_FLOAT | SF_ENDIAN_LITTLE},
    {"f32be", SF_FORMAT_FLOAT | SF_ENDIAN_BIG},
    {"f64le", SF_FORMAT_DOUBLE | SF_ENDIAN_LITTLE},
    {"f64be", SF_FORMAT_DOUBLE | SF_ENDIAN_BIG},
    {"s8", SF_FORMAT_PCM_S8},
    {"u8", SF_FORMAT_PCM_U8},
    {"alaw", SF_FORMAT_ALAW},
    {"mulaw", SF_FORMAT_ULAW},
};

}  // namespace

std::vector<std::string> rawEncodings() {
  std::vector<std::string> names;
  for (const Encoding& encoding : kEncodings) names.emplace_back(encoding.name);
  return names;
}

int sndfileEncoding(std::string_view name) noexcept {
  return SF_FORMAT_RAW | std::ranges::find(kEncodings, name, &Encoding::name)->format;
}

}  // namespace audiomatch

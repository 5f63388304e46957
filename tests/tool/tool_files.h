#pragma once

#include <sndfile.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace testing_support {

/// A folder that is removed with all that is in it.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = std::filesystem::temp_directory_path() / "audio_test_XXXXXX";
    if (!mkdtemp(name.data())) std::abort();
    path_ = name;
  }
  ~TemporaryFolder() { std::filesystem::remove_all(path_); }

  std::filesystem::path operator/(const char* name) const { return path_ / name; }
  std::ptrdiff_t count() const {
    return std::distance(std::filesystem::directory_iterator(path_), {});
  }

 private:
  std::filesystem::path path_;
};

inline std::string contents(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

/// Writes mono samples of 16 bits in a format of libsndfile's.
inline void writeSound(const std::filesystem::path& path, int format, int rate,
                       const std::vector<std::int16_t>& samples) {
  SF_INFO info{0, rate, 1, format, 0, 0};
  SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
  sf_write_short(file, samples.data(), static_cast<sf_count_t>(samples.size()));
  sf_close(file);
}

/// Writes mono samples, 16-bit or float, as WAV of a subtype.
template <typename Sample>
void writeWav(const std::filesystem::path& path, int subtype, int rate,
              const std::vector<Sample>& samples) {
  SF_INFO info{0, rate, 1, SF_FORMAT_WAV | subtype, 0, 0};
  SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
  sf_write_raw(file, samples.data(), static_cast<sf_count_t>(samples.size() * sizeof(Sample)));
  sf_close(file);
}

}  // namespace testing_support

// Pictures: what is gathered for them, and that it is drawn where it belongs.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

#include "base/analysis_grid.h"
#include "feature/audio_land_mark_finder.h"
#include "match/database/database_writer.h"
#include "support/test_audio.h"
#include "tests/tool/tool_files.h"
#include "tool/base/errors.h"
#include "tool/keeping/atomic_file.h"
#include "tool/picture/labels.h"
#include "tool/picture/match_hits.h"
#include "tool/picture/match_picture.h"
#include "tool/picture/picture_file.h"
#include "tool/picture/spectrogram_analysis.h"
#include "tool/picture/spectrogram_columns.h"
#include "tool/picture/timeline_picture.h"
#include "tool/recognition/reference_database.h"

// Fontconfig keeps what it read until the process ends.
extern "C" const char* __lsan_default_suppressions() { return "leak:libfontconfig\n"; }

namespace {

using namespace audiomatch;
using namespace testing_support;

constexpr double kEndless = std::numeric_limits<double>::infinity();

TEST(SpectrogramColumns, HoldTheMeanPowerOfTheirFramesHoweverMany) {
  std::mt19937 random(1);
  std::vector<std::vector<std::complex<float>>> frames;
  SpectrogramColumns columns(3, 8);
  for (std::uint64_t count = 1; count <= 100; ++count) {
    frames.emplace_back();
    for (int bin = 0; bin < 3; ++bin) {
      frames.back().emplace_back(static_cast<float>(random() % 99),
                                 static_cast<float>(random() % 9));
    }
    columns.addFrame(frames.back());
    columns.addLandmark(count - 1);
    ASSERT_EQ(columns.frames(), count);
    ASSERT_TRUE(columns.columns() <= 8 && (count < 8 || columns.columns() > 4)) << count;
    std::uint64_t first = 0;
    for (std::size_t column = 0; column < columns.columns(); ++column) {
      const std::uint64_t end = std::min(first + columns.framesPerColumn(), count);
      double sum = 0;
      for (std::uint64_t i = first; i < end; ++i) sum += std::norm(frames[i][2]);
      const auto in_column = static_cast<double>(end - first);
      EXPECT_NEAR(columns.power(column, 2) / (sum / in_column), 1.0, 1e-5);
      EXPECT_EQ(columns.landmarks(column), end - first);
      first = end;
    }
    ASSERT_EQ(first, count);
  }
}

/// A tone of 1000 Hz, bin 64, whose level falls by 20 dB after `loud` seconds,
/// then nothing.
void writeTone(const std::filesystem::path& path, int loud, int quiet, int silent) {
  std::vector<std::int16_t> samples(static_cast<std::size_t>(loud + quiet + silent) * 8000);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const auto second = static_cast<int>(i / 8000);
    const double level = second < loud ? 20000 : second < loud + quiet ? 2000 : 0;
    samples[i] =
        static_cast<std::int16_t>(std::lround(level * std::sin(M_PI / 4 * static_cast<double>(i))));
  }
  writeWav(path, SF_FORMAT_PCM_16, 8000, samples);
}

TEST(SpectrogramAnalysis, ComparesThePartsOfALongRecording) {
  // Parts are 524.288 s long; the last of these is silent.
  const TemporaryFolder folder;
  writeTone(folder / "a.wav", 500, 500, 200);
  const SpectrogramAnalysis all = analyseStretch(folder / "a.wav", {0.0, kEndless});
  EXPECT_EQ(all.columns.frames(), 1200u * 8000 / 256 - 1);
  const auto decibels = [&](double second) {
    const double frame = second / 0.032;
    const auto per_column = static_cast<double>(all.columns.framesPerColumn());
    return 10 * std::log10(all.columns.power(static_cast<std::size_t>(frame / per_column), 64));
  };
  EXPECT_NEAR(decibels(100) - decibels(510), 20.0, 0.1);
  EXPECT_NEAR(decibels(510), decibels(900), 0.1);
  EXPECT_EQ(decibels(1100), -kEndless);
  EXPECT_TRUE(all.peaks.empty() && all.landmarks.empty()) << "too many to be told apart";

  EXPECT_THROW(analyseStretch(folder / "a.wav", {1010.0, kEndless}), FileError) << "silence";
  EXPECT_THROW(analyseStretch(folder / "a.wav", {1201.0, 1.0}), FileError);
  // Longer than a part, and no part's multiple: 18,750 frames.
  EXPECT_EQ(analyseStretch(folder / "a.wav", {300.0, 600.0}).columns.frames(), 18'750u);
}

TEST(SpectrogramAnalysis, CountsWhatTheEngineFinds) {
  const TemporaryFolder folder;
  const testing_support::Recording recording(5, 1, 570 * 8000, 8000);
  writeWav(folder / "a.wav", SF_FORMAT_PCM_16, 8000, recording.pcm);
  const SpectrogramAnalysis all = analyseStretch(folder / "a.wav", {0.0, kEndless});
  audio::AudioLandMarkFinder2D finder;
  const audio::AudioDataPtr sound = recording.engine();
  ASSERT_TRUE(finder.init(true) && finder.setAudio(sound.get()) && finder.findLandMarks());
  // But for a few at the start of the second part, whose peaks lack neighbours.
  EXPECT_NEAR(static_cast<double>(all.landmark_count),
              static_cast<double>(finder.getLandMarks().size()), 30);
  std::uint64_t in_columns = 0;
  for (std::size_t i = 0; i < all.columns.columns(); ++i) in_columns += all.columns.landmarks(i);
  EXPECT_EQ(in_columns, all.landmark_count);

  const SpectrogramAnalysis piece = analyseStretch(folder / "a.wav", {100.0, 10.0});
  EXPECT_EQ(piece.peaks.size(), piece.peak_count);
  EXPECT_EQ(piece.landmarks.size(), piece.landmark_count);
  EXPECT_GT(piece.landmark_count, 0u);
}

TEST(Labels, CountInUnitsOfTime) {
  EXPECT_EQ(timeLabels(0.03, 10).label(0.15), "0.15");
  EXPECT_EQ(timeLabels(4, 20).label(15), "15");
  EXPECT_EQ(timeLabels(13, 60).step, 15);
  EXPECT_EQ(timeLabels(13, 60).label(45), "0:45");
  EXPECT_EQ(timeLabels(0.2, 100).label(59.96), "1:00.0");
  EXPECT_EQ(timeLabels(301, 3600).step, 600);
  EXPECT_EQ(timeLabels(301, 3600).label(3000), "0:50:00");
  EXPECT_EQ(timeLabels(0.2, 10).label(-2.04), "\u22122.0");
  EXPECT_EQ(timeLabels(0.2, 3600).label(3599.96), "1:00:00.0");
  EXPECT_EQ(timeLabels(7201, 90000).step, 5 * 3600);
  EXPECT_EQ(countText(7), "7");
  EXPECT_EQ(countText(123456), "123,456");
  EXPECT_EQ(countText(1234567), "1,234,567");
}

TEST(PictureFile, TakesThePlaceOfPicturesOnly) {
  EXPECT_EQ(formatOfName("a.b.PNG"), PictureFormat::kPng);
  EXPECT_EQ(formatOfName("a.svg"), PictureFormat::kSvg);
  EXPECT_EQ(formatOfName("a.Pdf"), PictureFormat::kPdf);
  for (const char* name : {"a", "png", ".png", "a.jpg", "a.png.gz"}) {
    EXPECT_THROW(formatOfName(name), UsageError) << name;
  }
  const TemporaryFolder folder;
  const auto old = folder / "old.png";
  const std::vector<unsigned char> picture = {'n', 'e', 'w'};
  for (const std::string head :
       {"RIFF....WAVE", "\x89PNG", "<html><svg>", "<?xml?><a><svg/></a>", "<?xml", "<", " "}) {
    std::ofstream(old) << head;
    EXPECT_THROW(checkPictureFile(old), FileError) << head;
    EXPECT_THROW(writePicture(old, picture), FileError) << head;
    EXPECT_EQ(contents(old), head);
  }
  for (const std::string head : {"", "\x89PNG\r\n\x1a\n...", "%PDF-1.5", "<svg>",
                                 "<?xml version='1.0'?>\n<!-- a --><svg xmlns=''>"}) {
    std::ofstream(old) << head;
    EXPECT_NO_THROW(writePicture(old, picture)) << head;
    EXPECT_EQ(contents(old), "new");
  }
  EXPECT_NO_THROW(checkPictureFile(folder / "new.png"));
  EXPECT_THROW(checkPictureFile(folder / "none/new.png"), FileError);
  EXPECT_EQ(folder.count(), 1);
}

/// A PNG, to be looked at pixel by pixel.
class Pixels {
 public:
  explicit Pixels(std::vector<unsigned char> png) : bytes_(std::move(png)) {
    const auto read = [](void* self, unsigned char* data, unsigned size) {
      auto& pixels = *static_cast<Pixels*>(self);
      std::copy_n(pixels.bytes_.begin() + pixels.at_, size, data);
      pixels.at_ += size;
      return CAIRO_STATUS_SUCCESS;
    };
    image_ = cairo_image_surface_create_from_png_stream(read, this);
  }
  Pixels(const Pixels&) = delete;
  Pixels& operator=(const Pixels&) = delete;
  ~Pixels() { cairo_surface_destroy(image_); }

  int width() const { return cairo_image_surface_get_width(image_); }
  int height() const { return cairo_image_surface_get_height(image_); }

  struct Box {
    int left = INT_MAX, top = INT_MAX, right = -1, bottom = -1;
  };
  /// Where a colour is within some rows and columns.
  Box find(const Colour& colour, int from_y, int to_y, int to_x) const {
    Box box;
    for (int y = from_y; y < to_y; ++y) {
      for (int x = 0; x < to_x; ++x) {
        if (!is(colour, x, y)) continue;
        box = {std::min(box.left, x), std::min(box.top, y), std::max(box.right, x),
               std::max(box.bottom, y)};
      }
    }
    return box;
  }
  Box find(const Colour& colour) const { return find(colour, 0, height(), width()); }

 private:
  bool is(const Colour& colour, int x, int y) const {
    const unsigned char* pixel =
        cairo_image_surface_get_data(image_) + y * cairo_image_surface_get_stride(image_) + 4 * x;
    return std::abs(pixel[2] - 255 * colour.red) < 2 &&
           std::abs(pixel[1] - 255 * colour.green) < 2 &&
           std::abs(pixel[0] - 255 * colour.blue) < 2;
  }

  std::vector<unsigned char> bytes_;
  std::ptrdiff_t at_ = 0;
  cairo_surface_t* image_;
};

TEST(TimelinePicture, DrawsTheMostHeardFirstAndEverySpanAtItsTime) {
  using Kind = TimelineSpan::Kind;
  TimelinePicture picture{"t", "s", 0, 100, 12, {}, {}};
  picture.spans = {{0, 25, Kind::kRecognised, "least", 0, 9999},
                   {50, 100, Kind::kRecognised, "most", 0, 9999}};
  const Pixels drawn(drawTimeline(picture, PictureFormat::kPng));
  const Pixels::Box both = drawn.find(kAccent);
  const int middle = (both.top + both.bottom) / 2;
  const Pixels::Box upper = drawn.find(kAccent, 0, middle, drawn.width());
  const Pixels::Box lower = drawn.find(kAccent, middle, drawn.height(), drawn.width());
  const double second = (both.right - both.left) / 100.0;
  EXPECT_NEAR((upper.left - both.left) / second, 50, 1);
  EXPECT_NEAR((upper.right - both.left) / second, 100, 1);
  EXPECT_NEAR((lower.right - both.left) / second, 25, 1);
  EXPECT_EQ(lower.left, both.left);
}

TEST(TimelinePicture, StaysOnAPageOfA4) {
  TimelinePicture picture{"t", "s", 0, 3600, 12, {}, {{0, 3600, 50, true}}};
  const auto height = [&] { return Pixels(drawTimeline(picture, PictureFormat::kPng)).height(); };
  const int empty = height();
  for (int i = 0; i < 30; ++i) {
    picture.spans.push_back({i * 60.0, i * 60.0 + 50, TimelineSpan::Kind::kRecognised,
                             "name " + std::to_string(i), 0, 20});
  }
  const int thirty = height();
  EXPECT_GT(thirty, empty);
  picture.spans.push_back({1800, 1801, TimelineSpan::Kind::kRecognised, "one more", 0, 20});
  EXPECT_EQ(height(), thirty);
  const Pixels drawn(drawTimeline(picture, PictureFormat::kPng));
  EXPECT_TRUE(drawn.width() <= 595 * 3 + 20 && drawn.height() <= 842 * 3);
  picture.to = picture.from;
  EXPECT_GT(height(), 0);
}

TEST(MatchPicture, DrawsTheHitsThatAgreeOnARisingLine) {
  MatchPicture picture{"t", "s", 0, 10, true, {{"n", {}, 20, 100}}};
  std::mt19937 random(2);
  for (int i = 0; i < 100; ++i) {
    picture.candidates[0].hits.push_back({i * 0.1, 20 + i * 0.1});
    picture.candidates[0].hits.push_back({i * 0.1, 40 + static_cast<int>(random() % 100) * 0.1});
  }
  const std::vector<unsigned char> png = drawMatch(picture, PictureFormat::kPng);
  const Pixels drawn(png);
  // To the left of the histogram, below the heading.
  const int right = drawn.width() / 2;
  const int bottom = drawn.height();
  const Pixels::Box frame = drawn.find(kInk, 240, bottom, right);
  const Pixels::Box line = drawn.find(kAccent, frame.top, bottom, right);
  EXPECT_GT(line.right - line.left, right / 2);
  EXPECT_GT(line.bottom - line.top, 20);
  const int half = (line.left + line.right) / 2;
  EXPECT_LT(line.top, drawn.find(kAccent, frame.top, bottom, half).top) << "later is higher";
}

TEST(MatchHits, JoinThePartsOfALongReference) {
  const TemporaryFolder folder;
  AtomicFile file(folder / "db");
  // Times are frames; the second "long" starts 16,384 frames behind the first.
  writeDatabase(
      std::vector<audio::DatabaseAudio>{
          {"other", {{50, 7}}}, {"long", {{100, 7}}}, {"long", {{25, 7}, {30, 8}}}},
      file);
  file.commit();
  const ReferenceDatabase database(folder / "db");
  Verdict verdict;
  verdict.candidates = {{
                            "long",
                            2,
                            2,
                            2,
                            16384 + 20,
                        },
                        {"other", 0, 1, 1, 45}};
  const std::vector<audio::AudioFeature> features = {{5, 7}, {10, 8}};
  const auto found = leadingHits(features, verdict, database.find(features), 100.0, 2);
  ASSERT_EQ(found.size(), 2u);
  EXPECT_EQ(found[0].name, "long");
  EXPECT_NEAR(found[0].offset, (16384 + 20) * 0.032 - 100, 1e-9);
  std::vector<std::pair<long, long>> frames;
  for (const MatchHit& hit : found[0].hits) {
    frames.emplace_back(std::lround((hit.query - 100) / 0.032), std::lround(hit.reference / 0.032));
  }
  EXPECT_EQ(frames,
            (std::vector<std::pair<long, long>>{{5, 100}, {5, 16384 + 25}, {10, 16384 + 30}}));
  EXPECT_EQ(found[1].hits.size(), 1u);
  EXPECT_EQ(leadingHits(features, verdict, database.find(features), 0.0, 1).size(), 1u);
}

}  // namespace

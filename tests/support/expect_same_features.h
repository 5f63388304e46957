#pragma once

#include <gtest/gtest.h>

#include <vector>

#include "feature/feature_extractor.h"
#include "support/log_capture.h"
#include "support/test_audio.h"

namespace testing_support {

/// Extracts one recording after the other with one extractor of each kind, the
/// engine's and the plain one, and compares features and messages.
inline void expectSameFeatures(bool single_pass, const std::vector<Recording>& recordings) {
  LogCapture capture;
  plain::Log log;
  audio::FeatureExtractor extractor;
  ASSERT_TRUE(extractor.init(single_pass));
  plain::Extractor reference(single_pass, log);
  for (const Recording& recording : recordings) {
    SCOPED_TRACE(testing::Message()
                 << recording.shape.sample_rate << " Hz, " << recording.shape.frames << " frames, "
                 << recording.shape.channels << " channels");
    const audio::AudioDataPtr audio = recording.engine();
    const plain::Audio plain_audio = recording.reference(log);
    ASSERT_TRUE(audio);
    ASSERT_EQ(extractor.loadAudio(audio.get()), reference.load(&plain_audio));
    ASSERT_EQ(extractor.extractFeatures(), reference.extract());
    ASSERT_EQ(asPlain<plain::Feature>(extractor.getFeatures()), reference.features);
    ASSERT_EQ(capture.messages(), log);
  }
}

}  // namespace testing_support

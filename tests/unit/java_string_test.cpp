#include "jni/java_string.h"

#include <gtest/gtest.h>

namespace {

using audio::jni::fromModifiedUtf8;
using audio::jni::toModifiedUtf8;

const std::string kReplacement = "\xEF\xBF\xBD";
const std::string kNote = "\xF0\x9F\x8E\xB5";              // U+1F3B5
const std::string kNotePair = "\xED\xA0\xBC\xED\xBE\xB5";  // D83C DFB5

TEST(ModifiedUtf8, KeepsTextAndSplitsSupplementaryCharacters) {
  EXPECT_EQ(toModifiedUtf8("abc \xC3\xA9 \xE2\x82\xAC"), "abc \xC3\xA9 \xE2\x82\xAC");
  EXPECT_EQ(toModifiedUtf8("a" + kNote + "b"), "a" + kNotePair + "b");
  EXPECT_EQ(toModifiedUtf8(kNotePair), kNotePair);
  EXPECT_EQ(toModifiedUtf8("\xF4\x8F\xBF\xBF"), "\xED\xAF\xBF\xED\xBF\xBF");  // U+10FFFF
}

TEST(ModifiedUtf8, ReplacesWhatIsNoUtf8ByteByByte) {
  const std::pair<std::string, std::size_t> bad[] = {{"\x80", 1},
                                                     {"\xC3", 1},
                                                     {"\xC0\x80", 2},
                                                     {"\xE2\x82", 2},
                                                     {"\xE0\x80\x80", 3},
                                                     {"\xF0\x9F\x8E", 3},
                                                     {"\xF4\x90\x80\x80", 4},
                                                     {"\xF8\x88\x80\x80\x80", 5},
                                                     {"\xFF", 1}};
  for (const auto& [bytes, count] : bad) {
    std::string expected = "x";
    for (std::size_t i = 0; i < count; ++i) expected += kReplacement;
    EXPECT_EQ(toModifiedUtf8("x" + bytes + "y"), expected + "y") << testing::PrintToString(bytes);
  }
  EXPECT_EQ(toModifiedUtf8(std::string("a\0b", 3)),
            "a\xC0\x80"
            "b");
}

TEST(ModifiedUtf8, PathsGetTheirSupplementaryCharactersBack) {
  EXPECT_EQ(fromModifiedUtf8("/m/" + kNotePair + ".db"), "/m/" + kNote + ".db");
  EXPECT_EQ(fromModifiedUtf8("\xED\xA0\xBC"
                             "abc"),
            "\xED\xA0\xBC"
            "abc");  // alone
  EXPECT_EQ(fromModifiedUtf8("a\xC0\x80"
                             "b"),
            "a\xC0\x80"
            "b");
  EXPECT_EQ(fromModifiedUtf8("\xED"), "\xED");
  // Three bytes that are no surrogate, and surrogates in the wrong order or number.
  for (const std::string kept : {"\xE2\x82\xAC \xEF\xBF\xBD", "\xED\xBE\xB5\xED\xA0\xBC",
                                 "\xED\xA0\xBC\xED\xA0\xBC", "\xED\xA0\xBC\xE2\x82\xAC"}) {
    EXPECT_EQ(fromModifiedUtf8(kept), kept);
  }
}

}  // namespace

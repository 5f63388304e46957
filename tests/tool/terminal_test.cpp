// What people see on a terminal: text, tables, the progress of work.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "tool/output/display_text.h"
#include "tool/output/progress_text.h"
#include "tool/output/table.h"

namespace audiomatch {
namespace {

TEST(DisplayText, EscapesWhatATerminalWouldObeyAndLeavesTheRest) {
  EXPECT_EQ(printable("a\nb\x1b[2J\x7f\t"), R"(a\nb\x1b[2J\x7f\t)");
  // C1 and a right-to-left override in UTF-8; a byte alone, a surrogate, an overlong slash.
  EXPECT_EQ(printable("\u0085\u202Egpj\u2069"), R"(\u0085\u202egpj\u2069)");
  EXPECT_EQ(printable("\xff \xed\xa0\x80 \xc0\xaf \xe2\x82"),
            R"(\xff \xed\xa0\x80 \xc0\xaf \xe2\x82)");
  for (const char* plain : {"", "Dvořák – Größe.ogg", "日本語", "e\u0301", "שלום", "🎵", R"(\n)"}) {
    EXPECT_EQ(printable(plain), plain);
  }
}

TEST(DisplayText, CountsColumnsAndCutsBetweenCharacters) {
  EXPECT_EQ(displayWidth("Größe"), 5u);
  EXPECT_EQ(displayWidth("日本語"), 6u);
  EXPECT_EQ(displayWidth("e\u0301🎵"), 3u);
  EXPECT_EQ(shortened("music/folder/name.wav", 21), "music/folder/name.wav");
  EXPECT_EQ(shortened("music/folder/name.wav", 11), "music…e.wav");
  EXPECT_EQ(shortened("日本語日本語", 6), "日…語");  // neither half of a wide one
  EXPECT_EQ(shortened("ae\u0301ae\u0301ae\u0301", 4), "a…ae\u0301");
  EXPECT_EQ(shortened("abc", 1), "…");
}

using Align = Table::Align;
using Need = Table::Need;

std::string table(std::size_t limit, Need last = Need::kAlways) {
  Table table(limit);
  table.addColumn("FILE", Align::kLeft);
  table.addColumn("MATCH", Align::kLeft);
  table.addColumn("LEVEL", Align::kRight);
  table.addColumn("HITS", Align::kRight, last);
  table.addRow({"music/a long folder/a long name.wav", "日本語の曲\n", "2", "12345"});
  table.addRow({"b.wav", "-", "-", "0"});
  return table.text();
}

std::size_t widest(const std::string& text) {
  std::istringstream lines(text);
  std::size_t most = 0;
  for (std::string line; std::getline(lines, line);) most = std::max(most, displayWidth(line));
  return most;
}

TEST(Table, IsWholeWithoutALimitAndFitsOne) {
  EXPECT_EQ(table(0),
            "FILE                                 MATCH         LEVEL   HITS\n"
            "music/a long folder/a long name.wav  日本語の曲\\n      2  12345\n"
            "b.wav                                -                 -      0\n");
  EXPECT_EQ(table(63), table(0));
  EXPECT_EQ(table(50),
            "FILE                    MATCH         LEVEL   HITS\n"
            "music/a lo…ng name.wav  日本語の曲\\n      2  12345\n"
            "b.wav                   -                 -      0\n");
  // Twelve columns a name at least: now the last column goes, or rows are blocks.
  EXPECT_EQ(table(38, Need::kIfThereIsRoom),
            "FILE               MATCH         LEVEL\n"
            "music/a …name.wav  日本語の曲\\n      2\n"
            "b.wav              -                 -\n");
  EXPECT_EQ(table(38),
            "FILE   music/a long fo…a long name.wav\n"
            "MATCH  日本語の曲\\n\n"
            "LEVEL  2\n"
            "HITS   12345\n"
            "\n"
            "FILE   b.wav\n"
            "MATCH  -\n"
            "LEVEL  -\n"
            "HITS   0\n"
            "\n");
  for (std::size_t limit = 20; limit < 70; ++limit) EXPECT_LE(widest(table(limit)), limit);
}

using Unit = WorkDone::Unit;

TEST(ProgressText, TellsShareCountAndTimeLeft) {
  // A quarter took 30 s, so the rest takes 90.
  EXPECT_EQ(progressText({10, 40, Unit::kCount, 30.0}, 60),
            "[########                          ]   25%  10/40  1:30 left");
  EXPECT_EQ(progressText({1799, 3600, Unit::kSeconds, 0.9}, 34),
            "[#####      ]   49%  29:59/1:00:00");
  EXPECT_EQ(progressText({0, 3, Unit::kCount, 5.0}, 24), "[           ]    0%  0/3");
  EXPECT_EQ(progressText({3, 3, Unit::kCount, 0.0}, 24), "[###########]  100%  3/3");
  EXPECT_EQ(progressText({90, 0, Unit::kSeconds, 20.0}, 39), "1:30 of sound  4.5 x as it plays");
  for (const double done : {0.0, 1.0, 4e6, 1e7}) {
    EXPECT_LE(progressText({done, 1e7, Unit::kCount, 300.0}, 39).size(), 39u);
    EXPECT_LE(progressText({done, 1e7, Unit::kSeconds, 300.0}, 20).size(), 20u);
  }
}

}  // namespace
}  // namespace audiomatch

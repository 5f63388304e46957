#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

#include "tool/input/raw_format.h"
#include "tool/recognition/channel_feed.h"
#include "tool/recognition/verdict.h"
#include "tool/verbs/command.h"

namespace audiomatch {

/// Adds --min-agreeing and --min-discrimination to a command.
void addThresholdOptions(const Command& command, Thresholds& thresholds);

/// Takes what names a database's file rather than a store.
Check databaseFile();

/// Adds DB, the file of a database that a command can't do without.
void addDatabaseArgument(const Command& command, std::filesystem::path& database,
                         const std::string& help);

/// Adds --update, --monitor and --speed, which say how a channel is fed.
///
/// @param longest  that may be remembered of it, in seconds
void addFeedOptions(const Command& command, FeedOptions& options, std::uint32_t longest);

/// Adds --rate, --channels and --format, which say what raw samples are like.
///
/// @param of  where the samples come from, for the help text
/// @return whether any of them was given
std::function<bool()> addRawOptions(const Command& command, RawFormat& raw, const std::string& of);

}  // namespace audiomatch

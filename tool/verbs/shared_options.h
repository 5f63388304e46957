#pragma once

#include <CLI/CLI.hpp>
#include <functional>

#include "tool/input/raw_format.h"
#include "tool/recognition/channel_feed.h"
#include "tool/recognition/verdict.h"

namespace audiomatch {

/// Adds --min-agreeing and --min-discrimination to a command.
void addThresholdOptions(CLI::App& command, Thresholds& thresholds);

/// Adds --update, --monitor and --speed, which say how a channel is fed.
void addFeedOptions(CLI::App& command, FeedOptions& options);

/// Adds --rate, --channels and --format, which say what raw samples are like.
///
/// @param of  where the samples come from, for the help text
/// @return whether any of them was given
std::function<bool()> addRawOptions(CLI::App& command, RawFormat& raw, const std::string& of);

}  // namespace audiomatch

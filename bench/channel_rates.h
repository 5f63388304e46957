#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "recordings.h"

namespace bench {

// In all of these, `number` is how many channels are on air, `recordings` what they play.

/// Asks where recordings were heard that channels played, and such as none did: prints each
/// answer, a line of CSV.
void askWhich(const std::vector<Listed>& recordings, std::size_t number);

/// Prints what a second of a channel takes of one core, and what a channel takes of memory.
///
/// @param folder  for a store; empty
void printCosts(const std::vector<Listed>& recordings, std::size_t number,
                const std::filesystem::path& folder);

/// A day of channels, each of which plays one piece after another: prints once an hour what is
/// in use of a store, what it takes on the disk, and memory. False when, from the first hour to
/// the last, one of them has grown by more than a tenth.
bool keepForDay(const std::vector<Listed>& recordings, std::size_t number,
                const std::filesystem::path& folder);

/// Has channels play into a Redis Cluster in their own time; says on standard output when they
/// begin.
void feedCluster(const std::vector<Listed>& recordings, std::size_t number, const std::string& url,
                 std::uint32_t monitor, std::uint32_t seconds);

}  // namespace bench

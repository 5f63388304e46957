#pragma once

namespace bench {

/// Registers the benchmarks of fingerprinting.
void addExtraction();

/// Registers the benchmarks of loading a database and querying it.
void addDatabase();

}  // namespace bench

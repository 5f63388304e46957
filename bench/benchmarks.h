#pragma once

namespace bench {

/// Registers the benchmarks of fingerprinting.
void addExtraction();

/// Registers the benchmarks of loading a database and querying it.
void addDatabase();

/// Registers the benchmarks of twice as much against once.
void addGrowth();

/// Registers the benchmark of scoring for Java.
void addAttributeServer();

}  // namespace bench

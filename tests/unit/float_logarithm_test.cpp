// Logarithms many at once against the C library's one by one.

#include "feature/float_logarithm.h"

#include <gtest/gtest.h>

#include <bit>
#include <cfloat>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace {

float plainLogarithm(float value) {
  return static_cast<float>(std::log(static_cast<double>(value)));
}

void expectSameBits(const std::vector<float>& values) {
  std::vector<float> logarithms = values;
  audio::replaceByLogarithms(logarithms.data(), logarithms.size());
  for (std::size_t i = 0; i < values.size(); ++i) {
    ASSERT_EQ(std::bit_cast<std::uint32_t>(logarithms[i]),
              std::bit_cast<std::uint32_t>(plainLogarithm(values[i])))
        << std::hexfloat << values[i] << " at " << i << " of " << values.size();
  }
}

/// How far the logarithm lies from a border between two floats, in their distance.
double distanceToBorder(float value) {
  const long double exact = std::log(static_cast<long double>(value));
  const float narrowed = static_cast<float>(exact);
  const float infinity = std::numeric_limits<float>::infinity();
  const float neighbour =
      std::nextafter(narrowed, exact > static_cast<long double>(narrowed) ? infinity : -infinity);
  const long double border =
      (static_cast<long double>(narrowed) + static_cast<long double>(neighbour)) / 2;
  return static_cast<double>(std::fabs((exact - border) / (static_cast<long double>(neighbour) -
                                                           static_cast<long double>(narrowed))));
}

TEST(FloatLogarithm, AnyBitPattern) {
  std::mt19937 random(1);
  std::vector<float> values(4'000'000);
  for (float& value : values) value = std::bit_cast<float>(static_cast<std::uint32_t>(random()));
  expectSameBits(values);
}

TEST(FloatLogarithm, NextToBorders) {
  // The bound alone can't decide these.
  std::mt19937 random(2);
  std::vector<float> values;
  while (values.size() < 500) {
    const auto value =
        std::bit_cast<float>(static_cast<std::uint32_t>(0x2C000000 + random() % 0x20000000));
    if (distanceToBorder(value) < 0x1p-13) values.push_back(value);
  }
  expectSameBits(values);
}

TEST(FloatLogarithm, EveryValueAroundOneAndWhereThePowerOfTwoChanges) {
  for (const float centre :
       {1.0f, std::bit_cast<float>(0x3F3504F3u), std::sqrt(2.0f), 2.0f, 512.0f}) {
    const auto first = std::bit_cast<std::uint32_t>(centre) - 100'000;
    std::vector<float> values(200'000);
    for (std::uint32_t i = 0; i < values.size(); ++i) values[i] = std::bit_cast<float>(first + i);
    expectSameBits(values);
  }
}

TEST(FloatLogarithm, WhatIsNoPositiveNormalNumberAmongOthers) {
  const float infinity = std::numeric_limits<float>::infinity();
  for (const float odd :
       {0.0f, -0.0f, -1.0f, FLT_TRUE_MIN, FLT_MIN, FLT_MAX, infinity, -infinity,
        std::numeric_limits<float>::quiet_NaN(), -std::numeric_limits<float>::quiet_NaN()}) {
    for (const std::size_t count : {1u, 3u, 4u, 63u, 64u, 65u, 257u}) {
      std::vector<float> values(count, 3.0f);
      values[count / 2] = odd;
      expectSameBits(values);
    }
  }
  audio::replaceByLogarithms(nullptr, 0);
}

}  // namespace

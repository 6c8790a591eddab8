// Documents made by chance, the same for the same seed on every machine.
#pragma once

#include <cstdint>
#include <string>

namespace svc::xml {

class TChance {
 public:
  explicit TChance(std::uint64_t seed) : state(seed * 0x9E3779B97F4A7C15 + 1) {}
  // From 0 to limit - 1.
  std::size_t Below(std::size_t limit);
  bool OneIn(std::size_t limit) { return Below(limit) == 0; }

 private:
  std::uint64_t state;
};

// A document of the profile with classes A and B and some instances of them, written in many ways.
std::string MakeDocument(TChance& chance);

// The same with several instances that are written alike, as the tools write them: the same
// properties in the same order and with the same white space, but for a few places.
std::string MakeRegularDocument(TChance& chance);

// A document with up to three of its bytes or stretches changed.
std::string Mutate(std::string document, TChance& chance);

}  // namespace svc::xml

// SPDX-License-Identifier: MIT
#pragma once

#include "velta/serialisation/Described.h"
#include "velta/serialisation/StandardValues.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

enum class Colour : std::uint8_t { kRed, kGreen };

template <>
struct Velta::EnumNames<Colour> {
  static constexpr Velta::EnumName<Colour> kNames[] = {{Colour::kRed, L"red"},
                                                       {Colour::kGreen, L"green"}};
};

enum class Level : std::int64_t { kLow = -5, kHigh = 5'000'000'000 };

/// A tree: how deep it is, the document says.
struct Node {
  int number = 0;
  std::vector<Node> nodes;

  static void Describe(auto& field) {
    field(L"Number", &Node::number, Velta::Between(0, 1000));
    field(L"Nodes", &Node::nodes);
  }
  bool operator==(const Node&) const = default;
};

/// Every kind of field.
struct ManyFields {
  bool flag = true;
  char letter = 'x';
  std::int8_t tiny = -8;
  std::uint8_t byte = 8;
  std::int16_t small16 = -16;
  std::uint16_t positive16 = 16;
  std::int32_t number = -32;
  std::uint32_t positive = 32;
  std::int64_t large = -64;
  std::uint64_t positiveLarge = 64;
  long natural = -1;
  unsigned long long longest = 1;
  float ratio = 0.1F;
  double scale = 0.1;
  Colour colour = Colour::kGreen;
  Level level = Level::kHigh;
  MString wide = L"A & B";
  std::string narrow = "\xC3\xA4";
  std::optional<int> some = 1;
  std::optional<MString> none;
  std::vector<int> numbers{1, 2, 3};
  std::vector<bool> flags{true, false};
  std::array<double, 2> corner{0.5, -0.0};
  std::set<MString> names{L"a", L"b"};
  std::map<MString, std::vector<std::int64_t>> sizes{{L"a", {5'000'000'000}}, {L"b", {}}};
  std::vector<std::byte> bytes{std::byte{0x00}, std::byte{0xFF}};
  std::chrono::milliseconds wait{1500};
  std::chrono::duration<double> exact{0.1};
  std::chrono::sys_time<std::chrono::nanoseconds> when{std::chrono::nanoseconds(-1)};
  std::filesystem::path file{L"a/b"};
  Node tree{1, {Node{2, {}}, Node{3, {Node{4, {}}}}}};
  Velta::OtherFields others;

  static void Describe(auto& field) {
    field.Version(2);
    field(L"Flag", &ManyFields::flag);
    field(L"Letter", &ManyFields::letter);
    field(L"Tiny", &ManyFields::tiny);
    field(L"Byte", &ManyFields::byte);
    field(L"Small", &ManyFields::small16);
    field(L"Positive16", &ManyFields::positive16);
    field(L"Number", &ManyFields::number);
    field(L"Positive", &ManyFields::positive);
    field(L"Large", &ManyFields::large);
    field(L"PositiveLarge", &ManyFields::positiveLarge);
    field(L"Natural", &ManyFields::natural);
    field(L"Longest", &ManyFields::longest);
    field(L"Ratio", &ManyFields::ratio);
    field(L"Scale", &ManyFields::scale);
    field(L"Colour", &ManyFields::colour);
    field(L"Level", &ManyFields::level);
    field(L"Wide", &ManyFields::wide);
    field(L"Narrow", &ManyFields::narrow);
    field(L"Some", &ManyFields::some);
    field(L"None", &ManyFields::none);
    field(L"Numbers", &ManyFields::numbers);
    field(L"Flags", &ManyFields::flags);
    field(L"Corner", &ManyFields::corner);
    field(L"Names", &ManyFields::names);
    field(L"Sizes", &ManyFields::sizes);
    field(L"Bytes", &ManyFields::bytes);
    field(L"Wait", &ManyFields::wait);
    field(L"Exact", &ManyFields::exact);
    field(L"When", &ManyFields::when);
    field(L"File", &ManyFields::file);
    field(L"Tree", &ManyFields::tree);
    field.KeepOthers(&ManyFields::others);
  }
  bool operator==(const ManyFields&) const = default;
};

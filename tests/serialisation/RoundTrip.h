// SPDX-License-Identifier: MIT
#pragma once

#include "velta/serialisation/IInFilerTagged.h"
#include "velta/serialisation/IOutFilerTagged.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

/// Values of every type, those at the edges and random ones: written by one filer, then asked back
/// from another, in the same order.
class RoundTrip {
 public:
  /// @param doubleDigits, floatDigits  how many the prescribed text has after the point: what is
  ///                                   asked back is the number nearest to that text
  /// @param randoms                    how many random values of a kind
  RoundTrip(IOutFilerTagged& filer, int doubleDigits, int floatDigits, int randoms)
      : writer(filer) {
    WriteIntegers();
    WriteTexts(randoms / 2);
    char digits[64];
    for (const double value : Floating<double, std::uint64_t>(randoms)) {
      std::snprintf(digits, sizeof digits, "%.*e", doubleDigits, value);
      Write(&IOutFilerTagged::WriteDouble, &IInFilerTagged::ReadDouble, value,
            std::strtod(digits, nullptr));
    }
    for (const float value : Floating<float, std::uint32_t>(randoms)) {
      std::snprintf(digits, sizeof digits, "%.*e", floatDigits, static_cast<double>(value));
      Write(&IOutFilerTagged::WriteFloat, &IInFilerTagged::ReadFloat, value,
            std::strtof(digits, nullptr));
    }
  }

  void ExpectBack(IInFilerTagged& reader) const {
    for (const auto& read : reads) {
      read(reader);
    }
  }

 private:
  template <class T>
  static bool Same(const T& left, const T& right) {
    if constexpr (std::is_floating_point_v<T>) {
      if (std::isnan(left)) {
        return std::isnan(right);
      }
      return std::memcmp(&left, &right, sizeof left) == 0;  // zeros have signs
    } else {
      return left == right;
    }
  }

  template <class T, class Writing, class Reading>
  void Write(Writing write, Reading read, const T& value, const T& expected) {
    const MString tag = L"v" + std::to_wstring(reads.size());
    EXPECT_TRUE((writer.*write)(tag, value));
    reads.push_back([=](IInFilerTagged& reader) {
      T back{};
      EXPECT_TRUE((reader.*read)(tag, &back, T{})) << testing::PrintToString(value);
      EXPECT_TRUE(Same(back, expected))
          << testing::PrintToString(value) << " comes back as " << testing::PrintToString(back);
    });
  }

  template <class T, class Writing, class Reading>
  void WriteAll(Writing write, Reading read, const std::vector<T>& values) {
    for (const T& value : values) {
      Write(write, read, value, value);
    }
  }

  /// Those at the edges and around zero.
  template <class T, class Writing, class Reading>
  void WriteIntegers(Writing write, Reading read) {
    using Limits = std::numeric_limits<T>;
    WriteAll<T>(write, read, {(Limits::min)(), static_cast<T>(-1), 0, 1, (Limits::max)()});
  }

  void WriteIntegers() {
    using Out = IOutFilerTagged;
    using In = IInFilerTagged;
    for (int i = 0; i < 256; ++i) {
      const auto character = static_cast<char>(i);
      Write(&Out::WriteChar, &In::ReadChar, character, character);
    }
    WriteIntegers<std::uint8_t>(&Out::WriteByte, &In::ReadByte);
    WriteIntegers<std::int16_t>(&Out::WriteShort, &In::ReadShort);
    WriteIntegers<std::uint16_t>(&Out::WriteUnsignedShort, &In::ReadUnsignedShort);
    WriteIntegers<std::int32_t>(&Out::WriteInt, &In::ReadInt);
    WriteIntegers<std::uint32_t>(&Out::WriteUnsignedInt, &In::ReadUnsignedInt);
    Write(&Out::WriteBool, &In::ReadBool, true, true);
    Write(&Out::WriteBool, &In::ReadBool, false, false);
  }

  void WriteTexts(int randoms) {
    std::vector<MString> texts = {L"\r\n\t",
                                  L"<a b=\"c\">'\\</a>&amp;",
                                  MString(L"a\0b\0", 4),
                                  MString(1, wchar_t(0xD800)),
                                  MString(1, wchar_t(0xFFFF)),
                                  L"\u4e2d",
                                  MString(100000, L'<')};
    for (int i = 0; i < randoms; ++i) {
      MString text;
      for (auto n = random() % 20; n > 0; --n) {
        text += L"<>&'\"];#x \n\r\t/=!-?a0\xE9"[random() % 21];
      }
      texts.push_back(text);
    }
    WriteAll(&IOutFilerTagged::WriteString, &IInFilerTagged::ReadString, texts);
  }

  /// Every kind of number there is, then any bit pattern.
  template <class T, class Bits>
  std::vector<T> Floating(int randoms) {
    using Limits = std::numeric_limits<T>;
    std::vector<T> values = {T{0},
                             -T{0},
                             static_cast<T>(0.1),
                             (Limits::max)(),
                             (Limits::min)(),
                             Limits::denorm_min(),
                             Limits::infinity(),
                             -Limits::infinity(),
                             Limits::quiet_NaN()};
    for (int i = 0; i < randoms; ++i) {
      const auto bits = static_cast<Bits>(random());
      std::memcpy(&values.emplace_back(), &bits, sizeof bits);
    }
    return values;
  }

  IOutFilerTagged& writer;
  std::vector<std::function<void(IInFilerTagged&)>> reads;
  std::mt19937_64 random{20261121};
};

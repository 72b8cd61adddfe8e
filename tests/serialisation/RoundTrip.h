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
  RoundTrip(IOutFilerTagged& writer, int doubleDigits, int floatDigits, int randoms)
      : writer_(writer) {
    for (int i = 0; i < 256; ++i) {
      Write(&Out::WriteChar, &In::ReadChar, static_cast<char>(i));
    }
    Write(&Out::WriteBool, &In::ReadBool, true);
    Write(&Out::WriteBool, &In::ReadBool, false);
    WriteIntegers<std::uint8_t>(&Out::WriteByte, &In::ReadByte);
    WriteIntegers<std::int16_t>(&Out::WriteShort, &In::ReadShort);
    WriteIntegers<std::uint16_t>(&Out::WriteUnsignedShort, &In::ReadUnsignedShort);
    WriteIntegers<std::int32_t>(&Out::WriteInt, &In::ReadInt);
    WriteIntegers<std::uint32_t>(&Out::WriteUnsignedInt, &In::ReadUnsignedInt);
    WriteTexts(randoms / 2);
    WriteFloating<double, std::uint64_t>(&Out::WriteDouble, &In::ReadDouble, &std::strtod,
                                         doubleDigits, randoms);
    WriteFloating<float, std::uint32_t>(&Out::WriteFloat, &In::ReadFloat, &std::strtof, floatDigits,
                                        randoms);
  }

  void ExpectBack(IInFilerTagged& reader) const {
    for (const auto& read : reads_) {
      read(reader);
    }
  }

 private:
  using Out = IOutFilerTagged;
  using In = IInFilerTagged;
  template <class T>
  using Writing = bool (Out::*)(const MString&, T);  // names which one of those that do not compile
  template <class T>
  using Reading = bool (In::*)(const MString&, T*, T);

  template <class T>
  static bool Same(const T& left, const T& right) {
    if constexpr (std::is_floating_point_v<T>) {
      return std::isnan(left) ? std::isnan(right)
                              : std::memcmp(&left, &right, sizeof left) == 0;  // zeros have signs
    } else {
      return left == right;
    }
  }

  template <class T>
  void Write(Writing<std::type_identity_t<T>> write, Reading<std::type_identity_t<T>> read,
             const T& value, const T& expected) {
    WriteBy(write, read, value, expected);
  }
  template <class T>
  void Write(Writing<std::type_identity_t<T>> write, Reading<std::type_identity_t<T>> read,
             const T& value) {
    WriteBy(write, read, value, value);
  }
  template <class T, class Write, class Read>
  void WriteBy(Write write, Read read, const T& value, const T& expected) {
    const MString tag = L"v" + std::to_wstring(reads_.size());
    EXPECT_TRUE((writer_.*write)(tag, value));
    reads_.push_back([=](IInFilerTagged& reader) {
      T back{};
      EXPECT_TRUE((reader.*read)(tag, &back, T{})) << testing::PrintToString(value);
      EXPECT_TRUE(Same(back, expected))
          << testing::PrintToString(value) << " comes back as " << testing::PrintToString(back);
    });
  }

  /// Those at the edges and around zero.
  template <class T>
  void WriteIntegers(Writing<T> write, Reading<T> read) {
    using Limits = std::numeric_limits<T>;
    for (const T value : {(Limits::min)(), static_cast<T>(-1), T{0}, T{1}, (Limits::max)()}) {
      Write(write, read, value);
    }
  }

  void WriteTexts(int randoms) {
    for (const MString& text :
         {MString(L"\r\n\t"), MString(L"<a b=\"c\">'\\</a>&amp;"), MString(L"a\0b\0", 4),
          MString(1, wchar_t(0xD800)), MString(1, wchar_t(0xFFFF)), MString(L"\u4e2d"),
          MString(100000, L'<')}) {
      WriteBy(&Out::WriteString, &In::ReadString, text, text);
    }
    for (int i = 0; i < randoms; ++i) {
      MString text;
      for (auto n = random_() % 20; n > 0; --n) {
        text += L"<>&'\"];#x \n\r\t/=!-?a0\xE9"[random_() % 21];
      }
      WriteBy(&Out::WriteString, &In::ReadString, text, text);
    }
  }

  /// Every kind of number there is, then any bit pattern.
  template <class T, class Bits, class Parse>
  void WriteFloating(Writing<T> write, Reading<T> read, Parse parse, int digits, int randoms) {
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
      const auto bits = static_cast<Bits>(random_());
      std::memcpy(&values.emplace_back(), &bits, sizeof bits);
    }
    for (const T value : values) {
      char text[64];
      std::snprintf(text, sizeof text, "%.*e", digits, static_cast<double>(value));
      Write(write, read, value, parse(text, nullptr));
    }
  }

  IOutFilerTagged& writer_;
  std::vector<std::function<void(IInFilerTagged&)>> reads_;
  std::mt19937_64 random_{20261121};
};

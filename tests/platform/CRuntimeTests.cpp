// SPDX-License-Identifier: MIT
// QueryPerformanceCounter, _ftime64_s, _ctime64_s, _create_locale, _wcstod_l, mbstowcs_s; MLocale's
// tests format.
#include "PlatformKit.h"

#include <chrono>
#include <clocale>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <string>
#include <utility>

#include <gtest/gtest.h>

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

#if defined(_WIN32)
constexpr const char* kGerman = "de-DE";
constexpr const char* kUtf8 = "en_US.UTF-8";
#else
constexpr const char* kGerman = "de_DE.UTF-8";
constexpr const char* kUtf8 = "C.UTF-8";
#endif

TEST(PerformanceCounter, RunsForwardsAtTheFrequencyThatItNames) {
  struct Reading {
    Clock::time_point before = Clock::now();
    LARGE_INTEGER counter{};
    BOOL result = ::QueryPerformanceCounter(&counter);
    Clock::time_point after = Clock::now();
  };
  LARGE_INTEGER frequency{};
  ::QueryPerformanceFrequency(&frequency);
  const Reading first;
  Reading last;
  while (last.after - first.before < std::chrono::milliseconds(50)) {
    const Reading next;
    ASSERT_GE(next.counter.QuadPart, last.counter.QuadPart);
    last = next;
  }
  const double counted = static_cast<double>(last.counter.QuadPart - first.counter.QuadPart) /
                         static_cast<double>(frequency.QuadPart);
  EXPECT_GE(counted, Seconds(last.before - first.after).count() * 0.995);
  EXPECT_LE(counted, Seconds(last.after - first.before).count() * 1.005);
}

TEST(WallClock, TellsTheSystemsTimeInSecondsAndMilliseconds) {
  const auto milliseconds = [] {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
  };
  constexpr long long kTick = 16;  // the C runtime may read a coarser clock
  __timeb64 now{};
  const long long before = milliseconds();
  EXPECT_EQ(::_ftime64_s(&now), 0);
  EXPECT_GE(now.time * 1000 + now.millitm, before - kTick);
  EXPECT_LE(now.time * 1000 + now.millitm, milliseconds() + kTick);
  EXPECT_LT(now.millitm, 1000);
}

TEST(WallClock, WritesATimeAsTwentyFiveCharacters) {
  TolerateInvalidParameters();
#if defined(_WIN32)
  ::_putenv_s("TZ", "UTC0");
  ::_tzset();
#else
  ::setenv("TZ", "UTC0", 1);
#endif
  const auto text = [](__time64_t time, std::size_t size = 26) {
    char buffer[26] = "unchanged";
    const errno_t result = ::_ctime64_s(buffer, size, &time);
    return std::to_string(result) + ":" + buffer;
  };
  EXPECT_EQ(text(1794674794), "0:Sat Nov 14 16:46:34 2026\n");
  EXPECT_EQ(text(3 * 86400), "0:Sun Jan  4 00:00:00 1970\n");
  EXPECT_EQ(text(32535215999), "0:Wed Dec 31 23:59:59 3000\n");
  const std::string refused = std::to_string(EINVAL) + ":";
  EXPECT_EQ(text(-1), refused);
  EXPECT_EQ(::_ctime64_s(nullptr, 26, nullptr), EINVAL);
  EXPECT_EQ(::_ftime64_s(nullptr), EINVAL);
#if !defined(_WIN32)  // Wine: crashes, and leaves the buffer alone
  EXPECT_EQ(text(32535216000), refused);
  EXPECT_EQ(text(0, 25), refused);
#endif
}

TEST(CreateLocale, AnUnknownNameGivesNull) {
  TolerateInvalidParameters();
  EXPECT_EQ(::_create_locale(LC_ALL, "xx_bogus"), nullptr);
  EXPECT_EQ(::_create_locale(LC_ALL, nullptr), nullptr);
}

TEST(ScanDouble, ReadsANumberByTheLocaleGiven) {
  const struct {
    const char* locale;
    const wchar_t* text;
    double value;
    std::ptrdiff_t length;
  } cases[] = {{"C", L"1.5e3x", 1500, 5},
               {"C", L"1,5", 1, 1},
               {kGerman, L"1,5", 1.5, 3},
               {"C", L"", 0, 0},
               {"C", L"1e999", std::numeric_limits<double>::infinity(), 5}};
  for (const auto& [name, text, value, length] : cases) {
    const _locale_t locale = ::_create_locale(LC_ALL, name);
    ASSERT_NE(locale, nullptr);
    wchar_t* end = nullptr;
    errno = 0;
    EXPECT_EQ(::_wcstod_l(text, &end, locale), value);
    EXPECT_EQ(end - text, length);
    EXPECT_EQ(errno, value > 1e308 ? ERANGE : 0);
    ::_free_locale(locale);
  }
}

/// "result/converted:text"; room for `size` characters.
std::wstring ToWide(const char* text, std::size_t size, std::size_t maxCount) {
  std::wstring buffer(16, L'#');
  std::size_t converted = 0;
  const errno_t result = ::mbstowcs_s(&converted, buffer.data(), size, text, maxCount);
  return std::to_wstring(result) + L"/" + std::to_wstring(converted) + L":" + buffer.c_str();
}

TEST(MultibyteToWide, ConvertsCutsOrRefuses) {
  TolerateInvalidParameters();
  const std::wstring cut = std::to_wstring(STRUNCATE);
  const std::wstring tooLong = std::to_wstring(ERANGE);
  EXPECT_EQ(ToWide("abc", 8, _TRUNCATE), L"0/4:abc");
  EXPECT_EQ(ToWide("a\xE4z\xFF", 8, _TRUNCATE), L"0/5:a\u00E4z\u00FF");  // the classic locale
  EXPECT_EQ(ToWide("abc", 8, 2), L"0/3:ab");
  EXPECT_EQ(ToWide("abc", 3, _TRUNCATE), cut + L"/3:ab");
  EXPECT_EQ(ToWide("abc", 3, 3), tooLong + L"/0:");
  EXPECT_EQ(ToWide(nullptr, 8, _TRUNCATE), std::to_wstring(EINVAL) + L"/0:");
  std::size_t needed = 0;
  EXPECT_EQ(::mbstowcs_s(&needed, nullptr, 0, "abc", 0), 0);
  EXPECT_EQ(needed, 4U);

  // Other bytes mean what the current locale says. Wine forgets to report a text that is not valid.
  const std::string previous = std::setlocale(LC_CTYPE, nullptr);
  ASSERT_NE(std::setlocale(LC_CTYPE, kUtf8), nullptr);
  EXPECT_EQ(ToWide("\xC3\xA4z", 8, _TRUNCATE), L"0/3:\u00E4z");
  const std::wstring invalid = ToWide("ab\xC3", 8, _TRUNCATE);
  EXPECT_EQ(invalid.substr(invalid.find(L':')), L":");
#if !defined(_WIN32)
  EXPECT_EQ(invalid, std::to_wstring(EILSEQ) + L"/0:");
#endif
  std::setlocale(LC_CTYPE, previous.c_str());
}

}  // namespace

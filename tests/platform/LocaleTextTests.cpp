// SPDX-License-Identifier: MIT
// _create_locale, _wcstod_l, mbstowcs_s; MLocale's tests format.
#include "PlatformKit.h"

#include <clocale>
#include <limits>
#include <string>

#include <gtest/gtest.h>

namespace {

#if defined(_WIN32)
constexpr const char* kGerman = "de-DE";
constexpr const char* kUtf8 = "en_US.UTF-8";
#else
constexpr const char* kGerman = "de_DE.UTF-8";
constexpr const char* kUtf8 = "C.UTF-8";
#endif

class Locale {
 public:
  explicit Locale(const char* name) : handle_(::_create_locale(LC_ALL, name)) {}
  Locale(const Locale&) = delete;
  Locale& operator=(const Locale&) = delete;
  ~Locale() { ::_free_locale(handle_); }
  operator _locale_t() const { return handle_; }

 private:
  const _locale_t handle_;
};

/// The number, and how many characters it took.
std::pair<double, std::ptrdiff_t> Scan(_locale_t locale, const wchar_t* text) {
  wchar_t* end = nullptr;
  const double value = ::_wcstod_l(text, &end, locale);
  return {value, end - text};
}

TEST(CreateLocale, AnUnknownNameGivesNull) {
  const TolerateInvalidParameters tolerate;
  EXPECT_NE(Locale("C"), nullptr);
  EXPECT_EQ(::_create_locale(LC_ALL, "xx_bogus"), nullptr);
  EXPECT_EQ(::_create_locale(LC_ALL, nullptr), nullptr);
}

TEST(ScanDouble, ReadsANumberByTheLocaleGiven) {
  using Scanned = std::pair<double, std::ptrdiff_t>;
  const Locale classic("C");
  const Locale german(kGerman);
  EXPECT_EQ(Scan(classic, L"1.5e3x"), (Scanned{1500, 5}));
  EXPECT_EQ(Scan(classic, L"1,5"), (Scanned{1, 1}));
  EXPECT_EQ(Scan(german, L"1,5"), (Scanned{1.5, 3}));
  EXPECT_EQ(Scan(classic, L""), (Scanned{0, 0}));
  errno = 0;
  EXPECT_EQ(Scan(classic, L"1e999"), (Scanned{std::numeric_limits<double>::infinity(), 5}));
  EXPECT_EQ(errno, ERANGE);
}

/// "result/converted:text"; room for `size` characters.
std::wstring ToWide(const char* text, std::size_t size, std::size_t maxCount) {
  std::wstring buffer(16, L'#');
  std::size_t converted = 0;
  const errno_t result = ::mbstowcs_s(&converted, buffer.data(), size, text, maxCount);
  return std::to_wstring(result) + L"/" + std::to_wstring(converted) + L":" + buffer.c_str();
}

TEST(MultibyteToWide, ConvertsCutsOrRefuses) {
  const TolerateInvalidParameters tolerate;
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
}

TEST(MultibyteToWide, TheCurrentLocaleDecidesWhatBytesMean) {
  const std::string previous = std::setlocale(LC_CTYPE, nullptr);
  ASSERT_NE(std::setlocale(LC_CTYPE, kUtf8), nullptr);
  EXPECT_EQ(ToWide("\xC3\xA4z", 8, _TRUNCATE), L"0/3:\u00E4z");
  // Nothing of a text that is not valid; Wine forgets to report it.
  const std::wstring invalid = ToWide("ab\xC3", 8, _TRUNCATE);
  EXPECT_EQ(invalid.substr(invalid.find(L':')), L":");
#if !defined(_WIN32)
  EXPECT_EQ(invalid, std::to_wstring(EILSEQ) + L"/0:");
#endif
  std::setlocale(LC_CTYPE, previous.c_str());
}

}  // namespace

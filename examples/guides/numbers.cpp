// SPDX-License-Identifier: MIT
#include "velta/errors/Describe.h"
#include "velta/text/MLocale.h"
#include "velta/text/NumberText.h"
#include "velta/text/StandardText.h"
#include "velta/text/TextOf.h"
#include "velta/text/Utf8.h"

#include <chrono>
#include <clocale>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <string>

namespace {

template <class Value>
MString Text(const Value& value) {
  return Velta::TextOf<Value>::Make(value);
}

void ShowTexts() {
  std::wcout << Text(std::uint64_t{18'446'744'073'709'551'615U}) << L", " << Text(-1) << L", "
             << Text(0.1) << L", " << Text(true) << L", " << Text(std::chrono::milliseconds(1500))
             << L", " << Text(std::filesystem::path(L"a.txt")) << L'\n';
}

void ShowNumbers() {
  const MLocale& locale = MLocale::GetClassic();
  double number = 0;
  const bool isNumber = ParseDouble(locale, L" 2.5 mm", &number);
  MString text;
  locale.Format(text, L"%.3e", number);
  std::wcout << (isNumber ? L"a number: " : L"no number: ") << text << L'\n';
}

void ShowUtf8() {
  const MString wide = FromUtf8("gr\xC3\xBC\xC3\x9F dich");
  std::wcout << wide.size() << L" characters, " << ToUtf8(wide).size() << L" bytes\n";
  try {
    static_cast<void>(FromUtf8("gr\xFC\xDF dich"));  // Latin-1
  } catch (const MException& exception) {
    std::wcout << Describe(exception) << L'\n';
  }
  std::wcout << (FromUtf8Lossy("a\xFF") == L"a\xFFFD" ? L"replaced" : L"kept") << L'\n';
}

}  // namespace

int main() {
  std::setlocale(LC_ALL, "");  // whatever the user's locale is
  ShowTexts();
  ShowNumbers();
  ShowUtf8();
}

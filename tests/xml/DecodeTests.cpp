// SPDX-License-Identifier: MIT
#include "velta/xml/DecodeXml.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace std::string_view_literals;
using Fault = MDecodedXml::Fault;

struct Case {
  std::string_view bytes;
  MString encoding;
  MString text;
  Fault fault = Fault::kNone;
  std::size_t offset = 0;
};

void ExpectDecoded(const std::vector<Case>& cases) {
  for (const Case& expected : cases) {
    SCOPED_TRACE(testing::PrintToString(std::string(expected.bytes)));
    const MDecodedXml result = DecodeXml(expected.bytes);
    EXPECT_EQ(result.encoding, expected.encoding);
    EXPECT_EQ(result.text, expected.text);
    EXPECT_EQ(result.fault, expected.fault);
    EXPECT_EQ(result.offset, expected.offset);
  }
}

TEST(DecodeXml, TheMarkThenTheFirstCharacterThenTheDeclarationTellTheEncoding) {
  const MString emoji = sizeof(wchar_t) == 2 ? L"\xD83D\xDE00" : MString(1, wchar_t(0x1F600));
  ExpectDecoded({
      {"", L"UTF-8", L""},
      {"\xEF\xBB\xBF<\xC3\xBC>", L"UTF-8", L"<\u00FC>"},
      {"\xFF\xFE<\0\x3D\xD8\x00\xDE"sv, L"UTF-16LE", L"<" + emoji},
      {"\xFE\xFF\0<\xD8\x3D\xDE\x00"sv, L"UTF-16BE", L"<" + emoji},
      {"<\0a\0"sv, L"UTF-16LE", L"<a"},
      {"\0<\0a"sv, L"UTF-16BE", L"<a"},
      {"<\xF0\x9F\x98\x80", L"UTF-8", L"<" + emoji},
      {"<?xml version='1.0' encoding = 'Latin1'?>\xFC", L"ISO-8859-1",
       L"<?xml version='1.0' encoding = 'Latin1'?>\u00FC"},
      {"<?xml encoding=\"us-ascii\"?>", L"US-ASCII", L"<?xml encoding=\"us-ascii\"?>"},
      // What merely looks like a declared encoding.
      {"<?xml version='encoding=\"latin1\"'?>\xC3\xBC", L"UTF-8",
       L"<?xml version='encoding=\"latin1\"'?>\u00FC"},
      {"<?xml-style encoding='latin1'?>\xC3\xBC", L"UTF-8",
       L"<?xml-style encoding='latin1'?>\u00FC"},
      {"<?xml encoding='latin1?>'\xC3\xBC", L"UTF-8", L"<?xml encoding='latin1?>'\u00FC"},
      {"<?xml", L"UTF-8", L"<?xml"},
      {"<?xml encoding=", L"UTF-8", L"<?xml encoding="},
  });
}

TEST(DecodeXml, WhatIsNoCharacterIsAFaultWithItsPlace) {
  ExpectDecoded({
      {"<a>\xFF", L"UTF-8", L"<a>", Fault::kMalformed, 3},
      {"<a>\xED\xA0\x80", L"UTF-8", L"<a>", Fault::kMalformed, 3},
      {"\xEF\xBB\xBF<\xC3", L"UTF-8", L"<", Fault::kMalformed, 4},
      {"<\0a"sv, L"UTF-16LE", L"<", Fault::kMalformed, 2},
      {"<\0\x3D\xD8"sv, L"UTF-16LE", L"<", Fault::kMalformed, 2},
      {"<\0\x3D\xD8<\0"sv, L"UTF-16LE", L"<", Fault::kMalformed, 2},
      {"\xFE\xFF\0<\xDC\x00"sv, L"UTF-16BE", L"<", Fault::kMalformed, 4},
      {"<?xml encoding='ascii'?>\x80", L"US-ASCII", L"<?xml encoding='ascii'?>", Fault::kMalformed,
       24},
      {"\xFF\xFE\0\0<\0\0\0"sv, L"UTF-32", L"", Fault::kUnsupported},
      {"\0\0\0<"sv, L"UTF-32", L"", Fault::kUnsupported},
      {"<?xml encoding='utf-16'?>", L"UTF-16", L"", Fault::kUnsupported},
      {"<?xml encoding='\xC3\xBC-0123456789012345678901234567890123456789'?>",
       L"\uFFFD\uFFFD-0123456789012345678901234567890123456", L"", Fault::kUnsupported},
  });
}

}  // namespace

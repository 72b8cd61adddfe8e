// SPDX-License-Identifier: MIT
#include "velta/xml/DecodeXml.h"

#include "velta/text/internal/Characters.h"

#include <algorithm>
#include <iterator>

namespace {

using Velta::Text::Append;
using Velta::Text::Decode;
using Velta::Text::IsSurrogate;
using Velta::Text::Step;

constexpr std::string_view kSpace = " \t\r\n";
constexpr std::size_t kLongestName = 40;

void SetMalformed(MDecodedXml& result, std::size_t offset) {
  result.fault = MDecodedXml::Fault::kMalformed;
  result.offset = offset;
}

void DecodeUtf8(std::string_view bytes, std::size_t begin, MDecodedXml& result) {
  result.encoding = L"UTF-8";
  result.text.reserve(bytes.size());
  for (std::size_t i = begin; i < bytes.size();) {
    const Step step = Decode(bytes.substr(i));
    if (!step.valid) {
      return SetMalformed(result, i);
    }
    Append(result.text, step.character);
    i += step.length;
  }
}

void DecodeUtf16(std::string_view bytes, std::size_t begin, bool bigEndian, MDecodedXml& result) {
  result.encoding = bigEndian ? L"UTF-16BE" : L"UTF-16LE";
  result.text.reserve(bytes.size() / 2);
  const auto unit = [&](std::size_t i) {
    const auto first = static_cast<unsigned char>(bytes[i]);
    const auto second = static_cast<unsigned char>(bytes[i + 1]);
    return static_cast<char32_t>(bigEndian ? first << 8 | second : second << 8 | first);
  };
  for (std::size_t i = begin; i < bytes.size();) {
    const std::size_t left = bytes.size() - i;
    if (left < 2) {
      return SetMalformed(result, i);
    }
    char32_t character = unit(i);
    std::size_t length = 2;
    if (character >= 0xD800 && character <= 0xDBFF && left >= 4) {
      const char32_t low = unit(i + 2);
      if (low >= 0xDC00 && low <= 0xDFFF) {
        character = 0x10000 + ((character - 0xD800) << 10) + (low - 0xDC00);
        length = 4;
      }
    }
    if (IsSurrogate(character)) {
      return SetMalformed(result, i);
    }
    Append(result.text, character);
    i += length;
  }
}

/// Every byte is the character of its number; US-ASCII allows the lower half only.
void DecodeSingleBytes(std::string_view bytes, unsigned char highest, MDecodedXml& result) {
  result.encoding = highest == 0xFF ? L"ISO-8859-1" : L"US-ASCII";
  result.text.reserve(bytes.size());
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const auto byte = static_cast<unsigned char>(bytes[i]);
    if (byte > highest) {
      return SetMalformed(result, i);
    }
    result.text += static_cast<wchar_t>(byte);
  }
}

/// By its byte order mark or its "<", which in UTF-16 would be followed or led by a NUL: no XML.
bool IsUtf32(std::string_view bytes) {
  using namespace std::string_view_literals;
  constexpr std::string_view kBegins[] = {"\xFF\xFE\0\0"sv, "\0\0\xFE\xFF"sv, "<\0\0\0"sv,
                                          "\0\0\0<"sv};
  return std::any_of(std::begin(kBegins), std::end(kBegins),
                     [bytes](std::string_view begin) { return bytes.starts_with(begin); });
}

void SkipSpace(std::string_view& text) {
  text.remove_prefix((std::min)(text.find_first_not_of(kSpace), text.size()));
}

/// The encoding that an XML declaration at the begin names; empty if none does.
std::string_view DeclaredEncoding(std::string_view bytes) {
  constexpr std::string_view kBegin = "<?xml";
  std::string_view rest = bytes.substr(0, bytes.find("?>"));
  if (!rest.starts_with(kBegin)) {
    return {};
  }
  rest.remove_prefix(kBegin.size());
  if (rest.empty() || kSpace.find(rest.front()) == std::string_view::npos) {
    return {};  // another instruction, whose name goes on
  }
  for (;;) {
    SkipSpace(rest);
    const std::string_view name =
        rest.substr(0, (std::min)(rest.find_first_of(" \t\r\n="), rest.size()));
    rest.remove_prefix(name.size());
    SkipSpace(rest);
    if (!rest.starts_with('=')) {
      return {};
    }
    rest.remove_prefix(1);
    SkipSpace(rest);
    const char quote = rest.empty() ? '\0' : rest.front();
    const std::size_t end = rest.find(quote, 1);
    if ((quote != '"' && quote != '\'') || end == std::string_view::npos) {
      return {};
    }
    if (name == "encoding") {
      return rest.substr(1, end - 1);
    }
    rest.remove_prefix(end + 1);
  }
}

MString InCapitals(std::string_view name) {
  MString capitals;
  for (const char letter : name.substr(0, kLongestName)) {
    const auto byte = static_cast<unsigned char>(letter);
    const bool isSmall = letter >= 'a' && letter <= 'z';
    capitals += isSmall       ? static_cast<wchar_t>(byte - 'a' + 'A')
                : byte < 0x80 ? static_cast<wchar_t>(byte)
                              : static_cast<wchar_t>(Velta::Text::kReplacement);
  }
  return capitals;
}

void SetUnsupported(MDecodedXml& result, const MString& encoding) {
  result.fault = MDecodedXml::Fault::kUnsupported;
  result.encoding = encoding;
}

void DecodeAsDeclared(std::string_view bytes, MDecodedXml& result) {
  const MString declared = InCapitals(DeclaredEncoding(bytes));
  if (declared.empty() || declared == L"UTF-8" || declared == L"UTF8") {
    DecodeUtf8(bytes, 0, result);
  } else if (declared == L"ISO-8859-1" || declared == L"LATIN1" || declared == L"LATIN-1") {
    DecodeSingleBytes(bytes, 0xFF, result);
  } else if (declared == L"US-ASCII" || declared == L"ASCII") {
    DecodeSingleBytes(bytes, 0x7F, result);
  } else {
    SetUnsupported(result, declared);
  }
}

}  // namespace

MDecodedXml DecodeXml(std::string_view bytes) {
  using namespace std::string_view_literals;
  MDecodedXml result;
  if (IsUtf32(bytes)) {
    SetUnsupported(result, L"UTF-32");
  } else if (bytes.starts_with("\xEF\xBB\xBF"sv)) {
    DecodeUtf8(bytes, 3, result);
  } else if (bytes.starts_with("\xFF\xFE"sv)) {
    DecodeUtf16(bytes, 2, false, result);
  } else if (bytes.starts_with("\xFE\xFF"sv)) {
    DecodeUtf16(bytes, 2, true, result);
  } else if (bytes.starts_with("<\0"sv) || bytes.starts_with("\0<"sv)) {
    DecodeUtf16(bytes, 0, bytes[0] == '\0', result);  // no mark, but no other encoding begins so
  } else {
    DecodeAsDeclared(bytes, result);
  }
  return result;
}

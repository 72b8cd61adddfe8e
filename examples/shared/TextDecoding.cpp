// SPDX-License-Identifier: MIT
#include "TextDecoding.h"

#include "Utf8.h"

#include <algorithm>
#include <iterator>

namespace {

std::string ProblemAt(const std::string& what, std::size_t offset) {
  return what + " at byte " + std::to_string(offset);
}

void DecodeAllUtf8(std::string_view bytes, std::size_t skipped, DecodedText& result) {
  result.encoding = "UTF-8";
  for (std::size_t i = 0; i < bytes.size();) {
    char32_t character = 0;
    const std::size_t length = DecodeUtf8(bytes.substr(i), character);
    if (length == 0) {
      result.problem = ProblemAt("not UTF-8", skipped + i);
      return;
    }
    AppendWide(result.text, character);
    i += length;
  }
}

void DecodeAllUtf16(std::string_view bytes, std::size_t skipped, bool bigEndian,
                    DecodedText& result) {
  result.encoding = bigEndian ? "UTF-16BE" : "UTF-16LE";
  const auto unit = [&](std::size_t i) {
    const auto first = static_cast<unsigned char>(bytes[i]);
    const auto second = static_cast<unsigned char>(bytes[i + 1]);
    return static_cast<char32_t>(bigEndian ? first << 8 | second : second << 8 | first);
  };
  for (std::size_t i = 0; i < bytes.size(); i += 2) {
    char32_t character = i + 1 < bytes.size() ? unit(i) : 0xDC00;
    if (character >= 0xD800 && character <= 0xDBFF && i + 3 < bytes.size()) {
      const char32_t low = unit(i + 2);
      if (low >= 0xDC00 && low <= 0xDFFF) {
        character = 0x10000 + ((character - 0xD800) << 10) + (low - 0xDC00);
        i += 2;
      }
    }
    if (IsSurrogate(character)) {
      result.problem = ProblemAt("not UTF-16", skipped + i);
      return;
    }
    AppendWide(result.text, character);
  }
}

/// Every byte is the character of its number; US-ASCII allows the lower half only.
void DecodeAllBytes(std::string_view bytes, unsigned char highest, DecodedText& result) {
  result.encoding = highest == 0xFF ? "ISO-8859-1" : "US-ASCII";
  result.text.reserve(bytes.size());
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const auto byte = static_cast<unsigned char>(bytes[i]);
    if (byte > highest) {
      result.problem = ProblemAt("not US-ASCII", i);
      return;
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

/// The encoding that an XML declaration at the begin names, in capital letters; empty if none does.
std::string DeclaredEncoding(std::string_view bytes) {
  if (!bytes.starts_with("<?xml")) {
    return {};
  }
  const std::string_view declaration = bytes.substr(0, bytes.find("?>"));
  const std::size_t name = declaration.find("encoding");
  const std::size_t open = declaration.find_first_of("\"'", name);
  if (name == std::string_view::npos || open == std::string_view::npos) {
    return {};
  }
  const std::size_t close = declaration.find(declaration[open], open + 1);
  if (close == std::string_view::npos) {
    return {};
  }
  std::string encoding(declaration.substr(open + 1, close - open - 1));
  for (char& letter : encoding) {
    letter = letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
  }
  return encoding;
}

}  // namespace

DecodedText DecodeXml(std::string_view bytes) {
  using namespace std::string_view_literals;
  DecodedText result;
  if (IsUtf32(bytes)) {
    result.problem = "the encoding UTF-32 is not supported";
  } else if (bytes.starts_with("\xEF\xBB\xBF"sv)) {
    DecodeAllUtf8(bytes.substr(3), 3, result);
  } else if (bytes.starts_with("\xFF\xFE"sv)) {
    DecodeAllUtf16(bytes.substr(2), 2, false, result);
  } else if (bytes.starts_with("\xFE\xFF"sv)) {
    DecodeAllUtf16(bytes.substr(2), 2, true, result);
  } else if (bytes.starts_with("<\0"sv) || bytes.starts_with("\0<"sv)) {
    DecodeAllUtf16(bytes, 0, bytes[0] == '\0', result);  // no mark, but no other encoding begins so
  } else {
    const std::string declared = DeclaredEncoding(bytes);
    if (declared.empty() || declared == "UTF-8" || declared == "UTF8") {
      DecodeAllUtf8(bytes, 0, result);
    } else if (declared == "ISO-8859-1" || declared == "LATIN1" || declared == "LATIN-1") {
      DecodeAllBytes(bytes, 0xFF, result);
    } else if (declared == "US-ASCII" || declared == "ASCII") {
      DecodeAllBytes(bytes, 0x7F, result);
    } else {
      result.problem = "the encoding " + declared + " is not supported, or not the file's own";
    }
  }
  return result;
}

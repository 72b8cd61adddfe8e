// SPDX-License-Identifier: MIT
// Checks whether an XML file is well formed, and shows its elements: an example of the document
// used by itself.

#include "JsonLines.h"
#include "velta/text/Utf8.h"
#include "velta/xml/DecodeXml.h"
#include "velta/xml/MXmlDocument.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#if defined(_WIN32)
#include <share.h>
#endif

namespace {

enum ExitCode { kGood = 0, kIllFormed = 1, kCannotRead = 2 };

int Complain(const std::string& what) {
  std::fprintf(stderr, "xmltool: %s\n", what.c_str());
  return kCannotRead;
}

std::string Utf8(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return std::string(text.begin(), text.end());
}

/// Messages are in ASCII but for the names they quote.
std::string Printable(std::wstring_view text) {
  std::string printable;
  for (const wchar_t character : text) {
    printable += character >= 0x20 && character < 0x7F ? static_cast<char>(character) : '?';
  }
  return printable;
}

std::string Problem(const MDecodedXml& decoded) {
  const std::string encoding = ToUtf8Lossy(decoded.encoding);
  return decoded.fault == MDecodedXml::Fault::kMalformed
             ? "not " + encoding + " at byte " + std::to_string(decoded.offset)
             : "the encoding " + encoding + " is not supported, or not the file's own";
}

/// @return whether the file was read to its end; a stream of the library may take an error for it
bool ReadAll(const std::filesystem::path& path, std::string& bytes) {
#if defined(_WIN32)
  std::FILE* const opened = ::_wfsopen(path.c_str(), L"rb", _SH_DENYNO);
#else
  std::FILE* const opened = std::fopen(path.c_str(), "rbe");
#endif
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(opened, &std::fclose);
  if (file == nullptr) {
    return false;
  }
  std::array<char, 65536> block;
  while (std::feof(file.get()) == 0 && std::ferror(file.get()) == 0) {
    bytes.append(block.data(), std::fread(block.data(), 1, block.size(), file.get()));
  }
  return std::ferror(file.get()) == 0;
}

int Run(const std::filesystem::path& path, bool withTree) {
  std::string bytes;
  if (!ReadAll(path, bytes)) {
    return Complain("cannot read " + Utf8(path));
  }
  MDecodedXml decoded = DecodeXml(bytes);
  bytes = std::string();  // a large document should not be held twice
  if (decoded.fault != MDecodedXml::Fault::kNone) {
    return Complain(Utf8(path) + ": " + Problem(decoded));
  }

  MXmlDocument document;
  const bool wellFormed = document.SetText(std::move(decoded.text));
  if (document.HasRunOutOfMemory()) {
    return Complain("not enough memory for " + Utf8(path));
  }
  if (!wellFormed) {
    std::int32_t line = 1;
    std::int32_t column = 1;
    document.GetLineAndColumn(document.GetErrorOffset(), &line, &column);
    std::fprintf(stderr, "%s:%d:%d: %s\n", Utf8(path).c_str(), static_cast<int>(line),
                 static_cast<int>(column), Printable(document.GetErrorText()).c_str());
  }
  if (withTree && !JsonLines(stdout).Write(document)) {
    return Complain("cannot write the output");
  }
  return wellFormed ? kGood : kIllFormed;
}

int Main(const std::vector<std::filesystem::path>& arguments) {
  const bool checkOnly = !arguments.empty() && arguments[0] == "--check";
  if (arguments.size() != (checkOnly ? 2u : 1u) || arguments.back().native().empty()) {
    std::fputs(
        "usage: xmltool [--check] FILE\n"
        "Shows the elements of an XML file as JSON lines; with --check only whether it is well\n"
        "formed. Exit code: 0 well formed, 1 ill formed, 2 the file cannot be read.\n",
        stderr);
    return kCannotRead;
  }
  try {
    return Run(arguments.back(), !checkOnly);
  } catch (const std::exception& exception) {
    return Complain(exception.what());
  }
}

}  // namespace

#if defined(_WIN32)
int wmain(int count, wchar_t** values) {
#else
int main(int count, char** values) {
#endif
  return Main(std::vector<std::filesystem::path>(values + 1, values + count));
}

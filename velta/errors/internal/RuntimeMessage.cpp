// SPDX-License-Identifier: MIT
#include "velta/errors/internal/RuntimeMessage.h"

#include "velta/text/NumberText.h"

#include <algorithm>
#include <cstddef>
#include <string>

namespace Velta::Errors {
namespace {

/// Converts character by character, with a question mark for each byte that begins none.
MString WidenWhatIsValid(const std::string& text) {
  constexpr std::size_t kLongest = 4;  // bytes of a character
  MString wide;
  for (std::size_t at = 0; at < text.size();) {
    MString character;
    std::size_t length = 0;
    while (character.empty() && length < (std::min)(kLongest, text.size() - at)) {
      character = ToWide(text.substr(at, ++length));
    }
    wide += character.empty() ? L"?" : character;
    at += character.empty() ? 1 : length;
  }
  return wide;
}

}  // namespace

MString RuntimeMessage(const std::exception& cause) {
  const std::string message = cause.what();
  MString wide = ToWide(message);
  if (wide.empty()) {  // of a message with one bad byte the runtime gives nothing
    wide = WidenWhatIsValid(message);
  }
  return wide;
}

}  // namespace Velta::Errors

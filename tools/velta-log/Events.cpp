// SPDX-License-Identifier: MIT
#include "Events.h"

#include <algorithm>

namespace Velta::Logging {

bool BeginsWithEvent(std::string_view text) noexcept {
  const auto begins = [text](const Event& event) {
    return text.starts_with(event.name) && text.substr(event.name.size()).starts_with(' ');
  };
  return begins(kUnknownEvent) || std::ranges::any_of(kEvents, begins);
}

std::string_view Level(std::int32_t code) noexcept {
  switch (EventOf(code).severity) {
    case Severity::kError:
      return "error";
    case Severity::kWarning:
      return "warning";
    case Severity::kInfo:
      return "info";
    case Severity::kDebug:
      break;
  }
  return "debug";
}

std::string_view SubjectKey(std::int32_t code) noexcept {
  if (code == kDismissedError) {
    return {};  // its record does not say which error it was
  }
  switch (EventOf(code).subject) {
    case Subject::kError:
      return "error";
    case Subject::kState:
      return "state";
    case Subject::kMessage:
      return "message";
    case Subject::kNothing:
    case Subject::kValues:
      break;
  }
  return {};
}

}  // namespace Velta::Logging

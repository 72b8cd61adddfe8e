// SPDX-License-Identifier: MIT
#include "EventCode.h"

#include <algorithm>
#include <utility>

namespace veltalog {
namespace {

constexpr std::string_view kUnknownEvent = "unknown event";

constexpr std::pair<std::int32_t, std::string_view> kNames[] = {
    {kScopePop, "Scope_pop"},
    {kScopePush, "Scope_push"},
    {kTimingPoint, "Timing_point"},
    {-1, "Timing_point"},
    {kConstruction, "Construction"},
    {kDestruction, "Destruction"},
    {kStateChange, "State_change"},
    {kMessageSend, "Message_send"},
    {-20, "Message_receive"},
    {-23, "Notify"},
    {-22, "Update"},
    {kRootError, "Root_error"},
    {kCascadeError, "Cascade_error"},
    {kDismissedError, "Dismissed_error"},
    {kReturnError, "Return_error"},
    {kWarning, "Warning"},
    {-202, "Log_module_added"},
    {-201, "Log_module_removed"},
};

}  // namespace

std::string_view EventName(std::int32_t code) noexcept {
  for (const auto& [known, name] : kNames) {
    if (known == code) {
      return name;
    }
  }
  return kUnknownEvent;
}

bool BeginsWithEvent(std::string_view text) noexcept {
  const auto begins = [text](std::string_view name) {
    return text.starts_with(name) && text.substr(name.size()).starts_with(' ');
  };
  return begins(kUnknownEvent) ||
         std::ranges::any_of(kNames, [&](const auto& known) { return begins(known.second); });
}

}  // namespace veltalog

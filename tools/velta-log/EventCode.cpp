// SPDX-License-Identifier: MIT
#include "EventCode.h"

namespace veltalog {

std::string_view EventName(std::int32_t code) noexcept {
  switch (code) {
    case -202:
      return "Log_module_added";
    case -201:
      return "Log_module_removed";
    case kRootError:
      return "Root_error";
    case kCascadeError:
      return "Cascade_error";
    case kDismissedError:
      return "Dismissed_error";
    case kReturnError:
      return "Return_error";
    case kWarning:
      return "Warning";
    case kStateChange:
      return "State_change";
    case -23:
      return "Notify";
    case -22:
      return "Update";
    case kMessageSend:
      return "Message_send";
    case -20:
      return "Message_receive";
    case kConstruction:
      return "Construction";
    case kDestruction:
      return "Destruction";
    case kScopePop:
      return "Scope_pop";
    case kScopePush:
      return "Scope_push";
    case -1:
    case kTimingPoint:
      return "Timing_point";
    default:
      return "unknown event";
  }
}

}  // namespace veltalog

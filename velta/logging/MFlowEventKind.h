// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

/// The kinds of event that an `MFlowLogger` accepts.
///
/// The values are part of the interface between modules: a kind keeps its number. The log
/// translates each into its own event code; `Point` and `TimingPoint` share one.
enum class MFlowEventKind : std::uint32_t {
  Point = 0,
  RootError = 1,
  CascadeError = 2,
  DismissedError = 3,
  Construction = 4,
  Destruction = 5,
  StateChange = 6,
  ScopePush = 7,
  ScopePop = 8,
  TimingPoint = 9,
  ReturnError = 10,
  Warning = 11,
  MessageSend = 12,
  MessageReceive = 13,
};

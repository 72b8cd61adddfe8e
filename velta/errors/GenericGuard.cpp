// SPDX-License-Identifier: MIT
#include "velta/errors/GenericGuard.h"

#include "velta/errors/MException.h"
#include "velta/logging/ClassNameRegistration.h"
#include "velta/logging/MFlowPoint.h"

#include <utility>

namespace Velta::Libraries {
namespace {

const wchar_t ClassName[] = L"GenericGuard";
const Velta::Logging::ClassNameRegistration registration(ClassName);

}  // namespace

GenericGuard::GenericGuard(std::function<void()> exitAction) : exitAction_(std::move(exitAction)) {}

GenericGuard::GenericGuard(const std::function<void()>& entryAction,
                           std::function<void()> exitAction)
    : exitAction_(std::move(exitAction)) {
  if (entryAction) {
    entryAction();
  }
}

GenericGuard::~GenericGuard() {
  static MFlowPoint point(ClassName, L"~GenericGuard");
  point.At(this).LogDestruction();
  try {
    Run();
  } catch (const MException& exception) {
    point.At(this).LogDismissedError(exception);
  }
}

void GenericGuard::Dismiss() noexcept { exitAction_ = nullptr; }

void GenericGuard::Run() {
  if (const std::function<void()> action = std::exchange(exitAction_, nullptr)) {
    action();
  }
}

}  // namespace Velta::Libraries

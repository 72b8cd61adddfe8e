// SPDX-License-Identifier: MIT
#include "velta/errors/Describe.h"
#include "velta/errors/GenericGuard.h"
#include "velta/errors/MException.h"
#include "velta/logging/MFlowPoint.h"

#include <cstdint>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>

namespace {

const wchar_t ClassName[] = L"Calibration";

// Somebody else's code: it throws what the runtime throws.
std::uint32_t NumberIn(const std::string& text) {
  if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos) {
    throw std::invalid_argument("not a number");
  }
  return static_cast<std::uint32_t>(std::stoul(text));
}

class Calibration {
 public:
  void Apply(const std::string& text) {
    static MFlowPoint point(ClassName, L"Apply");
    const MFlowScope scope = point.At(this).OpenScope();
    if (text.empty()) {
      point.At(this).Raise(L"NothingGiven");
    }
    const std::uint32_t level = Level(text);
    if (level > kHighest) {
      point.At(this).Raise(L"LevelTooHigh", {{L"level", level}, {L"highest", kHighest}});
    }
    current_ = level;
  }

  void ApplyAll(const std::string& first, const std::string& second) {
    static MFlowPoint point(ClassName, L"ApplyAll");
    const std::uint32_t before = current_;
    Velta::Libraries::GenericGuard undo([&] { current_ = before; });
    try {
      Apply(first);
      Apply(second);
    } catch (const MException& exception) {
      MException chain(exception);
      chain.AddError(point.At(this).MakeRootError(L"NothingChanged"));
      throw chain;
    }
    undo.Dismiss();
  }

  void ApplyOrKeep(const std::string& text) noexcept {
    static MFlowPoint point(ClassName, L"ApplyOrKeep");
    try {
      Apply(text);
    } catch (const MException& exception) {
      point.At(this).LogDismissedError(exception);  // the level stays as it was
    }
  }

  std::uint32_t GetCurrent() const noexcept { return current_; }

 private:
  static constexpr std::uint32_t kHighest = 11;

  std::uint32_t Level(const std::string& text) {
    static MFlowPoint point(ClassName, L"Level");
    try {
      return NumberIn(text);
    } catch (const std::exception& cause) {
      point.At(this).RaiseFromException(cause, L"BadLevel", L"text", text);
    }
  }

  std::uint32_t current_ = 0;
};

template <class Action>
void Try(const wchar_t* what, Action action) {
  std::wcout << what << L'\n';
  try {
    action();
  } catch (const MException& exception) {
    std::wcout << Describe(exception) << L'\n';
  }
}

}  // namespace

int main() {
  Calibration calibration;
  Try(L"nothing:", [&] { calibration.Apply(""); });
  Try(L"12:", [&] { calibration.Apply("12"); });
  Try(L"loud:", [&] { calibration.Apply("loud"); });
  Try(L"7, then 12:", [&] { calibration.ApplyAll("7", "12"); });
  calibration.ApplyOrKeep("12");
  std::wcout << L"level " << calibration.GetCurrent() << L'\n';
}

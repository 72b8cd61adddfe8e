// SPDX-License-Identifier: MIT
#include "PersistentState.h"

#include "FrameworkErrors.h"
#include "SettingsFile.h"
#include "SettingsRegistry.h"
#include "velta/logging/ClassNameRegistration.h"

#include <memory>

namespace host {
namespace {

const wchar_t ClassName[] = L"PersistentState";
const Velta::Logging::ClassNameRegistration registration(ClassName);

const wchar_t kApplicationKey[] = L"ExampleHost";

std::unique_ptr<SettingsStore> MakeStore(const Options& options) {
  if (options.registry) {
    return std::make_unique<SettingsRegistry>(kApplicationKey);
  }
  if (options.settingsFile.empty()) {
    return nullptr;
  }
  return std::make_unique<SettingsFile>(options.settingsFile);
}

}  // namespace

PersistentState::PersistentState(const Options& options, Console& console)
    : console_(console), store_(MakeStore(options)) {
  static MFlowPoint point(ClassName, ClassName);
  point.At(this).LogConstruction();
  if (store_) {
    Load();
  }
  state_.settings.threads = options.threads.value_or(state_.settings.threads);
  state_.settings.quiet = options.quiet.value_or(state_.settings.quiet);
}

PersistentState::~PersistentState() {
  static MFlowPoint point(ClassName, L"~PersistentState");
  point.At(this).LogDestruction();
}

std::string PersistentState::GetPlace() const {
  return store_ ? store_->GetPlace() : std::string();
}

void PersistentState::Load() {
  static MFlowPoint point(ClassName, L"Load");
  Velta::FieldProblems problems;
  try {
    TranslateExceptions(point.At(this), [&] { state_ = store_->Load(problems); });
  } catch (const MException& exception) {
    point.At(this).LogDismissedError(exception);
    usable_ = false;
    console_.WriteError("the settings in " + GetPlace() +
                        " cannot be used and are left as they are:\n" + Describe(exception));
  }
  for (const MError& problem : problems) {
    console_.WriteError("a setting in " + GetPlace() + " cannot be used and has its default:\n" +
                        Describe(MException(problem)));
  }
}

bool PersistentState::Save(const RunResults& results) {
  static MFlowPoint point(ClassName, L"Save");
  if (!store_ || !usable_) {
    return usable_;
  }
  try {
    TranslateExceptions(point.At(this), [&] {
      HostState state = state_;
      state.lastRun = results;
      store_->Save(state);
    });
    return true;
  } catch (const MException& exception) {
    point.At(this).LogDismissedError(exception);
    console_.WriteError("the settings in " + GetPlace() + " could not be replaced:\n" +
                        Describe(exception));
    return false;
  }
}

}  // namespace host

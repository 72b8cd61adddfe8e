// SPDX-License-Identifier: MIT
#include "RunMemory.h"

#include "FrameworkErrors.h"
#include "SettingsFile.h"
#include "SettingsRegistry.h"
#include "examples/shared/RegisteredName.h"

#include <vector>

namespace host {
namespace {

const wchar_t ClassName[] = L"RunMemory";
const RegisteredName registeredName(ClassName);

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

RunMemory::RunMemory(const Options& options, Console& standardStreams)
    : console(standardStreams), store(MakeStore(options)) {
  static MFlowPoint point(ClassName, ClassName);
  point.At(this).LogConstruction();
  if (store) {
    Load();
  }
  memory.settings.threads = options.threads.value_or(memory.settings.threads);
  memory.settings.quiet = options.quiet.value_or(memory.settings.quiet);
}

RunMemory::~RunMemory() {
  static MFlowPoint point(ClassName, L"~RunMemory");
  point.At(this).LogDestruction();
}

std::string RunMemory::GetPlace() const { return store ? store->GetPlace() : std::string(); }

void RunMemory::Load() {
  static MFlowPoint point(ClassName, L"Load");
  std::vector<std::string> complaints;
  try {
    ThrowingFrameworkErrors(point.At(this),
                            [&] { memory = store->Load(complaints).value_or(Memory()); });
  } catch (const MException& exception) {
    point.At(this).LogDismissedError(exception);
    usable = false;
    console.WriteError("the settings in " + GetPlace() +
                       " cannot be used and are left as they are:\n" + Describe(exception));
  }
  for (const std::string& complaint : complaints) {
    console.WriteError("host: " + GetPlace() + ": " + complaint + '\n');
  }
}

bool RunMemory::Keep(const RunResults& results) {
  static MFlowPoint point(ClassName, L"Keep");
  if (!store || !usable) {
    return usable;
  }
  try {
    ThrowingFrameworkErrors(point.At(this), [&] { store->Save({memory.settings, results}); });
    return true;
  } catch (const MException& exception) {
    point.At(this).LogDismissedError(exception);
    console.WriteError("the settings in " + GetPlace() + " could not be replaced:\n" +
                       Describe(exception));
    return false;
  }
}

}  // namespace host

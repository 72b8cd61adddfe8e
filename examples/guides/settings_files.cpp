// SPDX-License-Identifier: MIT
#include "velta/errors/MError.h"
#include "velta/errors/MException.h"
#include "velta/settings/FieldsInFile.h"
#include "velta/settings/MFileWatch.h"
#include "velta/settings/MSettingsFile.h"
#include "velta/threads/MCallbackFunctor.h"
#include "velta/threads/MSchedulerThread.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>
#include <semaphore>

namespace {

struct Settings {
  std::int32_t width = 640;

  static void Describe(auto& field) {
    field(L"Width", &Settings::width, Velta::Between(1, 32'000));
  }
};

const wchar_t kRoot[] = L"Viewer";

// Nothing when there is no file yet; an error when there is one that cannot be used.
std::optional<Settings> Load(const MSettingsFile& file) {
  Settings settings;
  return LoadFields(file, kRoot, settings) ? std::optional(settings) : std::nullopt;
}

void Save(const MSettingsFile& file, const Settings& settings) {
  SaveFields(file, kRoot, settings);
}

// Loads again whenever the file has changed, on a thread of its own.
class Reloader {
 public:
  explicit Reloader(const MSettingsFile& file) : file_(file), watch_(file.GetPath()) {
    width_ = Load(file_).value_or(Settings()).width;  // once it is watched
    thread_.RegisterSchedulerEvent(watch_.GetHandle(),
                                   new MCallbackFunctorImp<Reloader>(this, &Reloader::OnSignal));
    thread_.Start();
  }
  Reloader(const Reloader&) = delete;
  Reloader& operator=(const Reloader&) = delete;
  ~Reloader() { thread_.ForceStop(); }  // before the watch goes, which it waits for

  std::int32_t AwaitOtherWidth() {
    loaded_.acquire();
    return width_;
  }

 private:
  void OnSignal() {
    if (!watch_.HasChanged()) {
      return;  // something else in the folder
    }
    try {
      const std::optional<Settings> settings = Load(file_);
      if (settings && settings->width != width_) {
        width_ = settings->width;
        loaded_.release();
      }
    } catch (const MException&) {
      // Half written by another program: the next change signals again.
    }
  }

  const MSettingsFile& file_;
  MFileWatch watch_;
  std::int32_t width_;
  std::counting_semaphore<> loaded_{0};
  MSchedulerThread thread_{nullptr};
};

void Show(const MSettingsFile& file) {
  try {
    const std::optional<Settings> settings = Load(file);
    if (settings) {
      std::wcout << L"width " << settings->width << L'\n';
    } else {
      std::wcout << L"no settings yet\n";
    }
  } catch (const MException& exception) {
    std::wcout << exception.GetError(0)->GetCode() << L'\n';
  }
}

}  // namespace

int main() {
  const std::filesystem::path folder =
      std::filesystem::temp_directory_path() / "velta-guide-settings";
  std::filesystem::remove_all(folder);
  std::filesystem::create_directory(folder);
  {
    MSettingsFileOptions options;
    options.keepsPrevious = true;
    const MSettingsFile file(folder / "viewer.xml", options);
    Show(file);
    Save(file, Settings{800});
    Show(file);
    std::ofstream(file.GetPath()) << "<Viewer><Width";
    Show(file);
    Save(file, Settings{1024});

    Reloader reloader(file);
    Save(file, Settings{1280});
    std::wcout << L"changed to " << reloader.AwaitOtherWidth() << L'\n';
    Show(MSettingsFile(file.GetPreviousPath()));
  }
  std::filesystem::remove_all(folder);
}

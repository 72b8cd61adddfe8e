// SPDX-License-Identifier: MIT
#include "velta/errors/Describe.h"
#include "velta/serialisation/Described.h"
#include "velta/serialisation/IInFilerTaggedRegistry.h"
#include "velta/serialisation/IOutFilerTaggedRegistry.h"
#include "velta/serialisation/MInFilerTaggedXml.h"
#include "velta/serialisation/MOutFilerTaggedXml.h"
#include "velta/serialisation/StandardValues.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <map>
#include <string>
#include <string_view>
#include <vector>

enum class Theme { kLight, kDark };

template <>
struct Velta::EnumNames<Theme> {
  static constexpr Velta::EnumName<Theme> kNames[] = {{Theme::kLight, L"light"},
                                                      {Theme::kDark, L"dark"}};
};

namespace {

struct Window {
  std::int32_t width = 640;
  std::int32_t height = 480;

  static void Describe(auto& field) {
    field(L"Width", &Window::width, Velta::Between(1, 32'000));
    field(L"Height", &Window::height, Velta::Between(1, 32'000));
  }
};

struct Settings {
  Theme theme = Theme::kLight;
  double zoom = 1.0;
  std::chrono::milliseconds autosave = std::chrono::minutes(5);
  std::vector<std::filesystem::path> recent;
  std::map<MString, Window> windows;
  Velta::OtherFields others;

  static void Describe(auto& field) {
    field.Version(2, &Settings::Migrate);
    field(L"Theme", &Settings::theme);
    field(L"Zoom", &Settings::zoom, Velta::Between(0.1, 16.0));
    field(L"Autosave", &Settings::autosave);
    field(L"Recent", &Settings::recent, Velta::LengthUpTo(10));
    field(L"Windows", &Settings::windows);
    field.KeepOthers(&Settings::others);
  }

  // Version 1 had the zoom in percent.
  static void Migrate(Settings& settings, std::uint32_t from, IInFilerTagged& filer) {
    std::int32_t percent = 0;
    if (from == 1 && ReadField(filer, L"Percent", percent)) {
      settings.zoom = percent / 100.0;
    }
  }
};

MString ToText(const Settings& settings) {
  MOutFilerTaggedXml filer(L"Viewer", L"");
  WriteFields(filer, settings);
  MString text;
  return filer.GetText(&text) ? text : MString();
}

Settings FromText(const MString& text, Velta::FieldProblems& problems) {
  Settings settings;
  MInFilerTaggedXml filer(text, L"Viewer", L"");
  ReadFields(filer, settings, problems);
  return settings;
}

void Store(const Settings& settings) {
  IOutFilerTaggedRegistry filer(L"Guide\\Described");
  WriteFields(filer, settings);
}

Settings Load() {
  IInFilerTaggedRegistry filer(L"Guide\\Described", true);
  Settings settings;
  ReadFields(filer, settings);
  return settings;
}

// Somebody has edited the file, and a newer version has written it before.
constexpr wchar_t kEdited[] =
    LR"(<Viewer>
<Version type="uint">3</Version>
<Zoom type="string">160</Zoom>
<Theme type="string">blue</Theme>
<Autosave type="string">90 s</Autosave>
<Font type="string">Plain</Font>
</Viewer>)";

constexpr wchar_t kVersion1[] =
    LR"(<Viewer>
<Version type="uint">1</Version>
<Percent type="int">150</Percent>
</Viewer>)";

Settings Example() {
  Settings settings;
  settings.zoom = 0.1;
  settings.recent = {L"plan.txt", L"notes.txt"};
  settings.windows[L"main"] = {1024, 768};
  return settings;
}

void PrintEdited() {
  Velta::FieldProblems problems;
  const Settings settings = FromText(kEdited, problems);
  for (const MError& problem : problems) {
    std::wcout << Describe(problem) << L'\n';
  }
  std::wcout << L"autosave every " << settings.autosave.count() << L" ms\n" << ToText(settings);
}

}  // namespace

int main(int argc, char** argv) {
  const std::string_view what = argc > 1 ? argv[1] : "";
  if (what == "text") {
    std::wcout << ToText(Example());
  } else if (what == "edited") {
    PrintEdited();
  } else {
    Store(Example());
    Velta::FieldProblems none;
    std::wcout << L"from the registry: " << Load().windows[L"main"].width << L'\n'
               << L"from version 1: " << FromText(kVersion1, none).zoom << L'\n';
  }
}

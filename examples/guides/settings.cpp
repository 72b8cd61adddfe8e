// SPDX-License-Identifier: MIT
#include "velta/serialisation/IInFilerTaggedRegistry.h"
#include "velta/serialisation/IOutFilerTaggedRegistry.h"
#include "velta/serialisation/MInFilerTaggedXml.h"
#include "velta/serialisation/MOutFilerTaggedXml.h"

#include <cstddef>
#include <cstdint>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

struct Settings {
  bool Write(IOutFilerTagged& filer) const;
  void Read(IInFilerTagged& filer);

  std::int32_t width = 640;
  MString title = L"Untitled";
  std::int32_t zoom = 100;  // new in format 2
  std::vector<MString> recent;
};

constexpr std::uint32_t kFormat = 2;

bool Settings::Write(IOutFilerTagged& filer) const {
  bool stored = filer.WriteUnsignedInt(L"Format", kFormat) && filer.WriteInt(L"Width", width) &&
                filer.WriteString(L"Title", title) && filer.WriteInt(L"Zoom", zoom) &&
                filer.BeginGroup(L"Recent") &&
                filer.WriteUnsignedInt(L"Count", static_cast<std::uint32_t>(recent.size()));
  for (std::size_t i = 0; stored && i < recent.size(); ++i) {
    stored = filer.WriteString(L"File" + std::to_wstring(i), recent[i]);
  }
  return stored && filer.EndGroup();
}

void Settings::Read(IInFilerTagged& filer) {
  const Settings defaults;
  std::uint32_t format = 0;
  static_cast<void>(filer.ReadUnsignedInt(L"Format", &format, 1u));
  static_cast<void>(filer.ReadInt(L"Width", &width, defaults.width));
  static_cast<void>(filer.ReadString(L"Title", &title, defaults.title));
  static_cast<void>(filer.ReadInt(L"Zoom", &zoom, defaults.zoom));
  if (format == 1 && title == L"-") {
    title = defaults.title;  // how format 1 wrote that there is none
  }
  recent.clear();
  if (!filer.BeginGroup(L"Recent")) {
    return;
  }
  std::uint32_t count = 0;
  static_cast<void>(filer.ReadUnsignedInt(L"Count", &count, 0u));
  MString file;
  while (recent.size() < count &&
         filer.ReadString(L"File" + std::to_wstring(recent.size()), &file, MString())) {
    recent.push_back(file);
  }
  static_cast<void>(filer.EndGroup());
}

MString ToText(const Settings& settings) {
  MOutFilerTaggedXml filer(L"Viewer", L"");
  MString text;
  return settings.Write(filer) && filer.GetText(&text) ? text : MString();
}

std::optional<Settings> FromText(const MString& text) {
  MInFilerTaggedXml filer(text, L"Viewer", L"");
  if (!filer.HasDocument()) {
    return std::nullopt;
  }
  Settings settings;
  settings.Read(filer);
  return settings;
}

// One process writes, another reads: each has a filer of its own.
bool Store(const Settings& settings) {
  IOutFilerTaggedRegistry filer(L"Guide\\Viewer");
  return settings.Write(filer);
}

Settings Load() {
  IInFilerTaggedRegistry filer(L"Guide\\Viewer", true);
  Settings settings;
  settings.Read(filer);
  return settings;
}

void Print(const std::optional<Settings>& settings) {
  if (!settings) {
    std::wcout << L"no settings\n";
    return;
  }
  std::wcout << settings->width << L' ' << settings->zoom << L' ' << settings->title;
  for (const MString& file : settings->recent) {
    std::wcout << L' ' << file;
  }
  std::wcout << L'\n';
}

constexpr wchar_t kFormat1[] =
    L"<Viewer>\n"
    L"<Width type=\"int\">800</Width>\n"
    L"<Title type=\"string\">-</Title>\n"
    L"<Recent><Count type=\"uint\">1</Count><File0 type=\"string\">old.txt</File0></Recent>\n"
    L"</Viewer>\n";

}  // namespace

int main(int argc, char** argv) {
  Settings settings;
  settings.width = 1024;
  settings.title = L"Plans";
  settings.recent = {L"a.txt", L"b.txt"};

  if (argc > 1 && std::string_view(argv[1]) == "text") {
    std::wcout << ToText(settings);
    return 0;
  }
  Print(FromText(ToText(settings)));
  Print(FromText(kFormat1));
  Print(FromText(L"not a document"));
  if (!Store(settings)) {
    return 1;
  }
  Print(Load());
}

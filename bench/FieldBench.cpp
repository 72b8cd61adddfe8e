// SPDX-License-Identifier: MIT
// A struct of thirty fields that says them once, written to XML text and read back, beside the
// filers' calls by hand, cereal's description and pugixml by hand.
#include "velta/serialisation/Described.h"
#include "velta/serialisation/MInFilerTaggedXml.h"
#include "velta/serialisation/MOutFilerTaggedXml.h"
#include "velta/serialisation/Values.h"

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>
#include <cereal/archives/xml.hpp>
#include <cereal/types/string.hpp>
#include <cereal/types/vector.hpp>
#include <malloc.h>
#include <pugixml.hpp>

namespace {

/// As for the filers: memory once asked for stays with the process.
const bool memoryIsKept = ::mallopt(M_MMAP_MAX, 0) == 1 &&
                          ::mallopt(M_TRIM_THRESHOLD, (std::numeric_limits<int>::max)()) == 1;

/// Text is wide for the filers and pugixml, narrow for cereal, which has no other.
template <class Text>
struct Panel {
  bool visible = false;
  bool locked = false;
  bool pinned = false;
  bool bold = false;
  bool wrapped = false;
  bool dark = false;
  std::int32_t left = 0;
  std::int32_t top = 0;
  std::int32_t right = 0;
  std::int32_t bottom = 0;
  std::int32_t column = 0;
  std::int32_t row = 0;
  std::int32_t depth = 0;
  std::int32_t order = 0;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::uint32_t colour = 0;
  std::uint32_t margin = 0;
  std::uint32_t padding = 0;
  std::uint32_t border = 0;
  double scale = 0.0;
  double ratio = 0.0;
  double opacity = 0.0;
  double angle = 0.0;
  double zoom = 0.0;
  Text title;
  Text caption;
  Text file;
  Text font;
  Text tip;

  bool operator==(const Panel&) const = default;

  static void Describe(auto& field) {
    field(L"Visible", &Panel::visible);
    field(L"Locked", &Panel::locked);
    field(L"Pinned", &Panel::pinned);
    field(L"Bold", &Panel::bold);
    field(L"Wrapped", &Panel::wrapped);
    field(L"Dark", &Panel::dark);
    field(L"Left", &Panel::left);
    field(L"Top", &Panel::top);
    field(L"Right", &Panel::right);
    field(L"Bottom", &Panel::bottom);
    field(L"Column", &Panel::column);
    field(L"Row", &Panel::row);
    field(L"Depth", &Panel::depth);
    field(L"Order", &Panel::order);
    field(L"Width", &Panel::width);
    field(L"Height", &Panel::height);
    field(L"Colour", &Panel::colour);
    field(L"Margin", &Panel::margin);
    field(L"Padding", &Panel::padding);
    field(L"Border", &Panel::border);
    field(L"Scale", &Panel::scale);
    field(L"Ratio", &Panel::ratio);
    field(L"Opacity", &Panel::opacity);
    field(L"Angle", &Panel::angle);
    field(L"Zoom", &Panel::zoom);
    field(L"Title", &Panel::title);
    field(L"Caption", &Panel::caption);
    field(L"File", &Panel::file);
    field(L"Font", &Panel::font);
    field(L"Tip", &Panel::tip);
  }

  template <class Archive>
  void serialize(Archive& archive) {
    archive(cereal::make_nvp("Visible", visible), cereal::make_nvp("Locked", locked),
            cereal::make_nvp("Pinned", pinned), cereal::make_nvp("Bold", bold),
            cereal::make_nvp("Wrapped", wrapped), cereal::make_nvp("Dark", dark),
            cereal::make_nvp("Left", left), cereal::make_nvp("Top", top),
            cereal::make_nvp("Right", right), cereal::make_nvp("Bottom", bottom),
            cereal::make_nvp("Column", column), cereal::make_nvp("Row", row),
            cereal::make_nvp("Depth", depth), cereal::make_nvp("Order", order),
            cereal::make_nvp("Width", width), cereal::make_nvp("Height", height),
            cereal::make_nvp("Colour", colour), cereal::make_nvp("Margin", margin),
            cereal::make_nvp("Padding", padding), cereal::make_nvp("Border", border),
            cereal::make_nvp("Scale", scale), cereal::make_nvp("Ratio", ratio),
            cereal::make_nvp("Opacity", opacity), cereal::make_nvp("Angle", angle),
            cereal::make_nvp("Zoom", zoom), cereal::make_nvp("Title", title),
            cereal::make_nvp("Caption", caption), cereal::make_nvp("File", file),
            cereal::make_nvp("Font", font), cereal::make_nvp("Tip", tip));
  }
};

template <class Text>
using Panels = std::vector<Panel<Text>>;

/// The same in every run.
template <class Text>
Panels<Text> MakePanels(std::int64_t count) {
  Panels<Text> panels(static_cast<std::size_t>(count));
  std::uint32_t state = 1;
  const auto next = [&state] { return state = state * 1664525 + 1013904223; };
  for (Panel<Text>& panel : panels) {
    for (bool* flag :
         {&panel.visible, &panel.locked, &panel.pinned, &panel.bold, &panel.wrapped, &panel.dark}) {
      *flag = next() >> 31 != 0;
    }
    for (std::int32_t* number : {&panel.left, &panel.top, &panel.right, &panel.bottom,
                                 &panel.column, &panel.row, &panel.depth, &panel.order}) {
      *number = static_cast<std::int32_t>(next()) >> 16;
    }
    for (std::uint32_t* size : {&panel.width, &panel.height, &panel.colour, &panel.margin,
                                &panel.padding, &panel.border}) {
      *size = next() >> 20;
    }
    for (double* scale : {&panel.scale, &panel.ratio, &panel.opacity, &panel.angle, &panel.zoom}) {
      *scale = (next() >> 12) / 256.0;
    }
    for (Text* text : {&panel.title, &panel.caption, &panel.file, &panel.font, &panel.tip}) {
      const std::string narrow = "Window & part " + std::to_string(next() >> 24);
      text->assign(narrow.begin(), narrow.end());
    }
  }
  return panels;
}

using Wide = std::wstring;

std::wstring TextOf(const MOutFilerTaggedXml& filer) {
  std::wstring text;
  if (!filer.GetText(&text)) {
    std::abort();
  }
  return text;
}

void Require(bool done) {
  if (!done) {
    std::abort();
  }
}

struct Described {
  using Text = Wide;

  static std::wstring Write(const Panels<Text>& panels) {
    MOutFilerTaggedXml filer(L"Settings", L"");
    bool done = true;
    for (const Panel<Text>& panel : panels) {
      done = done && ::Write(filer, L"Panel", panel);
    }
    Require(done);
    return TextOf(filer);
  }

  static void Read(const std::wstring& text, Panels<Text>& panels) {
    MInFilerTaggedXml filer(text, L"Settings", L"");
    for (Panel<Text>& panel : panels) {
      Velta::FieldProblems problems;
      Require(filer.BeginGroup(L"Panel"));
      ReadFields(filer, panel, problems);
      Require(problems.empty() && filer.EndGroup());
    }
  }
};

/// The same document.
struct ByHand {
  using Text = Wide;

  static bool Write(IOutFilerTagged& filer, const Panel<Text>& panel) {
    return filer.WriteBool(L"Visible", panel.visible) && filer.WriteBool(L"Locked", panel.locked) &&
           filer.WriteBool(L"Pinned", panel.pinned) && filer.WriteBool(L"Bold", panel.bold) &&
           filer.WriteBool(L"Wrapped", panel.wrapped) && filer.WriteBool(L"Dark", panel.dark) &&
           filer.WriteInt(L"Left", panel.left) && filer.WriteInt(L"Top", panel.top) &&
           filer.WriteInt(L"Right", panel.right) && filer.WriteInt(L"Bottom", panel.bottom) &&
           filer.WriteInt(L"Column", panel.column) && filer.WriteInt(L"Row", panel.row) &&
           filer.WriteInt(L"Depth", panel.depth) && filer.WriteInt(L"Order", panel.order) &&
           filer.WriteUnsignedInt(L"Width", panel.width) &&
           filer.WriteUnsignedInt(L"Height", panel.height) &&
           filer.WriteUnsignedInt(L"Colour", panel.colour) &&
           filer.WriteUnsignedInt(L"Margin", panel.margin) &&
           filer.WriteUnsignedInt(L"Padding", panel.padding) &&
           filer.WriteUnsignedInt(L"Border", panel.border) &&
           ::Write(filer, L"Scale", panel.scale) && ::Write(filer, L"Ratio", panel.ratio) &&
           ::Write(filer, L"Opacity", panel.opacity) && ::Write(filer, L"Angle", panel.angle) &&
           ::Write(filer, L"Zoom", panel.zoom) && filer.WriteString(L"Title", panel.title) &&
           filer.WriteString(L"Caption", panel.caption) && filer.WriteString(L"File", panel.file) &&
           filer.WriteString(L"Font", panel.font) && filer.WriteString(L"Tip", panel.tip);
  }

  static bool Read(IInFilerTagged& filer, Panel<Text>& panel) {
    return filer.ReadBool(L"Visible", &panel.visible, false) &&
           filer.ReadBool(L"Locked", &panel.locked, false) &&
           filer.ReadBool(L"Pinned", &panel.pinned, false) &&
           filer.ReadBool(L"Bold", &panel.bold, false) &&
           filer.ReadBool(L"Wrapped", &panel.wrapped, false) &&
           filer.ReadBool(L"Dark", &panel.dark, false) && filer.ReadInt(L"Left", &panel.left, 0) &&
           filer.ReadInt(L"Top", &panel.top, 0) && filer.ReadInt(L"Right", &panel.right, 0) &&
           filer.ReadInt(L"Bottom", &panel.bottom, 0) &&
           filer.ReadInt(L"Column", &panel.column, 0) && filer.ReadInt(L"Row", &panel.row, 0) &&
           filer.ReadInt(L"Depth", &panel.depth, 0) && filer.ReadInt(L"Order", &panel.order, 0) &&
           filer.ReadUnsignedInt(L"Width", &panel.width, 0u) &&
           filer.ReadUnsignedInt(L"Height", &panel.height, 0u) &&
           filer.ReadUnsignedInt(L"Colour", &panel.colour, 0u) &&
           filer.ReadUnsignedInt(L"Margin", &panel.margin, 0u) &&
           filer.ReadUnsignedInt(L"Padding", &panel.padding, 0u) &&
           filer.ReadUnsignedInt(L"Border", &panel.border, 0u) &&
           ::Read(filer, L"Scale", panel.scale) && ::Read(filer, L"Ratio", panel.ratio) &&
           ::Read(filer, L"Opacity", panel.opacity) && ::Read(filer, L"Angle", panel.angle) &&
           ::Read(filer, L"Zoom", panel.zoom) && filer.ReadString(L"Title", &panel.title, {}) &&
           filer.ReadString(L"Caption", &panel.caption, {}) &&
           filer.ReadString(L"File", &panel.file, {}) &&
           filer.ReadString(L"Font", &panel.font, {}) && filer.ReadString(L"Tip", &panel.tip, {});
  }

  static std::wstring Write(const Panels<Text>& panels) {
    MOutFilerTaggedXml filer(L"Settings", L"");
    bool done = true;
    for (const Panel<Text>& panel : panels) {
      done = done && filer.BeginGroup(L"Panel") && Write(filer, panel) && filer.EndGroup();
    }
    Require(done);
    return TextOf(filer);
  }

  static void Read(const std::wstring& text, Panels<Text>& panels) {
    MInFilerTaggedXml filer(text, L"Settings", L"");
    for (Panel<Text>& panel : panels) {
      Require(filer.BeginGroup(L"Panel") && Read(filer, panel) && filer.EndGroup());
    }
  }
};

/// Without types.
struct Pugixml {
  using Text = Wide;

  static void Add(pugi::xml_node group, const Panel<Text>& panel) {
    group.append_child(L"Visible").text().set(panel.visible);
    group.append_child(L"Locked").text().set(panel.locked);
    group.append_child(L"Pinned").text().set(panel.pinned);
    group.append_child(L"Bold").text().set(panel.bold);
    group.append_child(L"Wrapped").text().set(panel.wrapped);
    group.append_child(L"Dark").text().set(panel.dark);
    group.append_child(L"Left").text().set(panel.left);
    group.append_child(L"Top").text().set(panel.top);
    group.append_child(L"Right").text().set(panel.right);
    group.append_child(L"Bottom").text().set(panel.bottom);
    group.append_child(L"Column").text().set(panel.column);
    group.append_child(L"Row").text().set(panel.row);
    group.append_child(L"Depth").text().set(panel.depth);
    group.append_child(L"Order").text().set(panel.order);
    group.append_child(L"Width").text().set(panel.width);
    group.append_child(L"Height").text().set(panel.height);
    group.append_child(L"Colour").text().set(panel.colour);
    group.append_child(L"Margin").text().set(panel.margin);
    group.append_child(L"Padding").text().set(panel.padding);
    group.append_child(L"Border").text().set(panel.border);
    group.append_child(L"Scale").text().set(panel.scale);
    group.append_child(L"Ratio").text().set(panel.ratio);
    group.append_child(L"Opacity").text().set(panel.opacity);
    group.append_child(L"Angle").text().set(panel.angle);
    group.append_child(L"Zoom").text().set(panel.zoom);
    group.append_child(L"Title").text().set(panel.title.c_str());
    group.append_child(L"Caption").text().set(panel.caption.c_str());
    group.append_child(L"File").text().set(panel.file.c_str());
    group.append_child(L"Font").text().set(panel.font.c_str());
    group.append_child(L"Tip").text().set(panel.tip.c_str());
  }

  static void Take(pugi::xml_node group, Panel<Text>& panel) {
    panel.visible = group.child(L"Visible").text().as_bool();
    panel.locked = group.child(L"Locked").text().as_bool();
    panel.pinned = group.child(L"Pinned").text().as_bool();
    panel.bold = group.child(L"Bold").text().as_bool();
    panel.wrapped = group.child(L"Wrapped").text().as_bool();
    panel.dark = group.child(L"Dark").text().as_bool();
    panel.left = group.child(L"Left").text().as_int();
    panel.top = group.child(L"Top").text().as_int();
    panel.right = group.child(L"Right").text().as_int();
    panel.bottom = group.child(L"Bottom").text().as_int();
    panel.column = group.child(L"Column").text().as_int();
    panel.row = group.child(L"Row").text().as_int();
    panel.depth = group.child(L"Depth").text().as_int();
    panel.order = group.child(L"Order").text().as_int();
    panel.width = group.child(L"Width").text().as_uint();
    panel.height = group.child(L"Height").text().as_uint();
    panel.colour = group.child(L"Colour").text().as_uint();
    panel.margin = group.child(L"Margin").text().as_uint();
    panel.padding = group.child(L"Padding").text().as_uint();
    panel.border = group.child(L"Border").text().as_uint();
    panel.scale = group.child(L"Scale").text().as_double();
    panel.ratio = group.child(L"Ratio").text().as_double();
    panel.opacity = group.child(L"Opacity").text().as_double();
    panel.angle = group.child(L"Angle").text().as_double();
    panel.zoom = group.child(L"Zoom").text().as_double();
    panel.title = group.child(L"Title").text().get();
    panel.caption = group.child(L"Caption").text().get();
    panel.file = group.child(L"File").text().get();
    panel.font = group.child(L"Font").text().get();
    panel.tip = group.child(L"Tip").text().get();
  }

  struct StringWriter : pugi::xml_writer {
    void write(const void* data, std::size_t size) override {
      text.append(static_cast<const wchar_t*>(data), size / sizeof(wchar_t));
    }
    std::wstring text;
  };

  static std::wstring Write(const Panels<Text>& panels) {
    pugi::xml_document document;
    pugi::xml_node root = document.append_child(L"Settings");
    for (const Panel<Text>& panel : panels) {
      Add(root.append_child(L"Panel"), panel);
    }
    StringWriter writer;
    document.save(writer, L"", pugi::format_indent, pugi::encoding_wchar);
    return std::move(writer.text);
  }

  static void Read(const std::wstring& text, Panels<Text>& panels) {
    pugi::xml_document document;
    Require(document.load_buffer(text.data(), text.size() * sizeof(wchar_t), pugi::parse_default,
                                 pugi::encoding_wchar));
    pugi::xml_node group = document.child(L"Settings").child(L"Panel");
    for (Panel<Text>& panel : panels) {
      Take(group, panel);
      group = group.next_sibling(L"Panel");
    }
  }
};

struct Cereal {
  using Text = std::string;

  static std::string Write(const Panels<Text>& panels) {
    std::ostringstream stream;
    {
      cereal::XMLOutputArchive archive(stream);
      archive(panels);
    }
    return stream.str();
  }

  static void Read(const std::string& text, Panels<Text>& panels) {
    std::istringstream stream(text);
    cereal::XMLInputArchive archive(stream);
    archive(panels);
  }
};

/// What it writes is what it reads, and described what is written by hand.
template <class Way>
void WritePanels(benchmark::State& state) {
  const auto panels = MakePanels<typename Way::Text>(state.range(0));
  const auto text = Way::Write(panels);
  Panels<typename Way::Text> back(panels.size());
  Way::Read(text, back);
  bool same = back == panels;
  if constexpr (std::same_as<Way, Described>) {
    same = same && text == ByHand::Write(panels);
  }
  if (!same) {
    state.SkipWithError("written otherwise");
  }
  for ([[maybe_unused]] auto _ : state) {
    benchmark::DoNotOptimize(Way::Write(panels));
  }
  state.SetItemsProcessed(state.iterations() * state.range(0) * 30);
}

template <class Way>
void ReadPanels(benchmark::State& state) {
  auto panels = MakePanels<typename Way::Text>(state.range(0));
  const auto text = Way::Write(panels);
  for ([[maybe_unused]] auto _ : state) {
    Way::Read(text, panels);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0) * 30);
}

constexpr std::int64_t kPanels = 300;

BENCHMARK_TEMPLATE(WritePanels, Described)->Arg(kPanels);
BENCHMARK_TEMPLATE(WritePanels, ByHand)->Arg(kPanels);
BENCHMARK_TEMPLATE(WritePanels, Pugixml)->Arg(kPanels);
BENCHMARK_TEMPLATE(WritePanels, Cereal)->Arg(kPanels);
BENCHMARK_TEMPLATE(ReadPanels, Described)->Arg(kPanels);
BENCHMARK_TEMPLATE(ReadPanels, ByHand)->Arg(kPanels);
BENCHMARK_TEMPLATE(ReadPanels, Pugixml)->Arg(kPanels);
BENCHMARK_TEMPLATE(ReadPanels, Cereal)->Arg(kPanels);

}  // namespace

// SPDX-License-Identifier: MIT
// Settings written to XML text and read back through the filers, beside three ways to do it
// without: pugixml by hand, Boost.Serialization's and Boost.PropertyTree's wide XML.
#include "velta/serialisation/MInFilerTaggedXml.h"
#include "velta/serialisation/MOutFilerTaggedXml.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cwchar>
#include <limits>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>
#include <boost/archive/xml_wiarchive.hpp>
#include <boost/archive/xml_woarchive.hpp>
#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>
#include <boost/serialization/level.hpp>
#include <boost/serialization/nvp.hpp>
#include <boost/serialization/string.hpp>
#include <boost/serialization/tracking.hpp>
#include <malloc.h>
#include <pugixml.hpp>

namespace {

/// Memory once asked for stays with the process: whether the C runtime gives it back to the system
/// after each document, and asks again, is chance, and would be most of what is measured.
const bool memoryIsKept = ::mallopt(M_MMAP_MAX, 0) == 1 &&
                          ::mallopt(M_TRIM_THRESHOLD, (std::numeric_limits<int>::max)()) == 1;

/// A value of each kind.
struct Values {
  bool visible = false;
  std::int32_t offset = 0;
  std::uint32_t width = 0;
  double scale = 0.0;
  std::wstring title;

  bool operator==(const Values&) const = default;
};

/// A group with another one inside: ten values.
struct Panel {
  Values values;
  Values layout;

  bool operator==(const Panel&) const = default;
};

}  // namespace

// Plain values, as the peer does them best: no versions, no identities.
BOOST_CLASS_IMPLEMENTATION(Values, boost::serialization::object_serializable)
BOOST_CLASS_IMPLEMENTATION(Panel, boost::serialization::object_serializable)
BOOST_CLASS_TRACKING(Values, boost::serialization::track_never)
BOOST_CLASS_TRACKING(Panel, boost::serialization::track_never)

namespace {

constexpr std::int64_t kValuesOfPanel = 10;

using Panels = std::vector<Panel>;

/// The same in every run. The doubles have no more digits than are written.
Panels MakePanels(std::int64_t values) {
  Panels panels(static_cast<std::size_t>(values / kValuesOfPanel));
  std::uint32_t state = 1;
  const auto next = [&state] { return state = state * 1664525 + 1013904223; };
  for (Panel& panel : panels) {
    for (Values* part : {&panel.values, &panel.layout}) {
      part->visible = next() >> 31 != 0;
      part->offset = static_cast<std::int32_t>(next()) >> 16;
      part->width = next() >> 20;
      part->scale = (next() >> 12) / 256.0;
      part->title = L"Window & part " + std::to_wstring(next() >> 24);
    }
  }
  return panels;
}

// Kept as the interfaces take them.
const MString kVisible = L"Visible";
const MString kOffset = L"Offset";
const MString kWidth = L"Width";
const MString kScale = L"Scale";
const MString kTitle = L"Title";
const MString kPanel = L"Panel";
const MString kLayout = L"Layout";

bool WriteValues(MOutFilerTaggedXml& filer, const Values& values) {
  return filer.WriteBool(kVisible, values.visible) && filer.WriteInt(kOffset, values.offset) &&
         filer.WriteUnsignedInt(kWidth, values.width) && filer.WriteDouble(kScale, values.scale) &&
         filer.WriteString(kTitle, values.title);
}

bool ReadValues(MInFilerTaggedXml& filer, Values& values) {
  return filer.ReadBool(kVisible, &values.visible, false) &&
         filer.ReadInt(kOffset, &values.offset, 0) &&
         filer.ReadUnsignedInt(kWidth, &values.width, 0u) &&
         filer.ReadDouble(kScale, &values.scale, 0.0) &&
         filer.ReadString(kTitle, &values.title, {});
}

struct Filers {
  static std::wstring Write(const Panels& panels) {
    MOutFilerTaggedXml filer(L"Settings", L"urn:settings");
    bool done = true;
    for (const Panel& panel : panels) {
      done = done && filer.BeginGroup(kPanel) && WriteValues(filer, panel.values) &&
             filer.BeginGroup(kLayout) && WriteValues(filer, panel.layout) && filer.EndGroup() &&
             filer.EndGroup();
    }
    std::wstring text;
    if (!done || !filer.GetText(&text)) {
      std::abort();
    }
    return text;
  }

  static void Read(const std::wstring& text, Panels& panels) {
    MInFilerTaggedXml filer(text, L"Settings", L"urn:settings");
    bool done = true;
    for (Panel& panel : panels) {
      done = done && filer.BeginGroup(kPanel) && ReadValues(filer, panel.values) &&
             filer.BeginGroup(kLayout) && ReadValues(filer, panel.layout) && filer.EndGroup() &&
             filer.EndGroup();
    }
    if (!done) {
      std::abort();
    }
  }
};

/// The same document, character by character, as one writes it with pugixml.
struct Pugixml {
  static void Add(pugi::xml_node group, const wchar_t* tag, const wchar_t* type,
                  const wchar_t* text) {
    pugi::xml_node value = group.append_child(tag);
    value.append_attribute(L"type").set_value(type);
    value.text().set(text);
  }

  static void Add(pugi::xml_node group, const Values& values) {
    wchar_t text[32];
    Add(group, L"Visible", L"bool", values.visible ? L"1" : L"0");
    std::swprintf(text, std::size(text), L"%d", values.offset);
    Add(group, L"Offset", L"int", text);
    std::swprintf(text, std::size(text), L"%u", values.width);
    Add(group, L"Width", L"uint", text);
    std::swprintf(text, std::size(text), L"%.15e", values.scale);
    Add(group, L"Scale", L"float", text);
    Add(group, L"Title", L"string", values.title.c_str());
  }

  struct StringWriter : pugi::xml_writer {
    void write(const void* data, std::size_t size) override {
      text.append(static_cast<const wchar_t*>(data), size / sizeof(wchar_t));
    }
    std::wstring text;
  };

  static std::wstring Write(const Panels& panels) {
    pugi::xml_document document;
    pugi::xml_node declaration = document.append_child(pugi::node_declaration);
    declaration.append_attribute(L"version").set_value(L"1.0");
    declaration.append_attribute(L"encoding").set_value(L"UTF-8");
    pugi::xml_node root = document.append_child(L"Settings");
    root.append_attribute(L"xmlns").set_value(L"urn:settings");
    for (const Panel& panel : panels) {
      pugi::xml_node group = root.append_child(L"Panel");
      Add(group, panel.values);
      Add(group.append_child(L"Layout"), panel.layout);
    }
    StringWriter writer;
    document.save(writer, L"", pugi::format_indent, pugi::encoding_wchar);
    return std::move(writer.text);
  }

  static pugi::xml_text Take(pugi::xml_node group, const wchar_t* tag, std::wstring_view type) {
    const pugi::xml_node value = group.child(tag);
    if (value.attribute(L"type").value() != type) {
      std::abort();
    }
    return value.text();
  }

  static void Take(pugi::xml_node group, Values& values) {
    values.visible = Take(group, L"Visible", L"bool").as_int() != 0;
    values.offset = Take(group, L"Offset", L"int").as_int();
    values.width = Take(group, L"Width", L"uint").as_uint();
    values.scale = Take(group, L"Scale", L"float").as_double();
    values.title = Take(group, L"Title", L"string").get();
  }

  static void Read(const std::wstring& text, Panels& panels) {
    pugi::xml_document document;
    if (!document.load_buffer(text.data(), text.size() * sizeof(wchar_t), pugi::parse_default,
                              pugi::encoding_wchar)) {
      std::abort();
    }
    const pugi::xml_node root = document.child(L"Settings");
    if (root.attribute(L"xmlns").value() != std::wstring_view(L"urn:settings")) {
      std::abort();
    }
    pugi::xml_node group = root.child(L"Panel");
    for (Panel& panel : panels) {
      Take(group, panel.values);
      Take(group.child(L"Layout"), panel.layout);
      group = group.next_sibling(L"Panel");
    }
  }
};

template <class Archive>
void serialize(Archive& archive, Values& values, unsigned) {
  archive& boost::serialization::make_nvp("Visible", values.visible);
  archive& boost::serialization::make_nvp("Offset", values.offset);
  archive& boost::serialization::make_nvp("Width", values.width);
  archive& boost::serialization::make_nvp("Scale", values.scale);
  archive& boost::serialization::make_nvp("Title", values.title);
}

template <class Archive>
void serialize(Archive& archive, Panel& panel, unsigned) {
  serialize(archive, panel.values, 0);
  archive& boost::serialization::make_nvp("Layout", panel.layout);
}

struct Serialization {
  static std::wstring Write(const Panels& panels) {
    std::wostringstream stream;
    {
      boost::archive::xml_woarchive archive(stream);
      for (const Panel& panel : panels) {
        archive << boost::serialization::make_nvp("Panel", panel);
      }
    }
    return stream.str();
  }

  static void Read(const std::wstring& text, Panels& panels) {
    std::wistringstream stream(text);
    boost::archive::xml_wiarchive archive(stream);
    for (Panel& panel : panels) {
      archive >> boost::serialization::make_nvp("Panel", panel);
    }
  }
};

/// Without types.
struct PropertyTree {
  using Tree = boost::property_tree::wptree;

  static void Add(Tree& group, const Values& values) {
    group.add(L"Visible", values.visible);
    group.add(L"Offset", values.offset);
    group.add(L"Width", values.width);
    group.add(L"Scale", values.scale);
    group.add(L"Title", values.title);
  }

  static std::wstring Write(const Panels& panels) {
    Tree document;
    Tree& root = document.add(L"Settings", L"");
    for (const Panel& panel : panels) {
      Tree& group = root.add(L"Panel", L"");
      Add(group, panel.values);
      Add(group.add(L"Layout", L""), panel.layout);
    }
    std::wostringstream stream;
    boost::property_tree::write_xml(stream, document);
    return stream.str();
  }

  static void Take(const Tree& group, Values& values) {
    values.visible = group.get<bool>(L"Visible");
    values.offset = group.get<std::int32_t>(L"Offset");
    values.width = group.get<std::uint32_t>(L"Width");
    values.scale = group.get<double>(L"Scale");
    values.title = group.get<std::wstring>(L"Title");
  }

  static void Read(const std::wstring& text, Panels& panels) {
    std::wistringstream stream(text);
    Tree document;
    boost::property_tree::read_xml(stream, document);
    auto group = document.get_child(L"Settings").begin();
    for (Panel& panel : panels) {
      Take(group->second, panel.values);
      Take(group->second.get_child(L"Layout"), panel.layout);
      ++group;
    }
  }
};

/// What it writes is what it reads, and for pugixml what the filers write.
template <class Way>
void Write(benchmark::State& state) {
  const Panels panels = MakePanels(state.range(0));
  const std::wstring text = Way::Write(panels);
  Panels back(panels.size());
  Way::Read(text, back);
  if (back != panels || (std::is_same_v<Way, Pugixml> && text != Filers::Write(panels))) {
    state.SkipWithError("written otherwise");
  }
  for ([[maybe_unused]] auto _ : state) {
    benchmark::DoNotOptimize(Way::Write(panels));
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

template <class Way>
void Read(benchmark::State& state) {
  Panels panels = MakePanels(state.range(0));
  const std::wstring text = Way::Write(panels);
  for ([[maybe_unused]] auto _ : state) {
    Way::Read(text, panels);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

/// A value written inside n groups.
void WriteInside(benchmark::State& state) {
  MOutFilerTaggedXml filer(L"Settings", L"urn:settings");
  bool done = true;
  for (std::int64_t i = 0; i < state.range(0); ++i) {
    done = done && filer.BeginGroup(kPanel);
  }
  for ([[maybe_unused]] auto _ : state) {
    done = done && filer.WriteInt(kOffset, 42);
  }
  if (!done) {
    state.SkipWithError("not written");
  }
}

constexpr std::int64_t kFew = 1000;
constexpr std::int64_t kSome = 10000;
constexpr std::int64_t kMany = 100000;

BENCHMARK_TEMPLATE(Write, Filers)->Arg(kFew)->Arg(kSome)->Arg(kMany);
BENCHMARK_TEMPLATE(Write, Pugixml)->Arg(kSome);
BENCHMARK_TEMPLATE(Write, Serialization)->Arg(kSome);
BENCHMARK_TEMPLATE(Write, PropertyTree)->Arg(kSome);
BENCHMARK(WriteInside)->Arg(1)->Arg(1000);
BENCHMARK_TEMPLATE(Read, Filers)->Arg(kFew)->Arg(kSome)->Arg(kMany);
BENCHMARK_TEMPLATE(Read, Pugixml)->Arg(kSome);
BENCHMARK_TEMPLATE(Read, Serialization)->Arg(kSome);
BENCHMARK_TEMPLATE(Read, PropertyTree)->Arg(kSome);

}  // namespace

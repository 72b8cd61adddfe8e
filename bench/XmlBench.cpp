// SPDX-License-Identifier: MIT
// Reading documents beside pugixml in its wide mode, and what edits cost.

#include "velta/xml/MXmlDocument.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include <benchmark/benchmark.h>
#include <malloc.h>
#include <pugixml.hpp>

namespace {

/// Documents of the shapes and sizes that settings, projects, resources and prose have; the same in
/// every run.
class Writer {
 public:
  /// Repeats `part` until there are `characters`, with each "%" as a number of its own.
  Writer& Fill(std::wstring_view part, std::size_t characters) {
    while (text.size() < characters) {
      for (const wchar_t c : part) {
        if (c == L'%') {
          text += std::to_wstring(Number());
        } else {
          text += c;
        }
      }
    }
    return *this;
  }

  Writer& Add(std::wstring_view part) {
    text += part;
    return *this;
  }

  std::wstring text;

 private:
  std::uint32_t Number() {
    state = state * 1664525 + 1013904223;
    return state >> 12;
  }

  std::uint32_t state = 1;
};

enum Document : std::int64_t { kManifest, kProject, kResources, kProse, kRecords };

std::wstring MakeText(std::int64_t document) {
  switch (document) {
    case kManifest:
      return Writer()
          .Add(L"<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<assembly manifestVersion=\"1.0\">\n")
          .Fill(
              L"  <dependency>\n    <dependentAssembly>\n"
              L"      <assemblyIdentity type=\"win32\" name=\"Vendor.Windows.Part%\" "
              L"version=\"6.0.%.0\" processorArchitecture=\"amd64\" language=\"*\"/>\n"
              L"    </dependentAssembly>\n  </dependency>\n",
              4000)
          .Add(L"</assembly>\n")
          .text;
    case kProject:
      return Writer()
          .Add(L"<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<Project DefaultTargets=\"Build\">\n")
          .Fill(
              L"  <ItemGroup Condition=\"'$(Configuration)'=='Release%'\">\n"
              L"    <ClCompile Include=\"source\\part%.cpp\">\n"
              L"      <Optimization>MaxSpeed</Optimization>\n"
              L"      <WarningLevel>Level4</WarningLevel>\n"
              L"    </ClCompile>\n    <ClInclude Include=\"source\\part%.h\" />\n  </ItemGroup>\n",
              25000)
          .Add(L"</Project>\n")
          .text;
    case kResources:
      return Writer()
          .Add(L"<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<root>\n")
          .Fill(
              L"  <data name=\"Message%\" xml:space=\"preserve\">\n"
              L"    <value>The file {%} could not be opened, since another program is using it. "
              L"Close that program &amp; try again.</value>\n"
              L"    <comment>Shown in the main window</comment>\n  </data>\n",
              275000)
          .Add(L"</root>\n")
          .text;
    case kProse:
      return Writer()
          .Add(L"<?xml version=\"1.0\"?>\n<!-- A book -->\n<book>\n")
          .Fill(
              L"<section id=\"s%\"><title>Of part %</title>\n<para>What follows is a paragraph "
              L"with "
              L"some <emphasis>words</emphasis> that stand out, a <literal>name</literal> and a "
              L"<xref linkend=\"s%\"/>, and then goes on for a good while longer, as the text of a "
              L"book does,\nover more than one line, until it comes to its end.</para>\n"
              L"<programlisting><![CDATA[if (a < b && b > c) return %;]]></programlisting>\n"
              L"</section>\n",
              500000)
          .Add(L"</book>\n")
          .text;
    default:
      return Writer()
          .Add(L"<?xml version=\"1.0\"?>\n<records>\n")
          .Fill(
              L"<record id=\"%\" kind=\"order\"><customer>Customer %</customer><amount currency="
              L"\"EUR\">%</amount><note>delivered to the address given</note></record>\n",
              50000000)
          .Add(L"</records>\n")
          .text;
  }
}

void CountText(benchmark::State& state, const std::wstring& text) {
  state.SetBytesProcessed(state.iterations() *
                          static_cast<std::int64_t>(text.size() * sizeof(wchar_t)));
}

// Both take a copy of the text and give their memory back in each iteration.

void ParseVelta(benchmark::State& state) {
  const std::wstring text = MakeText(state.range(0));
  for ([[maybe_unused]] auto _ : state) {
    MXmlDocument document;
    if (!document.SetText(text)) {
      state.SkipWithError("not well formed");
    }
    benchmark::DoNotOptimize(document);
  }
  CountText(state, text);
}

void ParsePugixml(benchmark::State& state) {
  const std::wstring text = MakeText(state.range(0));
  for ([[maybe_unused]] auto _ : state) {
    pugi::xml_document document;
    if (!document.load_buffer(text.data(), text.size() * sizeof(wchar_t), pugi::parse_default,
                              pugi::encoding_wchar)) {
      state.SkipWithError("not well formed");
    }
    benchmark::DoNotOptimize(document);
  }
  CountText(state, text);
}

/// What reading a document adds to the memory in use, or what `count` makes of the document.
template <class Count>
void CountMemory(benchmark::State& state, Count count) {
  const std::wstring text = MakeText(state.range(0));
  for ([[maybe_unused]] auto _ : state) {
    state.counters["bytes"] = static_cast<double>(count(text));
  }
}

std::size_t MemoryInUse() {
  const struct mallinfo2 memory = ::mallinfo2();
  return memory.uordblks + memory.hblkhd;
}

void MemoryVelta(benchmark::State& state) {
  CountMemory(state, [](const std::wstring& text) {
    const std::size_t before = MemoryInUse();
    MXmlDocument document;
    if (!document.SetText(text)) {
      std::abort();
    }
    return MemoryInUse() - before;
  });
}

void MemoryPugixml(benchmark::State& state) {
  CountMemory(state, [](const std::wstring& text) {
    const std::size_t before = MemoryInUse();
    pugi::xml_document document;
    document.load_buffer(text.data(), text.size() * sizeof(wchar_t), pugi::parse_default,
                         pugi::encoding_wchar);
    return MemoryInUse() - before;
  });
}

/// The text, and 48 bytes an element.
void MemoryModel(benchmark::State& state) {
  CountMemory(state, [](const std::wstring& text) {
    struct Counter : pugi::xml_tree_walker {
      bool for_each(pugi::xml_node& node) override {
        if (node.type() == pugi::node_element) {
          ++elements;
        }
        return true;
      }
      std::size_t elements = 0;
    } counter;
    pugi::xml_document document;
    document.load_string(text.c_str());
    document.traverse(counter);
    return text.size() * sizeof(wchar_t) + 48 * counter.elements;
  });
}

/// A document of n elements, the position inside its root.
void MakeSiblings(MXmlDocument& document, std::int64_t count) {
  std::wstring text = L"<r>\n";
  for (std::int64_t i = 0; i < count; ++i) {
    text += L"<value type=\"int\">42</value>\n";
  }
  if (!document.SetText(text + L"</r>\n") || !document.FindElement() || !document.IntoElement()) {
    std::abort();
  }
}

/// An element added after all others, with its attribute, as a settings writer does.
void AppendAtEnd(benchmark::State& state) {
  MXmlDocument document;
  MakeSiblings(document, state.range(0));
  for ([[maybe_unused]] auto _ : state) {
    if (!document.AddElement(L"value", L"42") || !document.SetAttribute(L"type", L"int")) {
      state.SkipWithError("not added");
    }
  }
}

/// An attribute that stands after n others, set to another value of its length.
void SetAttributeAfter(benchmark::State& state) {
  MXmlDocument document;
  bool done = document.AddElement(L"value");
  for (std::int64_t i = 0; i < state.range(0); ++i) {
    done = done && document.SetAttribute(L"attribute" + std::to_wstring(i), L"value");
  }
  done = done && document.SetAttribute(L"last", L"0");
  bool one = false;
  for ([[maybe_unused]] auto _ : state) {
    one = !one;
    done = done && document.SetAttribute(L"last", one ? L"1" : L"2");
  }
  if (!done) {
    state.SkipWithError("not set");
  }
}

/// One added in front of all others and removed again.
void EditAtFront(benchmark::State& state) {
  MXmlDocument document;
  MakeSiblings(document, state.range(0));
  bool done = document.OutOfElement() && document.AddElement(L"x") && document.RemoveElement();
  for ([[maybe_unused]] auto _ : state) {
    // As the first child: after a child that is there first.
    document.ResetPosition();
    done = done && document.FindElement() && document.FindChildElement() &&
           document.AddElement(L"value", L"1", MXmlDocument::kAddAsChild) &&
           document.IntoElement() && document.RemoveElement();
  }
  if (!done) {
    state.SkipWithError("not edited");
  }
}

/// The moves of memory that this implies: the text and the records after the place, there and
/// back.
void EditAtFrontMoves(benchmark::State& state) {
  MXmlDocument document;
  MakeSiblings(document, state.range(0));
  std::wstring text = document.GetText() + L"<value>1</value>\n";
  constexpr std::size_t kMoved = 17;
  struct Record {
    std::int32_t fields[9];
  };
  std::vector<Record> records(static_cast<std::size_t>(state.range(0)));
  const std::size_t bytes = (text.size() - kMoved) * sizeof(wchar_t);
  for ([[maybe_unused]] auto _ : state) {
    for (const std::int32_t distance : {17, -17}) {
      wchar_t* const from = text.data() + (distance > 0 ? 0 : kMoved);
      wchar_t* const to = text.data() + (distance > 0 ? kMoved : 0);
      std::memmove(to, from, bytes);
      for (Record& record : records) {
        record.fields[0] += distance;
      }
      benchmark::DoNotOptimize(records.data());
      benchmark::DoNotOptimize(text.data());
      benchmark::ClobberMemory();
    }
  }
}

void AllDocuments(benchmark::internal::Benchmark* benchmark) {
  benchmark->DenseRange(kManifest, kRecords)->Unit(benchmark::kMicrosecond)->UseRealTime();
}

BENCHMARK(ParseVelta)->Apply(AllDocuments);
BENCHMARK(ParsePugixml)->Apply(AllDocuments);
BENCHMARK(MemoryVelta)->DenseRange(kManifest, kRecords)->Iterations(1);
BENCHMARK(MemoryPugixml)->DenseRange(kManifest, kRecords)->Iterations(1);
BENCHMARK(MemoryModel)->DenseRange(kManifest, kRecords)->Iterations(1);
BENCHMARK(AppendAtEnd)->Arg(1000)->Arg(1000000)->UseRealTime();
BENCHMARK(SetAttributeAfter)->Arg(10)->Arg(1000);
BENCHMARK(EditAtFront)->Arg(1000)->Arg(1000000)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(EditAtFrontMoves)->Arg(1000)->Arg(1000000)->Unit(benchmark::kMicrosecond)->UseRealTime();

}  // namespace

// SPDX-License-Identifier: MIT
// Numbers and text, beside the C runtime's conversions.
#include "velta/text/MLocale.h"
#include "velta/text/NumberText.h"
#include "velta/text/internal/ScientificText.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cwchar>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

namespace {

constexpr std::size_t kNumbers = 1000;

std::vector<double> MakeNumbers() {
  std::vector<double> numbers;
  std::uint32_t state = 1;
  const auto next = [&state] { return state = state * 1664525 + 1013904223; };
  while (numbers.size() < kNumbers) {
    // Up to nine digits, none to six of them after the point.
    const auto digits = static_cast<std::int32_t>(next()) >> (next() >> 28);
    numbers.push_back(digits / std::pow(10.0, (next() >> 16) % 7));
  }
  return numbers;
}

/// As people and programs write numbers ("%.9g"), or as the filers do ("%.15e").
std::vector<std::wstring> MakeTexts(const wchar_t* format) {
  std::vector<std::wstring> texts;
  for (const double number : MakeNumbers()) {
    wchar_t text[64];
    std::swprintf(text, std::size(text), format, number);
    texts.emplace_back(text);
  }
  return texts;
}

template <class Convert>
void ConvertAll(benchmark::State& state, const auto& all, Convert convert) {
  for ([[maybe_unused]] auto _ : state) {
    for (const auto& one : all) {
      convert(one);
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(all.size()));
}

void ParseVelta(benchmark::State& state, const wchar_t* format) {
  const MLocale& locale = MLocale::GetClassic();
  ConvertAll(state, MakeTexts(format), [&](const std::wstring& text) {
    double value = 0.0;
    if (!ParseDouble(locale, text, &value)) {
      state.SkipWithError("no number");
    }
    benchmark::DoNotOptimize(value);
  });
}

void ParseRuntime(benchmark::State& state, const wchar_t* format) {
  ConvertAll(state, MakeTexts(format), [](const std::wstring& text) {
    wchar_t* end = nullptr;
    benchmark::DoNotOptimize(std::wcstod(text.c_str(), &end));
  });
}

void FormatVelta(benchmark::State& state) {
  const MLocale& locale = MLocale::GetClassic();
  MString text;
  ConvertAll(state, MakeNumbers(), [&](double number) {
    Velta::Text::FormatScientific(locale, number, 15, text);
    benchmark::DoNotOptimize(text);
  });
}

void FormatRuntime(benchmark::State& state) {
  ConvertAll(state, MakeNumbers(), [](double number) {
    wchar_t text[64];
    std::swprintf(text, std::size(text), L"%.15e", number);
    benchmark::DoNotOptimize(text);
  });
}

BENCHMARK_CAPTURE(ParseVelta, ordinary, L"%.9g");
BENCHMARK_CAPTURE(ParseRuntime, ordinary, L"%.9g");
BENCHMARK_CAPTURE(ParseVelta, stored, L"%.15e");
BENCHMARK_CAPTURE(ParseRuntime, stored, L"%.15e");
BENCHMARK(FormatVelta);
BENCHMARK(FormatRuntime);

}  // namespace

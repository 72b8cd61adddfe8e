// SPDX-License-Identifier: MIT
// Prints what the documents show of the XML form: every type of value, a chain of errors, or how
// doubles come back.

#include "velta/errors/MException.h"
#include "velta/serialisation/MInFilerTaggedXml.h"
#include "velta/serialisation/MOutFilerTaggedXml.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <iostream>
#include <map>
#include <new>
#include <random>
#include <string_view>
#include <utility>
#include <vector>

namespace {

bool WriteValues(IOutFilerTagged& filer) {
  return filer.WriteChar(L"Mark", 'x') && filer.WriteString(L"Title", L"A & B") &&
         filer.WriteDouble(L"Scale", 1.5) && filer.WriteFloat(L"Ratio", 0.1F) &&
         filer.WriteBool(L"Visible", true) && filer.WriteByte(L"Opacity", std::uint8_t{255}) &&
         filer.WriteUnsignedShort(L"Port", std::uint16_t{65535}) &&
         filer.WriteShort(L"Offset", std::int16_t{-2}) &&
         filer.WriteUnsignedInt(L"Width", 4294967295u) && filer.WriteInt(L"Count", 42) &&
         filer.BeginGroup(L"Panel") && filer.WriteString(L"Caption", L"") && filer.EndGroup() &&
         filer.BeginGroup(L"Empty") && filer.EndGroup() &&
         filer.WriteEmbeddedDocument(L"Template", L"<?xml version=\"1.0\"?><page size=\"4\"/>");
}

// An error that another component reported, with what led to it there as text.
class ImportError final : public MError {
 public:
  explicit ImportError(MString causeChain)
      : MError(L"Importer.Run:ImportFailed"), causeChain_(std::move(causeChain)) {}

  ImportError* Clone() const noexcept override { return new (std::nothrow) ImportError(*this); }
  MString GetCauseChain() const override { return causeChain_; }

 private:
  MString causeChain_;
};

MString ChainText(const MException& chain) {
  MOutFilerTaggedXml filer(L"ExceptionChain", L"");
  MString text;
  return chain.Write(filer, L"Exception") && filer.GetText(&text) ? text : MString();
}

MString ExampleChain() {
  MError fault(L"Reader.Open:OpenFailed");
  fault.AddParameter(L"errno", 2);
  fault.AddParameter(L"name", L"a<b.txt");
  ImportError error(ChainText(MException(fault)));
  error.AddParameter(L"status", 0xC0000005U, true);
  return ChainText(MException(error));  // the causes first
}

// Writes doubles and reads them back. Prints how many come back as they were, and how many changed
// by one, two, ... units in the last place.
template <class Next>
bool PrintChanges(const wchar_t* what, Next next) {
  constexpr int kCount = 100000;
  std::vector<double> numbers;
  MOutFilerTaggedXml writer(L"Settings", L"");
  for (int i = 0; i < kCount; ++i) {
    numbers.push_back(next());
    if (!writer.WriteDouble(L"Scale", numbers.back())) {
      return false;
    }
  }
  MString text;
  if (!writer.GetText(&text)) {
    return false;
  }
  MInFilerTaggedXml reader(text, L"Settings", L"");
  std::map<std::int64_t, int> counts;
  for (const double number : numbers) {
    double back = 0;
    if (!reader.ReadDouble(L"Scale", &back, 0)) {
      return false;
    }
    // In the order of their bits, doubles of one sign are neighbours.
    const auto distance = std::bit_cast<std::int64_t>(back) - std::bit_cast<std::int64_t>(number);
    ++counts[distance < 0 ? -distance : distance];
  }
  std::wcout << what;
  for (const auto& [distance, count] : counts) {
    std::wcout << L"  " << distance << L": " << count;
  }
  std::wcout << L'\n';
  return true;
}

bool PrintChangesOfDoubles() {
  std::mt19937_64 random;  // the same numbers in every run
  const auto below1 = [&] { return static_cast<double>(random() >> 11) * 0x1p-53; };
  const auto anyBits = [&] {
    for (;;) {
      const auto number = std::bit_cast<double>(static_cast<std::uint64_t>(random()));
      if (std::isfinite(number)) {
        return number;
      }
    }
  };
  const auto thousandths = [&] { return static_cast<double>(random() % 1000000000000000) / 1000; };
  return PrintChanges(L"from 0 to 1  ", below1) && PrintChanges(L"any bits     ", anyBits) &&
         PrintChanges(L"15 digits    ", thousandths);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1 && std::string_view(argv[1]) == "doubles") {
    return PrintChangesOfDoubles() ? 0 : 1;
  }
  MString text;
  if (argc > 1 && std::string_view(argv[1]) == "chain") {
    text = ExampleChain();
  } else {
    MOutFilerTaggedXml filer(L"Settings", L"urn:example:settings");
    if (!WriteValues(filer) || !filer.GetText(&text)) {
      return 1;
    }
  }
  std::wcout << text;
  return text.empty() ? 1 : 0;
}

// SPDX-License-Identifier: MIT
// Memory runs out at the first, the second, ... request: nothing crashes or leaks, what was there
// stays, and what failed can be done again.
#include "tests/support/Allocations.h"
#include "tests/support/RegistryKit.h"
#include "velta/errors/MException.h"
#include "velta/serialisation/IInFilerTaggedRegistry.h"
#include "velta/serialisation/IOutFilerTaggedRegistry.h"
#include "velta/serialisation/MInFilerTaggedXml.h"
#include "velta/serialisation/MOutFilerTaggedXml.h"

#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>

namespace {

using Allocations::IsRefused;

// Longer than what a string holds in itself, so that each copy asks for memory.
const MString kTag = L"aTagThatIsLongerThanWhatAStringHoldsInItself";
const MString kText(1000, L'&');
const MString kEmbedded = L"<inner a='1'><x/>" + kText + L"</inner>";

/// Whether `action`, with that many allocations granted, succeeds; and whether it was refused one.
template <typename Action>
std::pair<bool, bool> Try(int granted, Action action) {
  bool succeeded = false;
  const bool refused = IsRefused(granted, [&] {
    try {
      succeeded = action();
    } catch (const std::bad_alloc&) {
    } catch (const MException&) {
    }
  });
  return {succeeded, refused};
}

}  // namespace

TEST(XmlFilers, WithoutMemoryAWriteLeavesWhatWasThere) {
  const std::function<bool(MOutFilerTaggedXml&)> writes[] = {
      [](auto& filer) { return filer.WriteString(kTag, kText); },
      [](auto& filer) { return filer.BeginGroup(kTag); },
      [](auto& filer) { return filer.WriteEmbeddedDocument(kTag, kEmbedded); }};
  for (const auto& write : writes) {
    Allocations::WithLittle([&](int granted) {
      MOutFilerTaggedXml filer(L"Root", L"");
      MString before;
      MString after;
      EXPECT_TRUE(filer.WriteInt(L"before", 1) && filer.GetText(&before));
      const auto [written, refused] = Try(granted, [&] { return write(filer); });
      EXPECT_NE(written, refused);
      EXPECT_TRUE(filer.GetText(&after));
      EXPECT_EQ(after == before, refused);
      EXPECT_TRUE(write(filer) && filer.WriteInt(L"after", 2));
      return refused;
    });
  }
}

TEST(XmlFilers, WithoutMemoryAReadConsumesNothing) {
  MOutFilerTaggedXml writer(L"Root", L"");
  MString text;
  ASSERT_TRUE(writer.WriteString(kTag, kText) && writer.WriteEmbeddedDocument(kTag, kEmbedded) &&
              writer.GetText(&text));
  const std::function<bool(MInFilerTaggedXml&, MString*)> reads[] = {
      [](auto& filer, MString* read) { return filer.ReadString(kTag, read, L""); },
      [](auto& filer, MString* read) { return filer.ReadEmbeddedDocument(kTag, read); },
      [](auto& filer, MString*) { return filer.BeginGroup(kTag); }};
  for (const auto& attempted : reads) {
    Allocations::WithLittle([&](int granted) {
      MInFilerTaggedXml filer(text, L"Root", L"");
      MString read;
      const auto [succeeded, refused] = Try(granted, [&] { return attempted(filer, &read); });
      EXPECT_NE(succeeded, refused);
      EXPECT_TRUE(succeeded || attempted(filer, &read));
      return refused;
    });
  }
}

TEST(MInFilerTaggedXml, WithoutMemoryForItsDocumentItSaysSo) {
  using Kind = MInFilerTaggedXml::FaultKind;
  const MString root(100, L'r');
  const std::pair<MString, Kind> texts[] = {
      {L"<" + root + L" xmlns='" + kTag + L"'/>", Kind::kNone},
      {L"<" + root + L" xmlns='" + kTag + L"x'/>", Kind::kNamespace},
      {L"<" + kTag + L"/>", Kind::kRoot},
      {L"<" + root + L">", Kind::kText}};
  for (const auto& sample : texts) {
    Allocations::WithLittle([&](int granted) {
      std::optional<MInFilerTaggedXml> reader;
      const bool refused = IsRefused(granted, [&] { reader.emplace(sample.first, root, kTag); });
      const MInFilerTaggedXml::Fault& fault = reader->GetFault();
      EXPECT_EQ(fault.kind, refused ? Kind::kMemory : sample.second);
      EXPECT_EQ(reader->HasDocument(), fault.kind == Kind::kNone);
      EXPECT_EQ(fault.message.empty(), refused || fault.kind == Kind::kNone);
      return refused;
    });
  }
}

TEST(MError, WithoutMemoryThereIsNoClone) {
  MError error(kTag);
  error.AddParameter(kTag.c_str(), kText);
  Allocations::WithLittle([&](int granted) {
    std::unique_ptr<MError> clone;
    const bool refused = IsRefused(granted, [&] { clone.reset(error.Clone()); });
    EXPECT_EQ(clone == nullptr, refused);
    return refused;
  });
}

TEST(RegistryFilers, WithoutMemoryAValueIsTheOldOrTheNew) {
  [[maybe_unused]] const TestRegistry registry;
  const std::wstring application = UniqueKeyName();
  const auto readsAs = [&](const MString& expected) {
    IInFilerTaggedRegistry reader(application, false);
    MString read;
    return reader.BeginGroup(kTag) && reader.ReadString(kTag, &read, L"") && read == expected;
  };
  EXPECT_FALSE(readsAs(kText));  // what is made once and kept is now there
  Allocations::WithLittle([&](int granted) {
    IOutFilerTaggedRegistry writer(application);
    EXPECT_TRUE(writer.BeginGroup(kTag) && writer.WriteString(kTag, L"old") && writer.EndGroup());
    const auto [written, refused] =
        Try(granted, [&] { return writer.BeginGroup(kTag) && writer.WriteString(kTag, kText); });
    EXPECT_TRUE(written || refused);
    EXPECT_TRUE(readsAs(written ? kText : L"old"));
    return refused;
  });
#if defined(_WIN32)
  ::RegDeleteTreeW(HKEY_CURRENT_USER, (L"Software\\Velta\\" + application).c_str());
#endif
}

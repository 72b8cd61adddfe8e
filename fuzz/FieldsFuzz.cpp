// SPDX-License-Identifier: MIT
// Any text in place of described fields: what was read is written and read back the same.
#include "fuzz/FuzzInput.h"
#include "tests/serialisation/ManyFields.h"
#include "velta/serialisation/MInFilerTaggedXml.h"
#include "velta/serialisation/MOutFilerTaggedXml.h"

#include <cstddef>
#include <cstdint>

namespace {

MString AsXml(const ManyFields& fields) {
  MOutFilerTaggedXml filer(L"r", L"");
  WriteFields(filer, fields);
  MString text;
  Require(filer.GetText(&text));
  return text;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  MInFilerTaggedXml filer(FuzzInput(data, size).Text(), L"r", L"");
  ManyFields fields;
  Velta::FieldProblems problems;
  ReadFields(filer, fields, problems);
  Require(problems.size() <= 100);

  const MString text = AsXml(fields);
  MInFilerTaggedXml again(text, L"r", L"");
  Require(again.HasDocument());
  ManyFields back;
  ReadFields(again, back);
  Require(AsXml(back) == text);
  return 0;
}

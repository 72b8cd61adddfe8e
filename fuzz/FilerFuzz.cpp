// SPDX-License-Identifier: MIT
// Any text in place of settings: every read gives a value or its default.
#include "fuzz/FuzzInput.h"
#include "velta/serialisation/MInFilerTaggedXml.h"

#include <cstddef>
#include <cstdint>

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  std::uint8_t reads[16];
  for (std::uint8_t& read : reads) {
    read = input.Byte();
  }
  MInFilerTaggedXml filer(input.Text(), L"r", L"");
  for (const std::uint8_t read : reads) {
    const MString tag(1, static_cast<wchar_t>(L'a' + read / 16));
    MString text;
    char character = 'x';
    double number = 0.0;
    float narrow = 0.0f;
    bool flag = false;
    std::uint8_t byte = 0;
    std::uint16_t unsignedShort = 0;
    std::int16_t signedShort = 0;
    std::uint32_t unsignedInt = 0;
    std::int32_t signedInt = 0;
    switch (read % 13) {
      case 0:
        Require(filer.ReadString(tag, &text, L"default") || text == L"default");
        break;
      case 1:
        Require(filer.ReadChar(tag, &character, 'y') || character == 'y');
        break;
      case 2:
        Require(filer.ReadDouble(tag, &number, 2.5) || number == 2.5);
        break;
      case 3:
        Require(filer.ReadFloat(tag, &narrow, 2.5f) || narrow == 2.5f);
        break;
      case 4:
        Require(filer.ReadBool(tag, &flag, true) || flag);
        break;
      case 5:
        Require(filer.ReadByte(tag, &byte, std::uint8_t{7}) || byte == 7);
        break;
      case 6:
        Require(filer.ReadUnsignedShort(tag, &unsignedShort, std::uint16_t{7}) ||
                unsignedShort == 7);
        break;
      case 7:
        Require(filer.ReadShort(tag, &signedShort, std::int16_t{-7}) || signedShort == -7);
        break;
      case 8:
        Require(filer.ReadUnsignedInt(tag, &unsignedInt, 7u) || unsignedInt == 7);
        break;
      case 9:
        Require(filer.ReadInt(tag, &signedInt, -7) || signedInt == -7);
        break;
      case 10:
        static_cast<void>(filer.BeginGroup(tag));
        break;
      case 11:
        static_cast<void>(filer.EndGroup());
        break;
      default:
        Require(filer.ReadEmbeddedDocument(tag, &text) || text.empty());
        break;
    }
  }
  return 0;
}

// SPDX-License-Identifier: MIT
#include "velta/serialisation/MOutFilerTaggedXml.h"

#include "velta/logging/ClassNameRegistration.h"
#include "velta/serialisation/internal/ValueTypes.h"
#include "velta/serialisation/internal/XmlDeclaration.h"
#include "velta/text/internal/DecimalText.h"
#include "velta/text/internal/ScientificText.h"
#include "velta/xml/MXmlDocument.h"
#include "velta/xml/internal/DocumentAccess.h"

#include <memory>

using Velta::Xml::DocumentAccess;
using namespace Velta::Serialisation;

namespace {

const wchar_t ClassName[] = L"MOutFilerTaggedXml";
const Velta::Logging::ClassNameRegistration registration(ClassName);

}  // namespace

MOutFilerTaggedXml::MOutFilerTaggedXml(const MString& rootName, const MString& namespaceText)
    : document_(std::make_unique<MXmlDocument>()), numberLocale_(MLocale::GetClassic()) {
  const bool begun = AddXmlDeclaration(*document_) && document_->AddElement(rootName) &&
                     (namespaceText.empty() || document_->SetAttribute(L"xmlns", namespaceText)) &&
                     document_->IntoElement();
  if (!begun) {
    document_.reset();
  }
}

MOutFilerTaggedXml::~MOutFilerTaggedXml() = default;

bool MOutFilerTaggedXml::WriteValue(const MString& tag, std::wstring_view type,
                                    std::wstring_view text) {
  return document_ != nullptr && DocumentAccess::AddElementWithAttribute(
                                     *document_, tag, ValueTypes::kAttribute, type, text);
}

template <class T>
bool MOutFilerTaggedXml::WriteInteger(const MString& tag, std::wstring_view type, T value) {
  Velta::Text::FormatDecimal(value, scratch_);
  return WriteValue(tag, type, scratch_);
}

bool MOutFilerTaggedXml::WriteFloating(const MString& tag, double value, int digitsAfterPoint) {
  Velta::Text::FormatScientific(numberLocale_, value, digitsAfterPoint, scratch_);
  return WriteValue(tag, ValueTypes::kFloat, scratch_);
}

bool MOutFilerTaggedXml::WriteChar(const MString& tag, char value) {
  const wchar_t character = static_cast<unsigned char>(value);
  return WriteValue(tag, ValueTypes::kChar, std::wstring_view(&character, 1));
}

bool MOutFilerTaggedXml::WriteString(const MString& tag, const MString& value) {
  return WriteValue(tag, ValueTypes::kString, value);
}

bool MOutFilerTaggedXml::WriteDouble(const MString& tag, double value) {
  return WriteFloating(tag, value, 15);
}

bool MOutFilerTaggedXml::WriteFloat(const MString& tag, float value) {
  return WriteFloating(tag, value, 8);
}

bool MOutFilerTaggedXml::WriteBool(const MString& tag, bool value) {
  return WriteValue(tag, ValueTypes::kBool, value ? L"1" : L"0");
}

bool MOutFilerTaggedXml::WriteByte(const MString& tag, std::uint8_t value) {
  return WriteInteger(tag, ValueTypes::kByte, static_cast<unsigned>(value));
}

bool MOutFilerTaggedXml::WriteUnsignedShort(const MString& tag, std::uint16_t value) {
  return WriteInteger(tag, ValueTypes::kUnsigned, value);
}

bool MOutFilerTaggedXml::WriteShort(const MString& tag, std::int16_t value) {
  return WriteInteger(tag, ValueTypes::kSigned, value);
}

bool MOutFilerTaggedXml::WriteUnsignedInt(const MString& tag, std::uint32_t value) {
  return WriteInteger(tag, ValueTypes::kUnsigned, value);
}

bool MOutFilerTaggedXml::WriteInt(const MString& tag, std::int32_t value) {
  return WriteInteger(tag, ValueTypes::kSigned, value);
}

bool MOutFilerTaggedXml::BeginGroup(const MString& tag) {
  if (document_ == nullptr || !document_->AddElement(tag) || !document_->IntoElement()) {
    return false;
  }
  ++depth_;
  return true;
}

bool MOutFilerTaggedXml::EndGroup() {
  if (document_ == nullptr || depth_ == 0 || !document_->OutOfElement()) {
    return false;
  }
  --depth_;
  return true;
}

bool MOutFilerTaggedXml::WriteEmbeddedDocument(const MString& tag, const MString& xml) {
  return document_ != nullptr && DocumentAccess::AddElementWithDocument(*document_, tag, xml);
}

bool MOutFilerTaggedXml::GetText(MString* text) const {
  if (document_ == nullptr) {
    return false;
  }
  *text = document_->GetText();
  return true;
}

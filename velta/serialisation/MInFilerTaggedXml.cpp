// SPDX-License-Identifier: MIT
#include "velta/serialisation/MInFilerTaggedXml.h"

#include "velta/logging/ClassNameRegistration.h"
#include "velta/serialisation/internal/ValueTypes.h"
#include "velta/serialisation/internal/XmlDeclaration.h"
#include "velta/text/NumberText.h"
#include "velta/text/internal/IntegerScan.h"
#include "velta/xml/MXmlDocument.h"
#include "velta/xml/internal/DocumentAccess.h"

#include <memory>
#include <new>
#include <optional>
#include <utility>

using Velta::Xml::DocumentAccess;
using namespace Velta::Serialisation;

namespace {

const wchar_t ClassName[] = L"MInFilerTaggedXml";
const Velta::Logging::ClassNameRegistration registration(ClassName);

/// Restores the position at the end of its scope unless the read succeeded.
class ReadAttempt {
 public:
  explicit ReadAttempt(MXmlDocument& document) : document_(document) { document.SavePosition(); }
  ReadAttempt(const ReadAttempt&) = delete;
  ReadAttempt& operator=(const ReadAttempt&) = delete;
  ~ReadAttempt() {
    if (!succeeded_) {
      static_cast<void>(document_.RestorePosition());
    }
  }

  bool EndsWith(bool result) noexcept { return succeeded_ = result; }

 private:
  MXmlDocument& document_;
  bool succeeded_ = false;
};

using Fault = MInFilerTaggedXml::Fault;
using FaultKind = MInFilerTaggedXml::FaultKind;

/// Parses a document and enters its root element.
/// @return what prevented that
Fault Enter(MXmlDocument& document, const MString& text, const MString& expectedRootName,
            const MString& expectedNamespace) {
  Fault fault;
  if (!document.SetText(text)) {
    if (document.HasRunOutOfMemory()) {
      throw std::bad_alloc();
    }
    fault = {FaultKind::kText, document.GetErrorText(), document.GetErrorOffset()};
  } else if (!document.FindElement() || document.GetTagName() != expectedRootName) {
    fault = {FaultKind::kRoot, L"Root element is not '" + expectedRootName + L"'",
             document.GetOffset()};
  } else if (!expectedNamespace.empty() && document.GetAttribute(L"xmlns") != expectedNamespace) {
    fault = {FaultKind::kNamespace, L"Namespace is not '" + expectedNamespace + L"'",
             document.GetOffset()};
  } else {
    static_cast<void>(document.IntoElement());
  }
  if (fault.offset >= 0) {
    document.GetLineAndColumn(fault.offset, &fault.line, &fault.column);
  }
  return fault;
}

}  // namespace

MInFilerTaggedXml::MInFilerTaggedXml(const MString& text, const MString& expectedRootName,
                                     const MString& expectedNamespace)
    : numberLocale_(MLocale::GetClassic()) {
  try {
    auto parsed = std::make_unique<MXmlDocument>();
    fault_ = Enter(*parsed, text, expectedRootName, expectedNamespace);
    if (fault_.kind == FaultKind::kNone) {
      document_ = std::move(parsed);
    }
  } catch (const std::bad_alloc&) {
    fault_.kind = FaultKind::kMemory;  // nothing has been assigned to the rest
  }
}

MInFilerTaggedXml::~MInFilerTaggedXml() = default;

template <class Convert>
bool MInFilerTaggedXml::ReadValue(const MString& tag, std::wstring_view type, Convert convert) {
  if (document_ == nullptr) {
    return false;
  }
  const std::optional<std::wstring_view> data =
      DocumentAccess::PeekData(*document_, tag, ValueTypes::kAttribute, type, scratch_);
  return data.has_value() && convert(*data) && document_->FindElement();
}

template <class T>
bool MInFilerTaggedXml::ReadInteger(const MString& tag, std::wstring_view type, T* value,
                                    T defaultValue) {
  *value = defaultValue;
  return ReadValue(tag, type, [&](std::wstring_view data) {
    const std::optional<T> number = Velta::Text::ScanInteger<T>(data);
    *value = number.value_or(defaultValue);
    return number.has_value();
  });
}

bool MInFilerTaggedXml::ReadString(const MString& tag, MString* value,
                                   const MString& defaultValue) {
  *value = defaultValue;
  return ReadValue(tag, ValueTypes::kString, [&](std::wstring_view data) {
    value->assign(data);
    return true;
  });
}

bool MInFilerTaggedXml::ReadChar(const MString& tag, char* value, char defaultValue) {
  *value = defaultValue;
  return ReadValue(tag, ValueTypes::kChar, [&](std::wstring_view data) {
    if (data.empty() || static_cast<std::uint32_t>(data[0]) > 0xFF) {
      return false;
    }
    *value = static_cast<char>(static_cast<unsigned char>(data[0]));
    return true;
  });
}

bool MInFilerTaggedXml::ReadDouble(const MString& tag, double* value, double defaultValue) {
  *value = defaultValue;
  return ReadValue(tag, ValueTypes::kFloat, [&](std::wstring_view data) {
    double number = 0.0;
    if (!ParseDouble(numberLocale_, scratch_.assign(data), &number)) {
      return false;
    }
    *value = number;
    return true;
  });
}

bool MInFilerTaggedXml::ReadFloat(const MString& tag, float* value, float defaultValue) {
  *value = defaultValue;
  double number = 0.0;
  const bool read = ReadDouble(tag, &number, 0.0);
  if (read) {
    *value = static_cast<float>(number);
  }
  return read;
}

bool MInFilerTaggedXml::ReadBool(const MString& tag, bool* value, bool defaultValue) {
  *value = defaultValue;
  std::int32_t number = 0;
  const bool read = ReadInteger<std::int32_t>(tag, ValueTypes::kBool, &number, 0);
  if (read) {
    *value = number != 0;
  }
  return read;
}

bool MInFilerTaggedXml::ReadByte(const MString& tag, std::uint8_t* value,
                                 std::uint8_t defaultValue) {
  return ReadInteger(tag, ValueTypes::kByte, value, defaultValue);
}

bool MInFilerTaggedXml::ReadUnsignedShort(const MString& tag, std::uint16_t* value,
                                          std::uint16_t defaultValue) {
  return ReadInteger(tag, ValueTypes::kUnsigned, value, defaultValue);
}

bool MInFilerTaggedXml::ReadShort(const MString& tag, std::int16_t* value,
                                  std::int16_t defaultValue) {
  return ReadInteger(tag, ValueTypes::kSigned, value, defaultValue);
}

bool MInFilerTaggedXml::ReadUnsignedInt(const MString& tag, std::uint32_t* value,
                                        std::uint32_t defaultValue) {
  return ReadInteger(tag, ValueTypes::kUnsigned, value, defaultValue);
}

bool MInFilerTaggedXml::ReadInt(const MString& tag, std::int32_t* value,
                                std::int32_t defaultValue) {
  return ReadInteger(tag, ValueTypes::kSigned, value, defaultValue);
}

bool MInFilerTaggedXml::FindGroup(const MString& tag) {
  while (document_->FindElement(tag)) {
    // What has a type is a value of the same name.
    if (!document_->GetAttribute(ValueTypes::kAttribute, nullptr)) {
      return true;
    }
  }
  return false;
}

bool MInFilerTaggedXml::BeginGroup(const MString& tag) {
  if (document_ == nullptr) {
    return false;
  }
  ReadAttempt attempt(*document_);
  if (!attempt.EndsWith(FindGroup(tag) && document_->IntoElement())) {
    return false;
  }
  ++depth_;
  return true;
}

bool MInFilerTaggedXml::EndGroup() {
  if (document_ == nullptr || depth_ == 0 || !document_->OutOfElement()) {
    return false;
  }
  --depth_;
  return true;
}

bool MInFilerTaggedXml::ReadEmbeddedDocument(const MString& tag, MString* xml) {
  xml->clear();
  if (document_ == nullptr) {
    return false;
  }
  ReadAttempt attempt(*document_);
  MXmlDocument embedded;
  if (!FindGroup(tag) || !AddXmlDeclaration(embedded) || !embedded.AddElement(L"MFilerTaggedXml") ||
      !embedded.AddChildDocument(document_->GetNodeText())) {
    return false;
  }
  *xml = embedded.GetText();
  return attempt.EndsWith(true);
}

// SPDX-License-Identifier: MIT
#pragma once

#include "velta/errors/MDynObject.h"
#include "velta/errors/MErrorParameter.h"
#include "velta/platform/Api.h"
#include "velta/text/MString.h"
#include "velta/text/TextOf.h"

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <map>
#include <type_traits>

class IInFilerTagged;
class IOutFilerTagged;

#pragma push_macro("GetMessage")
#undef GetMessage
#pragma push_macro("GetClassInfo")
#undef GetClassInfo

VELTA_EXPORTS_BEGIN

/// One failure: which class, which operation, which condition, and named text parameters.
///
/// The identity is the code, class "." operation ":" error name, for example
/// MCommandProcessor.ExecuteSynchronously:WaitFailed. Errors are values: they are copied, never
/// shared, and travel inside an `MException`. Raise them through a flow point
/// (`MFlowPoint::Raise`), which builds the code and writes the log.
///
/// A class derived from this one in a file that includes windows.h must undefine the macros
/// `GetMessage` and `GetClassInfo` first: its overrides would get another name.
///
/// Threads: one at a time. Errors thrown by any operation that copies text: `std::bad_alloc`.
class VELTA_API MError : public MDynObject {
 public:
  static const MClassInfo ClassInfo;

  /// No code, no parameters.
  MError();
  explicit MError(const MString& code);
  MError(const MError& other);
  MError& operator=(const MError& other);
  ~MError() override;

  const MClassInfo& GetClassInfo() const noexcept override;
  MError* Clone() const noexcept override;
  MError* CreateNew() const noexcept override;

  /// Replaces this error by the next child element named `tag`.
  ///
  /// Parameters are read up to the first that is incomplete; of two under one name the first stays.
  /// Over XML an incomplete one leaves `filer` one level inside this error's element, so that
  /// nothing after it is found.
  /// @return false when there is no such element, when it holds no "Code" (this error is then
  ///         empty), or when the filer cannot leave it
  [[nodiscard]] virtual bool Read(IInFilerTagged& filer, const MString& tag);

  /// Writes this error as a child element named `tag`: its "Code", then one "Parameter" element
  /// with "Name" and "Value" for each parameter, in ascending order of the names.
  ///
  /// @return whether everything was written; an element once begun is ended in any case
  [[nodiscard]] virtual bool Write(IOutFilerTagged& filer, const MString& tag) const;

  /// What to show a person: the code, or "Unspecified error" when there is none.
  virtual MString GetMessage() const;

  /// The errors that led to this one, as the text of an XML document with the root element
  /// "ExceptionChain"; empty when there are none. A class that wraps another component's error
  /// overrides it.
  virtual MString GetCauseChain() const;

  const MString& GetCode() const noexcept { return code_; }

  /// All parameters, ordered by name.
  const std::map<MString, MString>& GetParameters() const noexcept { return parameters_; }

  /// Adds a named text. A name that is there already keeps its first value, and the new one is
  /// dropped. A null name is an empty one.
  void AddParameter(const wchar_t* name, const MString& value);

  /// The same with a number, as signed decimal text.
  void AddParameter(const wchar_t* name, std::int32_t value);

  /// The same, as unsigned decimal text or as eight hexadecimal digits and "h" (0000002ah).
  void AddParameter(const wchar_t* name, std::uint32_t value, bool hexadecimal);

  /// The same with another integer: a negative one keeps its sign, or shows its bits; one of 64
  /// bits has sixteen hexadecimal digits.
  template <std::integral Number>
    requires(!Velta::Character<Number> && !std::same_as<Number, std::uint32_t>)
  void AddParameter(const wchar_t* name, Number value, bool hexadecimal) {
    if (!hexadecimal) {
      AddParameter(name, value);
    } else if constexpr (sizeof(Number) > sizeof(std::uint32_t)) {
      AddHexadecimal(name, static_cast<std::uint64_t>(value));
    } else {
      AddParameter(name, static_cast<std::uint32_t>(value), true);
    }
  }

  /// The same with any value that has a text (`Velta::TextOf`): a number is never changed.
  template <Velta::HasText Value>
  void AddParameter(const wchar_t* name, const Value& value) {
    AddParameter(MErrorParameter(name, value));
  }

  /// Does not compile: a character may mean a number or a text, and a `long double` would be cut.
  template <class Value>
    requires(std::is_arithmetic_v<Value> && !Velta::HasText<Value>)
  void AddParameter(const wchar_t* name, Value value) = delete;
  void AddParameter(const wchar_t* name, std::nullptr_t value) = delete;

  /// The same with a parameter made elsewhere, and what belongs to it.
  void AddParameter(const MErrorParameter& parameter);

#if defined(_WIN32)
  MString GetMessageA() const { return GetMessage(); }
  MString GetMessageW() const { return GetMessage(); }
#endif

 private:
  void AddHexadecimal(const wchar_t* name, std::uint64_t value);
  void Insert(MString&& name, MString&& value);
  void ReadParameters(IInFilerTagged& filer);

  MString code_;
  std::map<MString, MString> parameters_;
};

/// Memory ran out. It carries nothing, so that little can fail while it is raised.
class VELTA_API MErrorOutOfMemory : public MError {
 public:
  static const MClassInfo ClassInfo;

  MErrorOutOfMemory();
  MErrorOutOfMemory(const MErrorOutOfMemory& other);
  MErrorOutOfMemory& operator=(const MErrorOutOfMemory& other);
  ~MErrorOutOfMemory() override;

  const MClassInfo& GetClassInfo() const noexcept override;
  MErrorOutOfMemory* Clone() const noexcept override;
  MErrorOutOfMemory* CreateNew() const noexcept override;

  /// "Out of memory", whatever the code holds.
  MString GetMessage() const override;

  /// Throws an `MException` that holds one of these, or a null entry when there is no memory for
  /// its clone; `std::bad_alloc` if not even that can be had.
  [[noreturn]] static void Throw();
};

VELTA_EXPORTS_END

// Kinds that exist as records only, for hosts that sort errors by record.
VELTA_API extern const MClassInfo MErrorInternal;
VELTA_API extern const MClassInfo MErrorDivisionByZero;
VELTA_API extern const MClassInfo MErrorBadInput;
VELTA_API extern const MClassInfo MErrorUserEscape;

#pragma pop_macro("GetClassInfo")
#pragma pop_macro("GetMessage")

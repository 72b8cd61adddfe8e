// SPDX-License-Identifier: MIT
#pragma once

#include "velta/errors/MError.h"
#include "velta/platform/Api.h"
#include "velta/text/MString.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

class IInFilerTagged;
class IInFilerTaggedRegistry;
class IOutFilerTagged;
class MXmlDocument;

namespace Velta {

/// What kept fields from being read: an error for each, see `ReadFields`.
using FieldProblems = std::vector<MError>;

namespace Serialisation {

/// What `Read`, `Write` and described fields need of a filer beyond its operations. Not for hosts.
///
/// A filer of a host's own has its operations only: its fields are found in their order.
class VELTA_API FieldAccess {
 public:
  /// Whether the group holds a value or group of that name, wherever it stands; an XML filer then
  /// stands before it.
  [[nodiscard]] static bool Find(IInFilerTagged& filer, const MString& tag);

  /// As `BeginGroup`, but false for a key that does not exist.
  [[nodiscard]] static bool BeginGroup(IInFilerTagged& filer, const MString& tag);

  /// Goes to the first value of the group.
  static void Rewind(IInFilerTagged& filer);

  /// The groups and values that have none of these names, as XML, one by one; none but over XML.
  [[nodiscard]] static std::vector<MString> TakeOthers(IInFilerTagged& filer,
                                                       const std::vector<std::wstring_view>& names);

  /// Writes what `TakeOthers` took; without an effect, and true, but over XML.
  [[nodiscard]] static bool WriteOthers(IOutFilerTagged& filer, const std::vector<MString>& others);

  /// Says that a field is there, but is no such value, or is not there though it must be.
  static void AddProblem(FieldProblems& problems, IInFilerTagged& filer, const MString& tag,
                         bool isThere);

  /// Says that a field has a value that it may not have.
  static void AddNotAllowed(FieldProblems& problems, IInFilerTagged& filer, const MString& tag,
                            const MString& value, const MString& allowed);

  [[noreturn]] static void RaiseProblems(const FieldProblems& problems);
  [[noreturn]] static void RaiseNotStored(const MString& tag);
  [[noreturn]] static void RaiseNotAllowed(const MString& tag, const MString& value,
                                           const MString& allowed);

  /// The number of a registry's value of that type; nothing when there is none.
  [[nodiscard]] static std::optional<std::uint32_t> ReadDword(IInFilerTaggedRegistry& filer,
                                                              const MString& tag);

 private:
  static MXmlDocument* DocumentOf(const IInFilerTagged& filer) noexcept;
  static void AddPlace(MError& error, IInFilerTagged& filer, const MString& tag);
};

/// How integers are stored: those of up to 32 bits as such, longer ones as text. Every reading
/// operation takes both, and any width.
VELTA_API bool WriteLong(IOutFilerTagged& filer, const MString& tag, std::int64_t value);
VELTA_API bool WriteLong(IOutFilerTagged& filer, const MString& tag, std::uint64_t value);
VELTA_API std::optional<std::int64_t> ReadSigned(IInFilerTagged& filer, const MString& tag,
                                                 std::size_t size);
VELTA_API std::optional<std::uint64_t> ReadUnsigned(IInFilerTagged& filer, const MString& tag,
                                                    std::size_t size);
VELTA_API std::optional<bool> ReadTruth(IInFilerTagged& filer, const MString& tag);
VELTA_API std::optional<char> ReadCharacter(IInFilerTagged& filer, const MString& tag);

/// Doubles and floats bit for bit, as text.
VELTA_API MString ExactText(double value);
VELTA_API MString ExactText(float value);
VELTA_API bool ParseExact(std::wstring_view text, double& value);
VELTA_API bool ParseExact(std::wstring_view text, float& value);
VELTA_API bool ReadExact(IInFilerTagged& filer, const MString& tag, double& value);
VELTA_API bool ReadExact(IInFilerTagged& filer, const MString& tag, float& value);

/// A whole decimal number, with a minus sign at most; nothing for any other text.
VELTA_API std::optional<std::int64_t> ParseSigned(std::wstring_view text) noexcept;
VELTA_API std::optional<std::uint64_t> ParseUnsigned(std::wstring_view text) noexcept;

VELTA_API std::optional<MString> ReadText(IInFilerTagged& filer, const MString& tag);
VELTA_API std::optional<std::string> ReadUtf8(IInFilerTagged& filer, const MString& tag);

/// Bytes as hexadecimal digits.
VELTA_API bool WriteBytes(IOutFilerTagged& filer, const MString& tag, const std::byte* bytes,
                          std::size_t count);
VELTA_API std::optional<std::vector<std::byte>> ReadBytes(IInFilerTagged& filer,
                                                          const MString& tag);

/// The tag of an item: "Item" and its number.
VELTA_API void NameItem(MString& tag, std::wstring_view what, std::uint32_t index);

}  // namespace Serialisation
}  // namespace Velta

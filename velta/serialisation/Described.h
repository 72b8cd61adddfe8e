// SPDX-License-Identifier: MIT
#pragma once

#include "velta/serialisation/Checks.h"
#include "velta/serialisation/FieldAccess.h"
#include "velta/serialisation/IInFilerTagged.h"
#include "velta/serialisation/IOutFilerTagged.h"
#include "velta/serialisation/Values.h"
#include "velta/text/MString.h"
#include "velta/text/TextOf.h"

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

namespace Velta {

/// What a description is given. A type names its fields once, in a template that gets one object
/// for writing and another for reading:
///
/// ```cpp
/// struct Settings {
///   std::uint32_t threads = 4;
///   MString title = L"Untitled";
///   std::vector<MString> recent;
///   Velta::OtherFields others;
///
///   static void Describe(auto& field) {
///     field.Version(2, &Settings::Migrate);
///     field(L"Threads", &Settings::threads, Velta::Between(1, 64));
///     field(L"Title", &Settings::title);
///     field(L"Recent", &Settings::recent);
///     field.KeepOthers(&Settings::others);
///   }
///   static void Migrate(Settings& settings, std::uint32_t from, IInFilerTagged& filer);
/// };
/// ```
///
/// - `field(name, member, checks...)`: a field of a type that `Write` takes, in the order of
///   writing. Checks are `Between`, `LengthUpTo`, `Where` and `Required`.
/// - `field.Version(number, migrate)`: stored as "Version". When an older one is read, or none (0),
///   `migrate` is called after the fields, with the filer before the first of them. First, if any.
/// - `field.KeepOthers(member)`: what a document holds beside these fields is kept and written
///   again after them, with its version if that is newer. Over the registry it stays where it is.
///
/// For a type that cannot have a member `Describe`, specialise `Description`, with the same static
/// template.
template <class T>
struct Description {
  template <class Fields>
  static void Describe(Fields& fields)
    requires requires { T::Describe(fields); }
  {
    T::Describe(fields);
  }
};

/// Reads what an older version has stored otherwise.
template <class T>
using Migration = void (*)(T& value, std::uint32_t from, IInFilerTagged& filer);

namespace Serialisation {

/// Only to ask whether a type has a description.
struct FieldProbe {};

inline const wchar_t kVersionTag[] = L"Version";

/// What an error shows of a value.
template <class T>
MString ShownText(const T& value) {
  if constexpr (HasText<T>) {
    return TextOf<T>::Make(value);
  } else {
    return MString();
  }
}

template <class>
class FieldNames;
template <class>
class FieldReader;
template <class>
class FieldWriter;

}  // namespace Serialisation

/// The fields of a newer version, which an older program keeps for it: see `Fields`.
class OtherFields {
 public:
  [[nodiscard]] bool IsEmpty() const noexcept { return elements_.empty(); }

  bool operator==(const OtherFields&) const = default;

 private:
  template <class>
  friend class Serialisation::FieldNames;
  template <class>
  friend class Serialisation::FieldReader;
  template <class>
  friend class Serialisation::FieldWriter;

  std::uint32_t version_ = 0;
  std::vector<MString> elements_;
};

template <class T>
concept Described = requires(Serialisation::FieldProbe& probe) { Description<T>::Describe(probe); };

namespace Serialisation {

/// Collects the names of the fields, if asked, and the version to be written.
template <class Object>
class FieldNames {
 public:
  FieldNames(const Object& object, std::vector<std::wstring_view>* names)
      : object_(object), names_(names) {
    Description<Object>::Describe(*this);
  }

  template <class Value, class Owner, class... Checks>
  void operator()(const wchar_t* name, Value Owner::* /*member*/, const Checks&... /*checks*/) {
    if (names_ != nullptr) {
      names_->emplace_back(name);
    }
  }
  void Version(std::uint32_t number, Migration<Object> /*migrate*/ = nullptr) {
    version_ = (std::max)(version_, number);
    if (names_ != nullptr) {
      names_->emplace_back(kVersionTag);
    }
  }
  template <class Owner>
  void KeepOthers(OtherFields Owner::* member) {
    version_ = (std::max)(version_, (object_.*member).version_);
  }

  [[nodiscard]] std::uint32_t GetVersion() const noexcept { return version_; }

 private:
  const Object& object_;
  std::vector<std::wstring_view>* names_;
  std::uint32_t version_ = 0;
};

/// Writes the fields until one cannot be stored.
template <class Object>
class FieldWriter {
 public:
  FieldWriter(IOutFilerTagged& filer, const Object& object) : filer_(filer), object_(object) {
    Description<Object>::Describe(*this);
    if (stored_ && others_ != nullptr) {
      tag_.clear();
      stored_ = FieldAccess::WriteOthers(filer_, others_->elements_);
    }
  }

  template <class Value, class Owner, class... Checks>
  void operator()(const wchar_t* name, Value Owner::* member, const Checks&... checks) {
    if (!stored_) {
      return;
    }
    tag_.assign(name);
    const Value& value = object_.*member;
    (Check(value, checks), ...);
    stored_ = ValueOf<Value>::Write(filer_, tag_, value);
  }
  void Version(std::uint32_t /*number*/, Migration<Object> /*migrate*/ = nullptr) {
    const FieldNames<Object> names(object_, nullptr);
    tag_.assign(kVersionTag);
    stored_ = stored_ && filer_.WriteUnsignedInt(tag_, names.GetVersion());
  }
  template <class Owner>
  void KeepOthers(OtherFields Owner::* member) {
    others_ = &(object_.*member);
  }

  [[nodiscard]] bool IsStored() const noexcept { return stored_; }

  /// The field that could not be stored.
  [[nodiscard]] const MString& GetTag() const noexcept { return tag_; }

 private:
  template <class Value, class CheckOf>
  void Check(const Value& value, const CheckOf& check) const {
    if constexpr (!std::same_as<CheckOf, Required>) {
      if (!check.Accepts(value)) {
        FieldAccess::RaiseNotAllowed(tag_, ShownText(value), check.GetText());
      }
    }
  }

  IOutFilerTagged& filer_;
  const Object& object_;
  const OtherFields* others_ = nullptr;
  MString tag_;
  bool stored_ = true;
};

/// Reads the fields; what cannot be read, or is not allowed, is left as it was and said.
template <class Object>
class FieldReader {
 public:
  FieldReader(IInFilerTagged& filer, Object& object, FieldProblems& problems)
      : filer_(filer), object_(object), problems_(problems) {
    Description<Object>::Describe(*this);
    if (others_ != nullptr) {
      KeepOthers(*others_);
    }
    if (migrate_ != nullptr && storedVersion_ < version_) {
      FieldAccess::Rewind(filer_);
      migrate_(object_, storedVersion_, filer_);
    }
  }

  template <class Value, class Owner, class... Checks>
  void operator()(const wchar_t* name, Value Owner::* member, const Checks&... checks) {
    tag_.assign(name);
    Value& value = object_.*member;
    if constexpr (sizeof...(Checks) == 0) {
      ReadTagged(value, false);
    } else {
      Value read = value;
      if (ReadTagged(read, (std::same_as<Checks, Required> || ...)) &&
          (Check(read, checks) && ...)) {
        value = std::move(read);
      }
    }
  }
  void Version(std::uint32_t number, Migration<Object> migrate = nullptr) {
    tag_.assign(kVersionTag);
    version_ = number;
    migrate_ = migrate;
    if (!ReadTagged(storedVersion_, false) && FieldAccess::Find(filer_, tag_)) {
      storedVersion_ = number;  // nobody can tell: nothing is migrated, nor given up
    }
  }
  template <class Owner>
  void KeepOthers(OtherFields Owner::* member) {
    others_ = &(object_.*member);
  }

 private:
  template <class Value>
  bool ReadTagged(Value& value, bool isRequired) {
    const std::size_t known = problems_.size();
    if (ReadNested(filer_, tag_, value, &problems_)) {
      return true;
    }
    problems_.resize(known);
    const bool isThere = FieldAccess::Find(filer_, tag_);
    if (isThere && ReadNested(filer_, tag_, value, &problems_)) {
      return true;
    }
    problems_.resize(known);
    if (isThere || isRequired) {
      FieldAccess::AddProblem(problems_, filer_, tag_, isThere);
    }
    return false;
  }

  template <class Value, class CheckOf>
  bool Check(const Value& value, const CheckOf& check) {
    if constexpr (std::same_as<CheckOf, Required>) {
      return true;
    } else {
      const bool accepted = check.Accepts(value);
      if (!accepted) {
        FieldAccess::AddNotAllowed(problems_, filer_, tag_, ShownText(value), check.GetText());
      }
      return accepted;
    }
  }

  /// What an older version stored is for the migration, or obsolete.
  void KeepOthers(OtherFields& others) {
    others = OtherFields();
    if (storedVersion_ >= version_) {
      std::vector<std::wstring_view> names;
      FieldNames<Object>(object_, &names);
      others.version_ = storedVersion_;
      others.elements_ = FieldAccess::TakeOthers(filer_, names);
    }
  }

  IInFilerTagged& filer_;
  Object& object_;
  FieldProblems& problems_;
  OtherFields* others_ = nullptr;
  Migration<Object> migrate_ = nullptr;
  std::uint32_t version_ = 0;
  std::uint32_t storedVersion_ = 0;
  MString tag_;
};

}  // namespace Serialisation

/// A type that describes its fields is stored as a group.
template <Described T>
struct ValueOf<T> {
  static bool Write(IOutFilerTagged& filer, const MString& tag, const T& value) {
    return Serialisation::WriteGroup(
        filer, tag, [&] { return Serialisation::FieldWriter<T>(filer, value).IsStored(); });
  }

  /// False when any field is wrong.
  static bool Read(IInFilerTagged& filer, const MString& tag, T& value) {
    T read = value;
    FieldProblems problems;
    if (!Read(filer, tag, read, &problems) || !problems.empty()) {
      return false;
    }
    value = std::move(read);
    return true;
  }

  /// Fields that are wrong are left as they were, and said.
  static bool Read(IInFilerTagged& filer, const MString& tag, T& value, FieldProblems* problems) {
    if (problems == nullptr) {
      return Read(filer, tag, value);
    }
    return Serialisation::ReadGroup(filer, tag, [&] {
      Serialisation::FieldReader<T>(filer, value, *problems);
      return true;
    });
  }
};

}  // namespace Velta

/// Writes the fields of a described value into the group in which `filer` stands.
///
/// Errors: "Fields.Write:NotAllowed" with "field", "value" and "allowed", for a value that its own
/// checks refuse; "Fields.Write:NotStored" with "field" when the filer cannot store it; those of
/// the filer. What was written before stays.
template <Velta::Described T>
void WriteFields(IOutFilerTagged& filer, const T& value) {
  const Velta::Serialisation::FieldWriter<T> writer(filer, value);
  if (!writer.IsStored()) {
    Velta::Serialisation::FieldAccess::RaiseNotStored(writer.GetTag());
  }
}

/// Reads the fields of a described value from the group in which `filer` stands, in any order over
/// XML and the registry. A field that is missing is left as it is in `value`.
///
/// @param problems  receives an error for each field that is left as it is because it is there and
///                  wrong, or missing and `Required`: at most 100 in all.
///                  - "Fields.Read:Unreadable": of another type, or no such value;
///                  - "Fields.Read:NotAllowed", with "value" and "allowed": a check refuses it;
///                  - "Fields.Read:Missing".
///                  Each has "field", the path of the groups and the field, and where it stands:
///                  "line" and "column" in a document, "key" in the registry
///
/// Errors: those of the filer.
template <Velta::Described T>
void ReadFields(IInFilerTagged& filer, T& value, Velta::FieldProblems& problems) {
  Velta::Serialisation::FieldReader<T>(filer, value, problems);
}

/// The same, all or nothing.
///
/// Errors: the first problem, with "problems", their number, when there are more; `value` is then
/// left as it was. And those of the filer.
template <Velta::Described T>
void ReadFields(IInFilerTagged& filer, T& value) {
  T read = value;
  Velta::FieldProblems problems;
  ReadFields(filer, read, problems);
  if (!problems.empty()) {
    Velta::Serialisation::FieldAccess::RaiseProblems(problems);
  }
  value = std::move(read);
}

/// Reads a value wherever it stands in its group: what a migration reads of an older version.
///
/// @return false, with `value` left as it is, when there is none
template <Velta::Readable T>
[[nodiscard]] bool ReadField(IInFilerTagged& filer, const MString& tag, T& value) {
  return Velta::Serialisation::FieldAccess::Find(filer, tag) && Read(filer, tag, value);
}

// SPDX-License-Identifier: MIT
#include "velta/settings/MSettingsFile.h"

#include "velta/errors/MError.h"
#include "velta/logging/ClassNameRegistration.h"
#include "velta/logging/MFlowPoint.h"
#include "velta/platform/internal/StorageCalls.h"
#include "velta/serialisation/MInFilerTaggedXml.h"
#include "velta/serialisation/MOutFilerTaggedXml.h"
#include "velta/settings/internal/Links.h"
#include "velta/text/StandardText.h"
#include "velta/text/Utf8.h"
#include "velta/xml/DecodeXml.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <new>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

namespace fs = std::filesystem;

using Velta::Platform::FileId;
using Velta::Platform::kNoFile;
using Velta::Platform::storageCalls;

namespace {

const wchar_t ClassName[] = L"MSettingsFile";
const Velta::Logging::ClassNameRegistration registration(ClassName);

using Characters = fs::path::string_type;

constexpr std::size_t kBlockBytes = 65536;
constexpr char kDraftMark[] = ".velta-";
constexpr char kDraftEnd[] = ".new";
constexpr std::size_t kDraftDigits = 16;

template <class Function>
Function Load(const std::atomic<Function>& call) noexcept {
  return call.load(std::memory_order_relaxed);
}

bool IsMissing(DWORD error) noexcept {
  return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

/// An open file, closed with its scope.
class OpenedFile {
 public:
  OpenedFile() = default;
  OpenedFile(const OpenedFile&) = delete;
  OpenedFile& operator=(const OpenedFile&) = delete;
  ~OpenedFile() { Close(); }

  void Close() noexcept {
    if (id != kNoFile) {
      Load(storageCalls.closeFile)(std::exchange(id, kNoFile));
    }
  }

  FileId id = kNoFile;
};

/// Calls again while another process may have the file for itself, for that long at most.
template <class Call>
DWORD CallPatiently(std::chrono::milliseconds patience, bool isDenialTemporary, Call call) {
  constexpr std::int64_t kLongestPauseMs = 50;
  std::int64_t leftMs = patience.count();
  for (std::int64_t pauseMs = 1;; pauseMs = (std::min)(2 * pauseMs, kLongestPauseMs)) {
    const DWORD error = call();
    const bool mayPass = error == ERROR_SHARING_VIOLATION || error == ERROR_LOCK_VIOLATION ||
                         error == ERROR_USER_MAPPED_FILE ||
                         (error == ERROR_ACCESS_DENIED && isDenialTemporary);
    if (!mayPass || leftMs <= 0) {
      return error;
    }
    pauseMs = (std::min)(pauseMs, leftMs);
    Load(storageCalls.pause)(static_cast<DWORD>(pauseMs));
    leftMs -= pauseMs;
  }
}

// ---- loading ------------------------------------------------------------------------------------

[[noreturn]] void RaiseFault(MFlowPoint& point, const fs::path& path,
                             const MInFilerTaggedXml::Fault& fault) {
  using Kind = MInFilerTaggedXml::FaultKind;
  if (fault.kind == Kind::kMemory) {
    throw std::bad_alloc();
  }
  const wchar_t* const name = fault.kind == Kind::kText   ? L"IllFormed"
                              : fault.kind == Kind::kRoot ? L"OtherRoot"
                                                          : L"OtherNamespace";
  MError error = point.MakeRootError(name, {{L"file", path}, {L"messages", fault.message}});
  if (fault.offset >= 0) {
    error.AddParameter(L"offset", fault.offset);
    error.AddParameter(L"line", fault.line);
    error.AddParameter(L"column", fault.column);
  }
  point.Throw(error);
}

// ---- saving -------------------------------------------------------------------------------------

/// What the steps of one save have in common.
struct Save {
  MFlowPoint& point;
  const fs::path& path;    // as the host knows it
  const fs::path& target;  // where its links lead
  std::chrono::milliseconds patience;

  [[noreturn]] void Fail(const wchar_t* name, DWORD error) const {
    point.Raise(name, {{L"file", path}, LastError(error), {L"stored", L"old"}});
  }

  void Require(DWORD error, const wchar_t* name) const {
    if (error != ERROR_SUCCESS) {
      Fail(name, error);
    }
  }
};

fs::path WithSuffix(const fs::path& path, const char* suffix) {
  fs::path result = path;
  result += suffix;
  return result;
}

/// Names differ from call to call, and nearly always from those of other processes.
fs::path DraftName(const fs::path& target) {
  static std::atomic<std::uint64_t> previous{0};
  LARGE_INTEGER counter{};
  ::QueryPerformanceCounter(&counter);
  std::uint64_t number = static_cast<std::uint64_t>(counter.QuadPart) << 20 ^
                         std::uint64_t{::GetCurrentThreadId()} << 44;
  number += previous.fetch_add(1, std::memory_order_relaxed);
  std::array<char, kDraftDigits + 1> digits;
  std::snprintf(digits.data(), digits.size(), "%016llx", static_cast<unsigned long long>(number));
  return WithSuffix(target, (std::string(kDraftMark) + digits.data() + kDraftEnd).c_str());
}

/// @param begin  of the names of a file's drafts
bool IsDraft(const Characters& name, const Characters& begin) {
  const Characters end = fs::path(kDraftEnd).native();
  const auto isDigit = [](fs::path::value_type c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f');
  };
  return name.size() == begin.size() + kDraftDigits + end.size() && name.starts_with(begin) &&
         name.ends_with(end) &&
         std::all_of(name.begin() + static_cast<std::ptrdiff_t>(begin.size()),
                     name.end() - static_cast<std::ptrdiff_t>(end.size()), isDigit);
}

/// What cannot be found or removed now is left to the next save.
void RemoveAbandoned(const fs::path& target) {
  const fs::path folder = target.parent_path();
  const Characters begin = WithSuffix(target.filename(), kDraftMark).native();
  std::vector<Characters> names;
  static_cast<void>(Load(storageCalls.findNames)(folder, begin, &names));
  for (const Characters& name : names) {
    if (IsDraft(name, begin)) {
      static_cast<void>(Load(storageCalls.removeAbandoned)(folder / name));
    }
  }
}

/// A new file, which is removed at the end of its scope unless it has got its name by then.
class Draft {
 public:
  /// @param name  the one that it is to get
  /// @param like  whose rights it is to have; null for those of the folder
  Draft(const Save& save, const wchar_t* failure, const fs::path& name, const fs::path* like)
      : name_(name) {
    constexpr int kMostNames = 100;
    DWORD error = ERROR_FILE_EXISTS;
    for (int i = 0; i < kMostNames && error == ERROR_FILE_EXISTS; ++i) {
      path_ = DraftName(name);
      error = Load(storageCalls.createFile)(path_, like, &file_.id);
    }
    save.Require(error, failure);
  }
  Draft(const Draft&) = delete;
  Draft& operator=(const Draft&) = delete;
  ~Draft() {
    if (!isRenamed_) {
      file_.Close();
      static_cast<void>(Load(storageCalls.removeFile)(path_));
    }
  }

  [[nodiscard]] FileId File() const noexcept { return file_.id; }

  DWORD Replace(const Save& save) {
    const DWORD error = CallPatiently(save.patience, Velta::Platform::kDenialMayPass, [&] {
      return Load(storageCalls.renameFile)(file_.id, path_, name_);
    });
    isRenamed_ = error == ERROR_SUCCESS;
    return error;
  }

 private:
  const fs::path name_;
  OpenedFile file_;
  fs::path path_;
  bool isRenamed_ = false;
};

/// Writes the old content under its other name, as a whole.
void KeepPrevious(const Save& save, const fs::path& name) {
  constexpr wchar_t kFailure[] = L"KeepFailed";
  OpenedFile old;
  const DWORD error = CallPatiently(
      save.patience, false, [&] { return Load(storageCalls.openFile)(save.target, &old.id); });
  if (IsMissing(error)) {
    return;
  }
  save.Require(error, kFailure);
  RemoveAbandoned(name);
  Draft copy(save, kFailure, name, &save.target);
  std::array<char, kBlockBytes> block;
  for (std::size_t length = block.size(); length != 0;) {
    save.Require(Load(storageCalls.readFile)(old.id, block.data(), block.size(), &length),
                 kFailure);
    save.Require(Load(storageCalls.writeFile)(copy.File(), block.data(), length), kFailure);
  }
  save.Require(Load(storageCalls.flushFile)(copy.File()), kFailure);
  save.Require(copy.Replace(save), kFailure);
}

}  // namespace

MSettingsFile::MSettingsFile(const fs::path& path, const MSettingsFileOptions& options)
    : options_(options) {
  static MFlowPoint point(ClassName, ClassName);
  point.At(this).LogConstruction();
  std::error_code error;
  if (Velta::Settings::NamesFile(path)) {
    path_ = fs::absolute(path, error);
  }
  if (path_.empty()) {
    point.At(this).Raise(L"BadPath", L"file", path);
  }
}

MSettingsFile::~MSettingsFile() {
  static MFlowPoint point(ClassName, L"~MSettingsFile");
  point.At(this).LogDestruction();
}

fs::path MSettingsFile::GetPreviousPath() const { return WithSuffix(path_, ".old"); }

std::optional<std::string> MSettingsFile::LoadBytes() const {
  static MFlowPoint point(ClassName, L"LoadBytes");
  const MFlowScope scope = point.At(this).OpenScope();
  OpenedFile file;
  const DWORD opened = CallPatiently(options_.patience, false,
                                     [&] { return Load(storageCalls.openFile)(path_, &file.id); });
  if (IsMissing(opened)) {
    return std::nullopt;
  }
  if (opened == ERROR_BAD_FILE_TYPE) {
    point.At(this).Raise(L"NotAFile", L"file", path_);
  }
  if (opened != ERROR_SUCCESS) {
    point.At(this).Raise(L"OpenFailed", {{L"file", path_}, LastError(opened)});
  }
  std::string content;
  std::array<char, kBlockBytes> block;
  for (std::size_t length = block.size(); length != 0;) {
    const DWORD error = CallPatiently(options_.patience, false, [&] {
      return Load(storageCalls.readFile)(file.id, block.data(), block.size(), &length);
    });
    if (error != ERROR_SUCCESS) {
      point.At(this).Raise(L"ReadFailed", {{L"file", path_}, LastError(error)});
    }
    // By what is read, not by the size that a growing file has at first.
    if (length > options_.maxBytes - content.size()) {
      point.At(this).Raise(L"TooLarge", {{L"file", path_}, {L"limit", options_.maxBytes}});
    }
    content.append(block.data(), length);
  }
  return content;
}

std::optional<MString> MSettingsFile::LoadText() const {
  static MFlowPoint point(ClassName, L"LoadText");
  const MFlowScope scope = point.At(this).OpenScope();
  const std::optional<std::string> content = LoadBytes();
  if (!content) {
    return std::nullopt;
  }
  MDecodedXml decoded = DecodeXml(*content);
  if (decoded.fault == MDecodedXml::Fault::kUnsupported) {
    point.At(this).Raise(L"UnknownEncoding", {{L"file", path_}, {L"encoding", decoded.encoding}});
  }
  if (decoded.fault == MDecodedXml::Fault::kMalformed) {
    point.At(this).Raise(
        L"NotText",
        {{L"file", path_}, {L"encoding", decoded.encoding}, {L"offset", decoded.offset}});
  }
  return std::move(decoded.text);
}

std::unique_ptr<MInFilerTaggedXml> MSettingsFile::LoadFiler(
    const MString& expectedRootName, const MString& expectedNamespace) const {
  static MFlowPoint point(ClassName, L"LoadFiler");
  const MFlowScope scope = point.At(this).OpenScope();
  const std::optional<MString> text = LoadText();
  if (!text) {
    return nullptr;
  }
  auto filer = std::make_unique<MInFilerTaggedXml>(*text, expectedRootName, expectedNamespace);
  if (!filer->HasDocument()) {
    RaiseFault(point.At(this), path_, filer->GetFault());
  }
  return filer;
}

void MSettingsFile::SaveBytes(std::string_view content) const {
  static MFlowPoint point(ClassName, L"SaveBytes");
  const MFlowScope scope = point.At(this).OpenScope();
  if (content.size() > options_.maxBytes) {
    point.At(this).Raise(L"TooLarge",
                         {{L"file", path_}, {L"limit", options_.maxBytes}, {L"stored", L"old"}});
  }
  const Velta::Settings::ResolvedPath resolved = Velta::Settings::ResolveLinks(path_);
  const Save save{point.At(this), path_, resolved.path, options_.patience};
  save.Require(resolved.error, L"LinkFailed");
  const DWORD old = Load(storageCalls.checkFile)(save.target);
  if (old == ERROR_BAD_FILE_TYPE) {
    point.At(this).Raise(L"NotAFile", {{L"file", path_}, {L"stored", L"old"}});
  }
  const bool isNew = IsMissing(old);
  save.Require(isNew ? DWORD{ERROR_SUCCESS} : old, L"NotWritable");

  RemoveAbandoned(save.target);
  Draft draft(save, L"CreateFailed", save.target, isNew ? nullptr : &save.target);
  save.Require(Load(storageCalls.writeFile)(draft.File(), content.data(), content.size()),
               L"WriteFailed");
  save.Require(Load(storageCalls.flushFile)(draft.File()), L"FlushFailed");
  if (options_.keepsPrevious && !isNew) {
    KeepPrevious(save, GetPreviousPath());
  }
  const fs::path folder = save.target.parent_path();  // while there may be no memory for it
  save.Require(draft.Replace(save), L"ReplaceFailed");
  const DWORD flushed = Load(storageCalls.flushName)(draft.File(), folder);
  if (flushed != ERROR_SUCCESS) {
    point.At(this).Raise(L"FolderFlushFailed",
                         {{L"file", path_}, LastError(flushed), {L"stored", L"new"}});
  }
}

void MSettingsFile::SaveText(std::wstring_view text) const {
  static MFlowPoint point(ClassName, L"SaveText");
  const MFlowScope scope = point.At(this).OpenScope();
  const std::string content = ToUtf8(text);
  const MDecodedXml loaded = DecodeXml(content);
  if (loaded.fault != MDecodedXml::Fault::kNone || loaded.text != text) {
    point.At(this).Raise(L"OtherEncoding",
                         {{L"file", path_}, {L"encoding", loaded.encoding}, {L"stored", L"old"}});
  }
  SaveBytes(content);
}

void MSettingsFile::SaveFiler(const MOutFilerTaggedXml& filer) const {
  static MFlowPoint point(ClassName, L"SaveFiler");
  const MFlowScope scope = point.At(this).OpenScope();
  MString text;
  if (!filer.GetText(&text)) {
    point.At(this).Raise(L"NoDocument", {{L"file", path_}, {L"stored", L"old"}});
  }
  SaveText(text);
}

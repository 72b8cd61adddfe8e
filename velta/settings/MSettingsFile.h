// SPDX-License-Identifier: MIT
#pragma once

#include "velta/errors/NonCopyable.h"
#include "velta/platform/Api.h"
#include "velta/text/MString.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

class MInFilerTaggedXml;
class MOutFilerTaggedXml;

VELTA_EXPORTS_BEGIN

/// How an `MSettingsFile` treats its file.
struct MSettingsFileOptions {
  /// The longest content, in bytes: a longer one is neither loaded nor saved.
  std::uint64_t maxBytes = std::uint64_t{16} << 20;
  /// Whether a save leaves the content before it under `MSettingsFile::GetPreviousPath`.
  bool keepsPrevious = false;
  /// How long to try for when another process has the file for itself, as happens on Windows.
  std::chrono::milliseconds patience{2000};
};

/// A file that is loaded as a whole, and saved as a whole or not at all.
///
/// ```cpp
/// const MSettingsFile file(path);
/// if (const auto filer = file.LoadFiler(L"Settings", L"urn:settings")) settings.Read(*filer);
/// ...
/// file.SaveFiler(filer);
/// ```
///
/// **Missing is not damaged.** That there is no file, nor a folder for it, is a result. Whatever
/// keeps a file from being used is an error: a host that goes on with defaults must not save them.
///
/// **Saving.** The content is written to a new file in the same folder, flushed to the disk, and
/// takes the old one's place in one step. Whenever the process or the machine ends, the file has
/// the old content or the new one. Of two who save at the same time the later has its way; who
/// saves what it has changed of what it loaded may undo what another saved in between.
///
/// - The new file is called "<name>.velta-<16 digits>.new" until then. What a process that was
///   killed left of it is never loaded, and the next save removes it (of ".old", the next that
///   keeps one); but not on a file system without locks (some network folders, on Linux).
/// - It has the old one's rights. On Linux these are mode, owner, group and access list; where the
///   group or the list cannot be kept, the group gets no more than all have. On Windows they are
///   access list and attributes, not the time of creation or alternate streams. A new file has what
///   its folder gives.
/// - A symbolic link stays, and what it leads to is replaced or made, also where it led nowhere. A
///   second hard link keeps the old content.
/// - A file that the user may not write, or that is marked so, is not replaced, though its folder
///   would allow it; neither is anything but a regular file.
/// - The folder must be there. On Linux its entry is flushed to the disk too, where the system does
///   that and the folder may be read.
///
/// Threads: any, at once; each operation blocks for the disk, and for up to the patience.
/// Errors are `MException`s with the class "MSettingsFile" and the parameter "file"; those that
/// come from the system have "winErrorCode" and "winErrorMessage". Those of a save have "stored":
/// "old" when the file is as it was before, "new" when it has the new content. Without
/// memory `std::bad_alloc`, or an `MErrorOutOfMemory`: the file is then as it was.
class VELTA_API MSettingsFile : private Velta::Libraries::NonCopyable {
 public:
  /// Names the file, which need not exist. Touches no disk.
  ///
  /// @param path  made absolute by the current folder of now
  ///
  /// Errors: "BadPath" when it names no file: it is empty, ends in a separator, "." or "..", or has
  /// a zero in it.
  explicit MSettingsFile(const std::filesystem::path& path,
                         const MSettingsFileOptions& options = MSettingsFileOptions());
  ~MSettingsFile();

  /// Absolute; links are not followed.
  [[nodiscard]] const std::filesystem::path& GetPath() const noexcept { return path_; }

  /// "<path>.old", in the folder of the path, also where that is a link. A file or link there is
  /// replaced, as a whole too.
  [[nodiscard]] std::filesystem::path GetPreviousPath() const;

  /// The content; nothing when there is no file. Others may read, write and replace it meanwhile:
  /// the content is whole unless they write it in place.
  ///
  /// Errors: "NotAFile" for a folder, a device or a pipe; "OpenFailed"; "ReadFailed"; "TooLarge"
  /// with "limit", in bytes.
  [[nodiscard]] std::optional<std::string> LoadBytes() const;

  /// The content as text, as `DecodeXml` decodes it: by a byte order mark, else by an XML
  /// declaration, else as UTF-8.
  ///
  /// Errors: those of `LoadBytes`; "NotText" with "encoding" and "offset", the byte at which no
  /// character begins; "UnknownEncoding" with "encoding".
  [[nodiscard]] std::optional<MString> LoadText() const;

  /// A reader of the document; null when there is no file.
  ///
  /// @param expectedNamespace  not looked at when empty
  ///
  /// Errors: those of `LoadText`; "IllFormed", "OtherRoot" and "OtherNamespace" with "messages",
  /// and with "offset" (in characters), "line" and "column" of the first fault or of the root
  /// element.
  [[nodiscard]] std::unique_ptr<MInFilerTaggedXml> LoadFiler(
      const MString& expectedRootName, const MString& expectedNamespace) const;

  /// Replaces the content.
  ///
  /// Errors: "TooLarge" with "limit"; "NotAFile"; "NotWritable"; "CreateFailed", "WriteFailed" (the
  /// disk is full) and "FlushFailed" of the new file; "KeepFailed" of the previous one;
  /// "ReplaceFailed" of the last step, on Windows also when another process has had the file open
  /// for all of the patience; "LinkFailed" for a link that cannot be followed; "FolderFlushFailed",
  /// the only one with "stored" "new": the content may not outlive a failure of the machine.
  void SaveBytes(std::string_view content) const;

  /// Replaces the content, in UTF-8 without a byte order mark.
  ///
  /// Errors: those of `SaveBytes`; "OtherEncoding" with "encoding" when the text would not be
  /// loaded as it is: its XML declaration names another encoding, or it begins with a byte order
  /// mark. "Utf8.ToUtf8:MalformedText" with "offset" for a text that is none.
  void SaveText(std::wstring_view text) const;

  /// Replaces the content by the document.
  ///
  /// Errors: those of `SaveText`; "NoDocument" when the filer has none.
  void SaveFiler(const MOutFilerTaggedXml& filer) const;

 private:
  std::filesystem::path path_;
  MSettingsFileOptions options_;
};

VELTA_EXPORTS_END

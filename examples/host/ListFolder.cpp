// SPDX-License-Identifier: MIT
#include "ListFolder.h"

#include "FrameworkErrors.h"
#include "Submit.h"
#include "Text.h"
#include "velta/logging/ClassNameRegistration.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <memory>
#include <system_error>
#include <utility>

namespace host {
namespace {

namespace fs = std::filesystem;

const wchar_t ClassName[] = L"ListFolder";
const Velta::Logging::ClassNameRegistration registration(ClassName);

// An entry without a known type counts as a file: opening it will fail and say why.
enum class Kind { kFile, kFolder, kLeftOut };

/// Whether what `folder` lists lies elsewhere. Windows has more kinds of links than the standard
/// library tells from folders, but each leads to another place.
bool IsLink(const fs::path& folder, const fs::directory_entry& entry) {
  std::error_code error;
  const fs::path place = fs::canonical(entry.path(), error);
  return !error && place != folder / entry.path().filename();
}

/// @param folder  where the entry was found, without links
Kind KindOf(const fs::path& folder, const fs::directory_entry& entry) {
  std::error_code error;
  switch (entry.status(error).type()) {
    case fs::file_type::directory:
      return IsLink(folder, entry) ? Kind::kLeftOut : Kind::kFolder;
    case fs::file_type::block:
    case fs::file_type::character:
    case fs::file_type::fifo:
    case fs::file_type::socket:
      return Kind::kLeftOut;
    default:
      return Kind::kFile;
  }
}

}  // namespace

ListFolder::ListFolder(MExceptionHolder outcome, ProcessorContext& context, fs::path folder,
                       std::shared_ptr<std::vector<FolderEntry>> entries)
    : MCommandSynchronous(std::move(outcome)),
      context_(context),
      folder_(std::move(folder)),
      entries_(std::move(entries)) {}

void ListFolder::Execute() {
  static MFlowPoint point(ClassName, L"Execute");
  const MFlowScope scope = point.At(this).OpenScope();
  ++context_.commandsRun;
  try {
    TranslateExceptions(point.At(this), [this] { Read(); });
  } catch (const MException& cause) {
    ThrowCausedBy(
        cause, point.At(this).MakeCascadeError(L"FolderNotListed", {{L"folder", ToText(folder_)}}));
  }
}

void ListFolder::Read() {
  static MFlowPoint point(ClassName, L"Read");
  // The folder_ was there when it was found; it may be gone now, or go while it is read.
  std::error_code error;
  const fs::path place = fs::canonical(folder_, error);
  if (error) {
    RaiseErrorCode(point.At(this), L"ReadFailed", error);
  }
  for (fs::directory_iterator next(folder_, error); !error && next != fs::directory_iterator();
       next.increment(error)) {
    const Kind kind = KindOf(place, *next);
    if (kind != Kind::kLeftOut) {
      entries_->push_back({next->path(), kind == Kind::kFolder});
    }
  }
  if (error) {
    RaiseErrorCode(point.At(this), L"ReadFailed", error);
  }
  std::sort(entries_->begin(), entries_->end(),
            [](const FolderEntry& left, const FolderEntry& right) {
              return left.path.native() < right.path.native();
            });
}

void FindFiles(MCommandProcessor& processor, ProcessorContext& context,
               const std::vector<fs::path>& paths, std::vector<FileResult>& results) {
  std::vector<FolderEntry> pending;  // the next one last
  for (const fs::path& path : paths) {
    std::error_code error;
    pending.push_back({path, fs::is_directory(path, error)});
  }
  std::ranges::reverse(pending);
  while (!pending.empty()) {
    FolderEntry entry = std::move(pending.back());
    pending.pop_back();
    FileResult& result = results.emplace_back();
    result.path = std::move(entry.path);
    if (!entry.isFolder) {
      continue;
    }

    const auto entries = std::make_shared<std::vector<FolderEntry>>();
    try {
      Submit<ListFolder>(processor, context, result.path, entries);
      results.pop_back();
    } catch (const MException& exception) {
      result.failure.emplace(exception);
      continue;
    }
    std::move(entries->rbegin(), entries->rend(), std::back_inserter(pending));
  }
}

}  // namespace host

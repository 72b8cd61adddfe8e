// SPDX-License-Identifier: MIT
#include "ListFolder.h"

#include "FrameworkErrors.h"
#include "Submit.h"
#include "Text.h"
#include "examples/shared/RegisteredName.h"

#include <algorithm>
#include <iterator>
#include <system_error>
#include <utility>

namespace host {
namespace {

namespace fs = std::filesystem;

const wchar_t ClassName[] = L"ListFolder";
const RegisteredName registeredName(ClassName);

// An entry of which nothing can be learned counts as a file: reading it will tell why.
enum class Kind { File, Folder, LeftOut };

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
      return IsLink(folder, entry) ? Kind::LeftOut : Kind::Folder;
    case fs::file_type::block:
    case fs::file_type::character:
    case fs::file_type::fifo:
    case fs::file_type::socket:
      return Kind::LeftOut;
    default:
      return Kind::File;
  }
}

}  // namespace

ListFolder::ListFolder(MExceptionHolder outcome, Workbench& commandBench, fs::path folderPath,
                       std::shared_ptr<std::vector<FolderEntry>> listedEntries)
    : MCommandSynchronous(std::move(outcome)),
      bench(commandBench),
      folder(std::move(folderPath)),
      entries(std::move(listedEntries)) {}

void ListFolder::Execute() {
  static MFlowPoint point(ClassName, L"Execute");
  const MFlowScope scope = point.At(this).OpenScope();
  ++bench.commandsRun;
  try {
    ThrowingFrameworkErrors(point.At(this), [this] { Read(); });
  } catch (const MException& cause) {
    MError error = point.At(this).MakeCascadeError(L"FolderNotListed");
    error.AddParameter(L"folder", ToText(folder));
    ThrowCausedBy(cause, error);
  }
}

void ListFolder::Read() {
  static MFlowPoint point(ClassName, L"Read");
  // The folder was there when it was found; it may be gone now, or go while it is read.
  std::error_code error;
  const fs::path place = fs::canonical(folder, error);
  if (error) {
    RaiseErrorCode(point.At(this), L"ReadFailed", error);
  }
  for (fs::directory_iterator next(folder, error); !error && next != fs::directory_iterator();
       next.increment(error)) {
    const Kind kind = KindOf(place, *next);
    if (kind != Kind::LeftOut) {
      entries->push_back({next->path(), kind == Kind::Folder});
    }
  }
  if (error) {
    RaiseErrorCode(point.At(this), L"ReadFailed", error);
  }
  std::sort(entries->begin(), entries->end(),
            [](const FolderEntry& left, const FolderEntry& right) {
              return left.path.native() < right.path.native();
            });
}

void FindFiles(MCommandProcessor& processor, Workbench& bench, const std::vector<fs::path>& paths,
               std::vector<FileResult>& results) {
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
      Submit<ListFolder>(processor, bench, result.path, entries);
      results.pop_back();
    } catch (const MException& exception) {
      result.failure.emplace(exception);
      continue;
    }
    std::move(entries->rbegin(), entries->rend(), std::back_inserter(pending));
  }
}

}  // namespace host

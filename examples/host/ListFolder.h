// SPDX-License-Identifier: MIT
#pragma once

#include "CountFile.h"
#include "ProcessorContext.h"
#include "velta/commands/MCommandProcessor.h"
#include "velta/commands/MCommandSynchronous.h"

#include <filesystem>
#include <memory>
#include <vector>

namespace host {

/// What a folder contains.
struct FolderEntry {
  std::filesystem::path path;
  bool isFolder = false;
};

/// The command that lists one folder, sorted by name, without what lies in folders below.
///
/// Links to folders, junctions among them, are left out, since they may lead in circles; so are
/// devices, pipes and sockets, which may have no end. A link that leads nowhere is listed as a
/// file, which will fail. Errors: ListFolder.Execute:FolderNotListed with "folder", caused by
/// ListFolder.Read:ReadFailed with "errorCode" and "errorMessage".
class ListFolder final : public MCommandSynchronous {
 public:
  ListFolder(MExceptionHolder outcome, ProcessorContext& context, std::filesystem::path folder,
             std::shared_ptr<std::vector<FolderEntry>> entries);

 protected:
  void Execute() override;

 private:
  void Read();

  ProcessorContext& context_;
  std::filesystem::path folder_;
  std::shared_ptr<std::vector<FolderEntry>> entries_;  // a command may outlive a failed wait for it
};

/// Finds the files that `paths` name and those below the folders that they name: in the order of
/// the paths, and within a folder in the order of the names. A folder that cannot be listed stands
/// among the results with its failure.
///
/// @param results  receives the files, not yet counted
void FindFiles(MCommandProcessor& processor, ProcessorContext& context,
               const std::vector<std::filesystem::path>& paths, std::vector<FileResult>& results);

}  // namespace host

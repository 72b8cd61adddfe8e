// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <string_view>

namespace host {

/// Gives a file a new content, or makes it.
///
/// The content is first written to a new file beside it, flushed to the disk, and takes the old
/// one's place in one step. Whatever goes wrong, and should the process or the machine end
/// meanwhile, the file has the old content or the new one. A link is followed, and the old file's
/// permissions are kept.
///
/// Errors, of ReplaceContent.ReplaceContent: CreateFailed and WriteFailed with "errno" and
/// "errorMessage", concerning the new file; ReplaceFailed with "errorCode" and "errorMessage".
void ReplaceContent(const std::filesystem::path& path, std::string_view content);

}  // namespace host

// replace_file.h: giving a file new content so that a crash, a power cut or a full disk leaves the old or the new.
#pragma once

#include <sys/types.h>

#include <climits>
#include <cstddef>
#include <optional>

#include "base/handles.h"

namespace zel {

// One replacement: the content is written to a new file beside the old one, flushed to the disk and moved over
// it. Mode and owner stay the old file's; of a symbolic link, what it leads to is replaced. Other hard links keep
// the old content, and access-control lists are not carried over. What is no regular file, such as a device, is
// written to as it is. A file that something is mounted on cannot be replaced: finish fails.
//
// One writer at a time, by whatever lock the caller has: the new files that killed writers left are removed at
// the start. A second writer would remove the new file of the first, which would then fail; the file itself is
// whole even then.
class FileReplacement {
 public:
  // Makes the new file. The caller needs to be allowed to write the old one, if there is one.
  explicit FileReplacement(const char* path);
  // Removes the new file if it was not moved.
  ~FileReplacement();
  FileReplacement(const FileReplacement&) = delete;
  FileReplacement& operator=(const FileReplacement&) = delete;

  // Whether it could be made.
  explicit operator bool() const noexcept { return static_cast<bool>(file_); }

  // Writes the content and moves it into place, once. On failure the old file is as it was, unless only the
  // folder's own flush failed: then the new content is in place, but may not outlive a power cut.
  [[nodiscard]] bool finish(const char* text, std::size_t length);

 private:
  [[nodiscard]] bool open_beside(const char* name);
  [[nodiscard]] bool create(mode_t mode);
  [[nodiscard]] bool move_into_place();

  Descriptor folder_;
  Descriptor file_;
  std::optional<mode_t> mode_;  // The old file's, which it gets once it is written.
  char name_[NAME_MAX + 1] = {};
  char temporary_[NAME_MAX + 1] = {};  // Empty when there is no file of that name to remove.
};

}  // namespace zel

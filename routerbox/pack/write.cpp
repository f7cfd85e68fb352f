#include "write.h"

#include <archive.h>
#include <archive_entry.h>

#include <algorithm>
#include <memory>

#include "../support/io.h"
#include "../support/unfinished.h"
#include "digest.h"

namespace routerbox::pack {
namespace {

using Writer = std::unique_ptr<archive, zel::Call<archive_write_free>>;
using Entry = std::unique_ptr<archive_entry, zel::Call<archive_entry_free>>;

void check(const Writer& writer, int result, const std::string& file) {
  if (result == ARCHIVE_OK) return;
  const char* const why = archive_error_string(writer.get());
  throw Failure("cannot write " + file + ": " + (why != nullptr ? why : "out of memory"));
}

Writer create_archive(const std::string& file) {
  Writer writer(archive_write_new());
  archive* const raw = writer.get();
  check(writer, archive_write_set_format_pax_restricted(raw), file);
  check(writer, archive_write_add_filter_gzip(raw), file);
  check(writer, archive_write_set_options(raw, "gzip:compression-level=9,gzip:!timestamp"), file);
  check(writer, archive_write_open_filename(raw, file.c_str()), file);
  return writer;
}

void add(const Writer& writer, const std::string& file, const std::string& name, const std::string& content,
         mode_t mode) {
  const Entry entry(archive_entry_new());
  archive_entry_set_pathname(entry.get(), name.c_str());
  archive_entry_set_filetype(entry.get(), AE_IFREG);
  archive_entry_set_perm(entry.get(), mode);
  archive_entry_set_size(entry.get(), static_cast<la_int64_t>(content.size()));
  archive_entry_set_mtime(entry.get(), 0, 0);
  check(writer, archive_write_header(writer.get(), entry.get()), file);
  if (archive_write_data(writer.get(), content.data(), content.size()) !=
      static_cast<la_ssize_t>(content.size()))
    check(writer, ARCHIVE_FATAL, file);
}

std::string read_source(const Source& source, uint64_t* left) {
  if (const char* const fault = fault_of_name(source.name))
    throw Failure(source.path + " cannot be packed: " + source.name + " " + fault);
  const std::string content = read_file(source.path);
  if (content.size() > *left)
    throw Failure(source.path + " is too much: a packed plug-in has " + std::to_string(kMostBytes >> 20U) +
                  " MiB at most");
  *left -= content.size();
  return content;
}

}  // namespace

void write_archive(const std::string& file, std::vector<Source> sources, Manifest* manifest) {
  if (sources.size() > kMostFiles)
    throw Failure("there are " + std::to_string(sources.size()) + " files, and a packed plug-in has " +
                  std::to_string(kMostFiles) + " at most");
  std::sort(sources.begin(), sources.end(),
            [](const Source& one, const Source& other) { return one.name < other.name; });
  const std::string next = file + ".new";
  Unfinished unfinished(next);
  const Writer writer = create_archive(next);
  uint64_t left = kMostBytes;
  for (const Source& source : sources) {
    const std::string content = read_source(source, &left);
    Digest digest;
    digest.take(content.data(), content.size());
    manifest->files.push_back({source.name, source.mode, content.size(), digest.text()});
    add(writer, file, source.name, content, source.mode);
  }
  add(writer, file, kManifest, text_of(*manifest), 0644);
  check(writer, archive_write_close(writer.get()), file);
  if (std::rename(next.c_str(), file.c_str()) != 0) fail_errno("cannot write " + file);
  unfinished.finish();
}

}  // namespace routerbox::pack

#include "unpack.h"

#include <archive.h>
#include <archive_entry.h>
#include <sys/stat.h>

#include <filesystem>
#include <map>
#include <memory>

#include "../processes/foreign.h"
#include "../support/io.h"
#include "../support/unfinished.h"
#include "digest.h"

namespace routerbox::pack {
namespace {

namespace fs = std::filesystem;

using Reader = std::unique_ptr<archive, zel::Call<archive_read_free>>;

// What was found of each file, by its name.
struct Found {
  uint64_t size = 0;
  std::string sha256;
};
using FoundFiles = std::map<std::string, Found>;

void check(const Reader& reader, int result) {
  if (result == ARCHIVE_OK) return;
  const char* const why = archive_error_string(reader.get());
  throw Failure(std::string("it is no archive of routerbox pack: ") +
                (why != nullptr ? why : "out of memory"));
}

Reader open_archive(const std::string& file) {
  Reader reader(archive_read_new());
  // Nothing but what is packed: each further format and filter is code that a hostile file can reach.
  check(reader, archive_read_support_filter_gzip(reader.get()));
  check(reader, archive_read_support_format_tar(reader.get()));
  constexpr size_t kBlock = 65536;
  check(reader, archive_read_open_filename(reader.get(), file.c_str(), kBlock));
  return reader;
}

struct Kind {
  mode_t type;
  const char* name;
};
constexpr Kind kKinds[] = {{AE_IFLNK, "a symbolic link"}, {AE_IFCHR, "a device"},
                           {AE_IFBLK, "a device"},        {AE_IFIFO, "a pipe"},
                           {AE_IFSOCK, "a socket"},       {AE_IFDIR, "a folder of its own"}};

const char* fault_of_kind(archive_entry* entry) {
  if (archive_entry_hardlink(entry) != nullptr) return "a link";
  for (const Kind& kind : kKinds)
    if (archive_entry_filetype(entry) == kind.type) return kind.name;
  return archive_entry_filetype(entry) == AE_IFREG ? nullptr : "no plain file";
}

std::string quote_name(std::string name) {
  for (char& c : name)
    if (c < ' ' || c == 0x7f) c = '?';
  return "'" + (name.size() > 80 ? name.substr(0, 80) + "..." : name) + "'";
}

// The name of an entry that may be in a packed plug-in; throws Failure for any other.
std::string name_of(archive_entry* entry, const FoundFiles& earlier) {
  const char* const given = archive_entry_pathname(entry);
  const std::string name = given != nullptr ? given : "";
  const auto refuse = [&](const std::string& why) { throw Failure(quote_name(name) + " " + why); };
  if (const char* const fault = fault_of_kind(entry))
    refuse(std::string("is ") + fault + ", and a packed plug-in has plain files only");
  if (const char* const fault = fault_of_name(name)) refuse(fault);
  if (earlier.contains(name)) refuse("is there twice");
  if (earlier.size() > kMostFiles)
    refuse("is one file too many; " + std::to_string(kMostFiles) + " may be there");
  return name;
}

void check_size(archive_entry* entry, const std::string& name, uint64_t left) {
  const la_int64_t size = archive_entry_size(entry);
  const uint64_t most = name == kManifest ? std::min(left, kLongestManifest) : left;
  if (size < 0 || static_cast<uint64_t>(size) > most)
    throw Failure(quote_name(name) + " is too large: it claims " + std::to_string(size) + " bytes, and " +
                  std::to_string(most) + " may still be there");
}

Found copy_content(const Reader& reader, const std::string& to) {
  const Descriptor file(open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!file) fail_errno("cannot make " + to);
  Found found;
  Digest digest;
  char block[65536];
  while (true) {
    const la_ssize_t count = archive_read_data(reader.get(), block, sizeof block);
    if (count < 0) check(reader, ARCHIVE_FATAL);
    if (count <= 0) break;
    digest.take(block, static_cast<size_t>(count));
    if (!write_all(file.get(), {block, static_cast<size_t>(count)})) fail_errno("cannot write " + to);
    found.size += static_cast<uint64_t>(count);
  }
  found.sha256 = digest.text();
  return found;
}

FoundFiles copy_files(const Reader& reader, const fs::path& folder) {
  FoundFiles found;
  uint64_t left = kMostBytes;
  archive_entry* entry = nullptr;
  int result = 0;
  while ((result = archive_read_next_header(reader.get(), &entry)) == ARCHIVE_OK) {
    const std::string name = name_of(entry, found);
    check_size(entry, name, left);
    fs::create_directories((folder / name).parent_path());
    const Found& file = found[name] = copy_content(reader, folder / name);
    left -= file.size;
  }
  if (result != ARCHIVE_EOF) check(reader, result);
  return found;
}

void compare(const Manifest& manifest, FoundFiles found) {
  const std::string says = std::string(kManifest) + " says otherwise than what is there: ";
  for (const PackedFile& file : manifest.files) {
    const auto place = found.find(file.name);
    if (place == found.end()) throw Failure(says + file.name + " is missing, or listed twice");
    if (place->second.size != file.size || place->second.sha256 != file.sha256)
      throw Failure(says + file.name + " has another content");
    found.erase(place);
  }
  found.erase(kManifest);
  if (!found.empty()) throw Failure(says + quote_name(found.begin()->first) + " is not listed");
}

void check_processor(const Manifest& manifest, const fs::path& folder) {
  const std::string found = processor_of(folder / manifest.program);
  if (found != manifest.processor)
    throw Failure(std::string(kManifest) + " says that the program is for " + manifest.processor +
                  ", and it is for " + found);
}

void set_owners_and_modes(const Manifest& manifest, const fs::path& folder) {
  const fs::path data = folder / "data";
  fs::create_directories(data);
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder))
    if (chmod(entry.path().c_str(), entry.is_directory() ? 0755 : 0644) != 0)
      fail_errno("cannot set the mode of " + entry.path().string());
  for (const PackedFile& file : manifest.files)
    if (chmod((folder / file.name).c_str(), file.mode) != 0)
      fail_errno("cannot set the mode of " + file.name);
  const uid_t uid = manifest.row.uid;
  const auto give = [uid](const fs::path& path) {
    if (lchown(path.c_str(), uid, uid) != 0) fail_errno("cannot give " + path.string() + " to the plug-in");
  };
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(data)) give(entry.path());
  give(data);
  if (chmod(data.c_str(), 0700) != 0 || chmod(folder.c_str(), 0755) != 0)
    fail_errno("cannot set the modes of " + folder.string());
}

}  // namespace

Manifest unpack(const std::string& file, const std::string& folder) {
  const Reader reader = open_archive(file);
  make_folder(folder, 0700);
  Unfinished unfinished(folder);
  const FoundFiles found = copy_files(reader, folder);
  if (!found.contains(kManifest))
    throw Failure(std::string("it has no ") + kManifest + ", so routerbox pack has not made it");
  const Manifest manifest = manifest_from(read_file(folder + "/" + kManifest));
  compare(manifest, found);
  check_processor(manifest, folder);
  set_owners_and_modes(manifest, folder);
  unfinished.finish();
  return manifest;
}

}  // namespace routerbox::pack

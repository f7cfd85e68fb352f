// transfer.h: one file on its way to a client.
#pragma once
#include <httplib.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>

#include "../http/reply.h"

namespace routerbox::files {

struct Content {
  uint64_t size = 0;
  // Fills the block from this offset; false when that is not possible any more.
  std::function<bool(uint64_t offset, char* block, size_t length)> read;
  const char* type = "application/octet-stream";
};

// A file of the folder; none when there is no such file, or the name leads out of the folder.
std::optional<Content> open_file(const std::filesystem::path& folder, const std::filesystem::path& name);

struct Manner {
  std::optional<uint64_t> bytes_per_second;
  // An answer that begins at offset 0 ends here, with the connection.
  std::optional<uint64_t> drop_at;
};

// What a fault does to content on its way; the rest of it is the reply's own.
Manner manner_of(const Reply& reply);

// The whole, or the one range that is asked for; 416 for a range past the end and for several ranges.
void send_content(const httplib::Request& request, httplib::Response& response, const Content& content,
                  const Manner& manner);

}  // namespace routerbox::files

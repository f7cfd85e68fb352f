// head.h: what stands before a response's body, read where it lies.
#pragma once

#include <zel/http_raw.h>

#include <cstddef>
#include <optional>
#include <string_view>

namespace zel::http {

struct Head {
  std::string_view version;  // of the status line
  int status;
  std::string_view fields;  // the header lines
  size_t body_at;           // npos when the head has no end
};

// Nothing when not even the status line has an end.
[[nodiscard]] std::optional<Head> read_head(std::string_view response) noexcept;

constexpr size_t kNameMax = 63;
constexpr size_t kValueMax = 1023;

// One header line with a colon, cut and trimmed.
class Field {
 public:
  // Takes the next one off the lines. False when there is none.
  [[nodiscard]] bool take(std::string_view* lines) noexcept;

  const char* name() const noexcept { return name_; }
  const char* value() const noexcept { return value_; }
  bool has_name(const char* name) const noexcept;
  bool says_chunked() const noexcept;

 private:
  char name_space_[kNameMax + 1];
  char value_space_[kValueMax + 1];
  const char* name_ = name_space_;
  const char* value_ = value_space_;
};

}  // namespace zel::http

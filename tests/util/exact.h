// Memory of exactly the size a call may touch, so that the address sanitizer reports one byte too far.
#pragma once

#include <algorithm>
#include <memory>
#include <string>

class Exact {
 public:
  explicit Exact(size_t size) : size_(size), bytes_(new char[size]) { std::fill_n(data(), size, '\xA5'); }
  explicit Exact(const std::string& content) : Exact(content.size()) {
    std::copy(content.begin(), content.end(), data());
  }

  // The content and its terminator.
  static Exact text(const std::string& content) { return Exact(content + '\0'); }

  char* data() { return bytes_.get(); }
  size_t size() const { return size_; }
  std::string all() const { return std::string(bytes_.get(), size_); }
  bool untouched() const { return all() == std::string(size_, '\xA5'); }

 private:
  size_t size_;
  std::unique_ptr<char[]> bytes_;
};

#pragma once

#include <memory>
#include <string>

// Memory of exactly the size a call may touch, so that the address sanitizer reports one byte too far.
class Exact {
 public:
  explicit Exact(size_t size) : Exact(std::string(size, '\xA5')) {}
  explicit Exact(const std::string& content) : size_(content.size()), bytes_(new char[size_]) {
    content.copy(data(), size_);
  }

  char* data() { return bytes_.get(); }
  size_t size() const { return size_; }
  std::string all() const { return std::string(bytes_.get(), size_); }
  bool untouched() const { return all() == std::string(size_, '\xA5'); }

 private:
  size_t size_;
  std::unique_ptr<char[]> bytes_;
};

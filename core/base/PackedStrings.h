#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vesk {

// A list of texts, kept one behind the other in one buffer: of the hundred thousand links of a vault, few are allocated
// alone. Holds less than 4 GiB.
class PackedStrings {
 public:
  class Iterator {
   public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = std::string_view;
    using difference_type = std::ptrdiff_t;
    using pointer = void;
    using reference = std::string_view;

    Iterator() = default;
    Iterator(const PackedStrings& strings, std::size_t index) : strings_(&strings), index_(index) {}

    std::string_view operator*() const { return (*strings_)[index_]; }
    Iterator& operator++() {
      ++index_;
      return *this;
    }
    Iterator operator++(int) {
      const Iterator before = *this;
      ++index_;
      return before;
    }
    bool operator==(const Iterator&) const = default;

   private:
    const PackedStrings* strings_ = nullptr;
    std::size_t index_ = 0;
  };

  PackedStrings() = default;
  explicit PackedStrings(std::span<const std::string_view> strings) {
    std::size_t bytes = 0;
    for (const std::string_view string : strings) bytes += string.size();
    bytes_.reserve(bytes);
    ends_.reserve(strings.size());
    for (const std::string_view string : strings) {
      bytes_ += string;
      ends_.push_back(static_cast<std::uint32_t>(bytes_.size()));
    }
  }

  std::size_t size() const { return ends_.size(); }
  bool empty() const { return ends_.empty(); }
  std::string_view operator[](std::size_t index) const {
    const std::size_t begin = index == 0 ? 0 : ends_[index - 1];
    return {bytes_.data() + begin, ends_[index] - begin};
  }
  std::string_view back() const { return (*this)[size() - 1]; }
  Iterator begin() const { return {*this, 0}; }
  Iterator end() const { return {*this, size()}; }

  std::vector<std::string> copied() const { return {begin(), end()}; }

  bool operator==(const PackedStrings&) const = default;

 private:
  std::string bytes_;
  std::vector<std::uint32_t> ends_;  // of each in the buffer
};

}  // namespace vesk

#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace vesk {

// Gives the next bytes of a file, which stay valid until it is asked again; none at the end.
using PieceReader = std::function<std::string_view()>;

// Goes through the elements of an array of JSON that is too long to be held whole: one element is held at a time. They
// are told apart by their brackets, commas and strings alone, in linear time; each is JSON or not by itself.
class JsonArrayReader {
 public:
  struct Element {
    std::string_view text = {};  // until the next call
    bool isTooLong = false;      // then its text is left out
  };

  // Throws Error when what it reads is no array. A byte-order mark in front is skipped. `longest` is in bytes.
  JsonArrayReader(PieceReader read, std::size_t longest);

  // Nullopt at the end: of the array, or of a text that is cut off, whose last element is lost.
  std::optional<Element> next();

  // At the end, whether it was the array's.
  bool isWhole() const { return isWhole_; }

 private:
  bool readPiece();
  bool readToElementEnd();
  std::size_t endOfString(std::size_t at);
  void keep(std::string_view text);

  PieceReader read_;
  std::size_t longest_;
  std::string_view piece_ = {};  // what is left of the last one
  std::string element_ = {};
  std::size_t depth_ = 1;  // open brackets
  bool isInString_ = false;
  bool isEscaped_ = false;
  bool isTooLong_ = false;
  bool isAtEnd_ = false;
  bool isWhole_ = false;
};

}  // namespace vesk

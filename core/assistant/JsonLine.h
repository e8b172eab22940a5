#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vesk {

// A line of JSON whose values stay as they are written until they are asked for: for lines that come by the thousand,
// and of which a few members are wanted. It takes what Json takes, and numbers of any size.
class JsonLine {
 public:
  enum class Kind : std::uint8_t { none, object, array, string, number, word };  // a word is null, true or false

  // How a value is kept: those that it holds follow it.
  struct Piece {
    std::string_view key = {};   // as it is written, between its quotes; of an object's member
    std::string_view text = {};  // as it is written; of a string, between its quotes
    std::uint32_t span = 1;      // the pieces that it takes, with those it holds
    Kind kind = Kind::none;
    bool isKeyEscaped = false;  // it holds backslashes
    bool isTextEscaped = false;
  };

  // A value, or none where there is no such member: asked for anything, that answers with nothing.
  class Value {
   public:
    Value() = default;
    explicit Value(const Piece* piece) : piece_(piece) {}

    Kind kind() const { return piece_ ? piece_->kind : Kind::none; }

    // The member of an object; of a key given twice, the last.
    Value operator[](std::string_view key) const {
      Value found;
      if (kind() != Kind::object) return found;
      for (const Piece* member = piece_ + 1; member < piece_ + piece_->span; member += member->span)
        if (isWritten(key, member->key, member->isKeyEscaped)) found = Value(member);
      return found;
    }

    std::vector<Value> elements() const;  // of an array
    std::optional<std::string> string() const;
    bool isString(std::string_view text) const {
      return kind() == Kind::string && isWritten(text, piece_->text, piece_->isTextEscaped);
    }
    bool isTrue() const { return kind() == Kind::word && piece_->text == "true"; }

   private:
    // Inline, as the words that are looked for are known to the compiler.
    static bool isWritten(std::string_view text, std::string_view as, bool isEscaped) {
      return isEscaped ? decoded(as) == text : as == text;
    }
    static std::string decoded(std::string_view text);

    const Piece* piece_ = nullptr;
  };

  JsonLine() = default;
  JsonLine(const JsonLine&) = delete;
  JsonLine& operator=(const JsonLine&) = delete;

  // The value that is written there; none when that is no JSON. It and all in it are valid until the next call, and as
  // long as the text.
  Value read(std::string_view text);

  // Whether the text that was read last has the values of the one before, but for what its strings say: a Value that
  // was found in that one then means the same place in this.
  bool isLikeBefore() const { return isLikeBefore_; }

 private:
  // A string of the model: its piece, and where it stands between its quotes.
  struct ModelString {
    std::size_t piece = 0;
    std::size_t begin = 0;
    std::size_t end = 0;
    bool isEscaped = false;
  };

  bool readLikeModel(std::string_view line);
  void makeModel(std::string_view text);

  // The last line that was read piece by piece. One that differs only within its strings is held against it.
  std::string model_ = {};
  std::vector<ModelString> modelStrings_ = {};
  std::vector<ModelString> changed_ = {};  // those that the line read last has otherwise
  bool isLikeBefore_ = false;
  std::vector<Piece> pieces_ = {};  // in the order of the text
  std::vector<std::size_t> open_ = {};
};

}  // namespace vesk

#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vesk {

// A value with parameters (RFC 2045, 5.1): "text/plain; charset=utf-8".
class HeaderParameters {
 public:
  // Of a field's value in one line.
  explicit HeaderParameters(std::string_view unfolded);

  // The first word before the parameters, in lower case; comments before and behind it are left out.
  const std::string& value() const { return value_; }

  // The parameter of this name, given in lower case; "" without one. Extended values and values in pieces are decoded
  // (RFC 2231), and so are encoded words, which many send in their place.
  std::string get(std::string_view name) const;

  // The same for values that are no text: encoded words in a whole value stay, and one that isn't quoted ends with a
  // blank or a comment.
  std::string token(std::string_view name) const;

 private:
  struct Parameter {
    std::string name = {};  // in lower case, with the stars of RFC 2231
    std::string value = {};
    bool isQuoted = false;
  };

  const Parameter* find(std::string_view name) const;
  std::optional<std::string> pieced(std::string_view name) const;

  std::string value_;
  std::vector<Parameter> parameters_;
};

}  // namespace vesk

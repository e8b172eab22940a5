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

  // What stands before the parameters, in lower case.
  const std::string& value() const { return value_; }

  // The parameter of this name, given in lower case; "" without one. Extended values and values in pieces are decoded
  // (RFC 2231), and so are encoded words, which many send in their place.
  std::string get(std::string_view name) const;

 private:
  struct Parameter {
    std::string name = {};  // in lower case, with the stars of RFC 2231
    std::string value = {};
  };

  std::optional<std::string> pieced(std::string_view name) const;

  std::string value_;
  std::vector<Parameter> parameters_;
};

}  // namespace vesk
